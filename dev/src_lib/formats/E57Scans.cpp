#include "formats/E57Scans.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <pugixml.hpp>
#include <string_view>

#include "bytes/LoadError.h"
#include "bytes/quoted.h"
#include "bytes/textNumbers.h"

namespace QUOR_ZEF {

namespace {

using Node = pugi::xml_node;

// Far more than real files have; they bound the memory of the parser.
constexpr std::ptrdiff_t maxTags = 1'000'000;
constexpr int maxDepth = 32;

[[noreturn]] void fail(const std::string& place, const std::string& fault) {
    throw LoadError("XML part: " + place + ": " + fault + "; export the file anew");
}

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && isSpace(text.front())) text.remove_prefix(1);
    while (!text.empty() && isSpace(text.back())) text.remove_suffix(1);
    return text;
}

// Where a number is missing it is ifEmpty.
double parseReal(std::string_view text, double ifEmpty, const std::string& place) {
    text = trimmed(text);
    if (text.empty()) return ifEmpty;
    double value = 0.0;
    const char* const pEnd = text.data() + text.size();
    if (parseAnyNumber(text.data(), pEnd, value) != pEnd || !std::isfinite(value))
        fail(place, quoted(text) + " is no number");
    return value;
}

template <class Int>
Int parseWhole(std::string_view text, Int ifEmpty, const std::string& place) {
    text = trimmed(text);
    if (text.empty()) return ifEmpty;
    Int value = 0;
    const char* const pEnd = text.data() + text.size();
    if (const auto [pStop, code] = std::from_chars(text.data() + (text.front() == '+' ? 1 : 0), pEnd, value);
        code == std::errc() && pStop == pEnd)
        return value;
    fail(place, quoted(text) + " is no whole number that fits");
}

double realOf(Node node, double ifEmpty) {
    const std::string place = node.name();
    const double value = parseReal(node.child_value(), ifEmpty, place);
    if (std::string_view(node.attribute("type").value()) != "ScaledInteger") return value;
    return value * parseReal(node.attribute("scale").value(), 1.0, place) +
           parseReal(node.attribute("offset").value(), 0.0, place);
}

std::string textOf(Node node) {
    constexpr std::size_t maxLength = 4000;
    std::string text(trimmed(node.child_value()).substr(0, maxLength));
    std::replace_if(
        text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 32; }, ' ');
    return text;
}

Vector3 vectorOf(Node node) {
    return {realOf(node.child("x"), 0.0), realOf(node.child("y"), 0.0), realOf(node.child("z"), 0.0)};
}

// A quaternion of another length than 1 is scaled; one without length turns nothing.
void setRotation(Node rotation, E57Pose& pose) {
    const Vector3 v = vectorOf(rotation);
    const double w = realOf(rotation.child("w"), 0.0);
    const double length = std::sqrt(w * w + v.vx * v.vx + v.vy * v.vy + v.vz * v.vz);
    if (!(length > 0.0) || !std::isfinite(length)) return;
    const double qw = w / length, qx = v.vx / length, qy = v.vy / length, qz = v.vz / length;
    pose.rows[0] = {1 - 2 * (qy * qy + qz * qz), 2 * (qx * qy - qw * qz), 2 * (qx * qz + qw * qy)};
    pose.rows[1] = {2 * (qx * qy + qw * qz), 1 - 2 * (qx * qx + qz * qz), 2 * (qy * qz - qw * qx)};
    pose.rows[2] = {2 * (qx * qz - qw * qy), 2 * (qy * qz + qw * qx), 1 - 2 * (qx * qx + qy * qy)};
}

std::optional<E57Pose> poseOf(Node node) {
    if (!node) return {};
    E57Pose pose;
    if (const Node rotation = node.child("rotation")) setRotation(rotation, pose);
    pose.translation = vectorOf(node.child("translation"));
    return pose;
}

void setIntegerType(Node node, const std::string& place, E57Field& field) {
    const auto minimum = parseWhole(node.attribute("minimum").value(), std::numeric_limits<std::int64_t>::min(), place);
    const auto maximum = parseWhole(node.attribute("maximum").value(), std::numeric_limits<std::int64_t>::max(), place);
    if (maximum < minimum) fail(place, "the maximum is below the minimum");
    field.setLimits(minimum, maximum);
}

E57Field fieldOf(Node node, const std::string& place) {
    E57Field field;
    field.name = node.name();
    const std::string_view type = node.attribute("type").value();
    if (type == "Integer" || type == "ScaledInteger") {
        setIntegerType(node, place, field);
        if (type == "Integer") return field;
        field.scale = parseReal(node.attribute("scale").value(), 1.0, place);
        field.offset = parseReal(node.attribute("offset").value(), 0.0, place);
    } else if (type == "Float") {
        const std::string_view precision = node.attribute("precision").value();
        field.type = precision == "single" ? E57Field::Type::SINGLE : E57Field::Type::DOUBLE;
        field.numBits = precision == "single" ? 32 : 64;
    } else if (type == "String") {
        field.type = E57Field::Type::STRING;
    } else {
        fail(place, "the type " + quoted(type) + " is not known in a record");
    }
    return field;
}

void addFields(Node parent, const std::string& place, int depth, std::vector<E57Field>& out) {
    if (depth > maxDepth) fail(place, "more than " + std::to_string(maxDepth) + " structures within each other");
    for (const Node node : parent.children()) {
        if (node.type() != pugi::node_element) continue;
        const std::string_view type = node.attribute("type").value();
        if (type == "Structure" || type == "Vector")
            addFields(node, place, depth + 1, out);
        else
            out.push_back(fieldOf(node, place + ", " + node.name()));
    }
}

// Records are packed bit by bit, unless a codec is named.
void checkCodecs(Node codecs, const std::string& place) {
    for (const Node codec : codecs.children())
        for (const Node part : codec.children()) {
            const std::string_view name = part.name();
            if (name.ends_with("Codec") && name != "bitPackCodec")
                fail(place, "the codec " + quoted(name) + " is not known");
        }
}

std::optional<E57Scan::Limits> colorLimitsOf(Node limits, const std::string& color, const E57Field* pField) {
    const Node lowest = limits.child(("color" + color + "Minimum").c_str());
    const Node highest = limits.child(("color" + color + "Maximum").c_str());
    std::optional<E57Scan::Limits> found;
    if (highest) found = E57Scan::Limits{realOf(lowest, 0.0), realOf(highest, 0.0)};
    if (!found && pField && pField->isWhole() && pField->numBits <= 32)
        found = E57Scan::Limits{pField->valueOf(0), pField->valueOf(pField->range)};
    if (found && !(found->highest > found->lowest)) found.reset();
    return found;
}

E57Scan scanOf(Node node, const std::string& place) {
    E57Scan scan;
    scan.name = textOf(node.child("name"));
    scan.description = textOf(node.child("description"));
    const Node points = node.child("points");
    if (!points) fail(place, "there are no points");
    scan.numRecords = parseWhole<std::uint64_t>(points.attribute("recordCount").value(), 0, place + ", recordCount");
    scan.physicalOffset = parseWhole<std::uint64_t>(points.attribute("fileOffset").value(), 0, place + ", fileOffset");
    scan.pose = poseOf(node.child("pose"));
    addFields(points.child("prototype"), place, 0, scan.fields);
    checkCodecs(points.child("codecs"), place);
    const std::array<const char*, 3> colors{"Red", "Green", "Blue"};
    for (std::size_t i = 0; i < 3; ++i) {
        const std::string color = colors[i];
        scan.colorLimits[i] = colorLimitsOf(node.child("colorLimits"), color, scan.find("color" + color));
    }
    return scan;
}

void parse(std::string& xml, pugi::xml_document& document) {
    // Some writers leave blanks or zeros behind the last element.
    xml.resize(xml.find_last_of('>') + 1);
    if (std::count(xml.begin(), xml.end(), '<') > maxTags) fail("start", "more than a million elements");
    const auto result = document.load_buffer_inplace(xml.data(), xml.size(), pugi::parse_default | pugi::parse_doctype,
                                                     pugi::encoding_utf8);
    if (!result) fail("byte " + std::to_string(result.offset), result.description());
    for (const Node node : document.children())
        if (node.type() == pugi::node_doctype) fail("start", "a document type is not allowed here");
}

}  // namespace

const E57Field* E57Scan::find(std::string_view fieldName) const {
    const auto isIt = [&](const E57Field& field) {
        return fieldName.starts_with(':') ? std::string_view(field.name).ends_with(fieldName) : field.name == fieldName;
    };
    const auto it = std::find_if(fields.begin(), fields.end(), isIt);
    return it == fields.end() ? nullptr : &*it;
}

E57Content parseE57(std::string xml) {
    pugi::xml_document document;
    parse(xml, document);
    const Node root = document.child("e57Root");
    if (!root) fail("start", "there is no e57Root");
    E57Content content;
    content.projection = textOf(root.child("coordinateMetadata"));
    for (const Node node : root.child("data3D").children())
        if (node.type() == pugi::node_element)
            content.scans.push_back(scanOf(node, "scan " + std::to_string(content.scans.size())));
    return content;
}

}  // namespace QUOR_ZEF
