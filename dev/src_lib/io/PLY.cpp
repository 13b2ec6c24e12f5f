#include "io/PLY.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include "bytes/textNumbers.h"
#include "frame/tools.h"
#include "io/PlyFileImpl.h"

namespace QUOR_ZEF::PLY {

namespace {

struct TypeRow {
    Type type;
    const char* name;   // as written
    const char* alias;  // also read
};

constexpr TypeRow typeTable[] = {
    {Type::INVALID, "INVALID", ""},  {Type::CHAR, "char", "int8"},       {Type::UCHAR, "uchar", "uint8"},
    {Type::SHORT, "short", "int16"}, {Type::USHORT, "ushort", "uint16"}, {Type::INT, "int", "int32"},
    {Type::UINT, "uint", "uint32"},  {Type::FLOAT, "float", "float32"},  {Type::DOUBLE, "double", "float64"},
};

// Far more than any real header takes, and little enough to keep all its lines.
constexpr std::size_t maxHeader = std::size_t{256} << 10;

Type typeOf(std::string_view word) {
    for (const TypeRow& row : typeTable)
        if (row.type != Type::INVALID && (word == row.name || word == row.alias)) return row.type;
    return Type::INVALID;
}

bool isIntegral(Type type) {
    return type != Type::INVALID && type != Type::FLOAT && type != Type::DOUBLE;
}

// Whether floats hold all its values.
bool fitsFloat(Type type) {
    return type != Type::INT && type != Type::UINT && type != Type::DOUBLE;
}

// What a line says after its first word.
std::string restOf(std::string_view line) {
    takeWord(line);
    if (!line.empty()) line.remove_prefix(1);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    return std::string(line);
}

std::string joined(const std::vector<std::string>& vKeys) {
    std::string text;
    for (const std::string& key : vKeys) text += (text.empty() ? "" : ", ") + key;
    return text;
}

}  // namespace

const char* getName(Type type) {
    return typeTable[static_cast<std::size_t>(type)].name;
}

void swapBytes(char* p, std::size_t width) {
    std::reverse(p, p + width);
}

void PlyFileImpl::failHeader(const std::string& text, std::string_view line) const {
    throw PlyError(text, "line " + std::to_string(lineNumber(file, line.data())));
}

void PlyFileImpl::parseHeader() {
    const std::string_view head = file.substr(0, maxHeader);
    std::string_view rest = head;
    bool bMore = true;
    while (bMore && !rest.empty()) {
        const std::string_view line = takeLine(rest);
        if (rest.empty() && line.data() + line.size() == head.data() + head.size() && head.size() < file.size())
            failHeader("header too long", line);
        bMore = parseLine(line);
    }
    bodyAt = head.size() - rest.size();
    if (bMore && rule == HeaderRule::STRICT) throw PlyError("the header has no end_header");
}

// False at the header's end.
bool PlyFileImpl::parseLine(std::string_view line) {
    std::string_view rest = line;
    const std::string_view word = takeWord(rest);
    const bool bFirst = line.data() == file.data();
    if (bFirst && rule == HeaderRule::STRICT && word != "ply" && word != "PLY")
        failHeader("the file does not start with \"ply\"", line);
    if (word == "comment") {
        vComments.push_back(restOf(line));
    } else if (word == "obj_info") {
        vObjInfo.push_back(restOf(line));
    } else if (word == "format") {
        parseFormat(line);
    } else if (word == "element") {
        parseElement(line);
    } else if (word == "property") {
        parseProperty(line);
    } else if (word == "end_header") {
        return false;
    } else if (!word.empty() && word != "ply" && word != "PLY") {
        if (rule == HeaderRule::STRICT) failHeader("unknown word in the header", line);
        return false;
    }
    return true;
}

void PlyFileImpl::parseFormat(std::string_view line) {
    std::string_view rest = line;
    takeWord(rest);
    const std::string_view word = takeWord(rest);
    format = Format::ASCII;
    if (word == "binary_little_endian") format = Format::LITTLE_ENDIAN_BINARY;
    if (word == "binary_big_endian") format = Format::BIG_ENDIAN_BINARY;
    if (rule == HeaderRule::STRICT && format == Format::ASCII && word != "ascii") failHeader("unknown format", line);
}

void PlyFileImpl::parseElement(std::string_view line) {
    std::string_view rest = line;
    takeWord(rest);
    PlyElement element;
    element.name = takeWord(rest);
    const std::string_view count = takeWord(rest);
    const char* pEnd = count.data() + count.size();
    const auto [pStop, code] = std::from_chars(count.data(), pEnd, element.count);
    if (count.empty() || code != std::errc() || pStop != pEnd) failHeader("invalid element count", line);
    vElements.push_back(std::move(element));
}

void PlyFileImpl::parseProperty(std::string_view line) {
    if (vElements.empty()) failHeader("no elements defined; file is malformed", line);
    std::string_view rest = line;
    takeWord(rest);
    PlyProperty property;
    std::string_view word = takeWord(rest);
    if (word == "list") {
        property.countType = typeOf(takeWord(rest));
        if (!isIntegral(property.countType)) failHeader("invalid ply property", line);
        word = takeWord(rest);
    }
    property.type = typeOf(word);
    property.name = takeWord(rest);
    if (property.type == Type::INVALID || property.name.empty()) failHeader("invalid ply property", line);
    vElements.back().vProperties.push_back(std::move(property));
}

std::size_t PlyFileImpl::findElement(const std::string& name) const {
    const auto it = std::find_if(vElements.begin(), vElements.end(),
                                 [&](const PlyElement& element) { return element.name == name; });
    return static_cast<std::size_t>(it - vElements.begin());
}

bool PlyFileImpl::isRequested(std::size_t element, std::size_t column) const {
    return std::any_of(vRequests.begin(), vRequests.end(), [&](const Request& other) {
        return other.element == element &&
               std::find(other.vColumns.begin(), other.vColumns.end(), column) != other.vColumns.end();
    });
}

std::shared_ptr<PlyData> PlyFileImpl::request(const std::string& elementKey,
                                              const std::vector<std::string>& propertyKeys, std::size_t listSizeHint) {
    if (vElements.empty()) throw PlyError("header had no elements defined. malformed file?");
    if (elementKey.empty()) throw PlyError("`elementKey` argument is empty");
    if (propertyKeys.empty()) throw PlyError("`propertyKeys` argument is empty");
    Request wanted{findElement(elementKey), {}, listSizeHint, std::make_shared<PlyData>()};
    if (wanted.element == vElements.size())
        throw PlyError("the element key was not found in the header: " + elementKey);

    const std::vector<PlyProperty>& vProperties = vElements[wanted.element].vProperties;
    std::vector<std::string> vMissing;
    for (const std::string& key : propertyKeys) {
        const auto it =
            std::find_if(vProperties.begin(), vProperties.end(), [&](const PlyProperty& p) { return p.name == key; });
        if (it == vProperties.end()) {
            vMissing.push_back(key);
            continue;
        }
        const auto column = static_cast<std::size_t>(it - vProperties.begin());
        if (isRequested(wanted.element, column))
            throw PlyError(std::string("element-property key has already been requested: ")
                               .append(elementKey)
                               .append(" ")
                               .append(key));
        // Lists have no fixed place in a row, so each is a request of its own.
        if (it->isList() && propertyKeys.size() > 1) throw PlyError("unhandled type");
        wanted.vColumns.push_back(column);
    }
    if (!vMissing.empty())
        throw PlyError("the following property keys were not found in the header: " + joined(vMissing));

    const Type first = vProperties[wanted.vColumns[0]].type;
    const bool bSame = std::all_of(wanted.vColumns.begin(), wanted.vColumns.end(),
                                   [&](std::size_t column) { return vProperties[column].type == first; });
    const bool bFloats = std::all_of(wanted.vColumns.begin(), wanted.vColumns.end(),
                                     [&](std::size_t column) { return fitsFloat(vProperties[column].type); });
    wanted.pData->type = bSame ? first : bFloats ? Type::FLOAT : Type::DOUBLE;
    wanted.pData->bList = vProperties[wanted.vColumns[0]].isList();
    if (!wanted.pData->bList) wanted.pData->width = wanted.vColumns.size();
    vRequests.push_back(wanted);
    return wanted.pData;
}

PlyFile::PlyFile() : pImpl(std::make_unique<PlyFileImpl>()) {}
PlyFile::~PlyFile() = default;

void PlyFile::parseHeader(std::string_view bytes, HeaderRule rule) {
    pImpl->file = bytes;
    pImpl->rule = rule;
    pImpl->parseHeader();
}

const PlyElement* PlyFile::findElement(const std::string& name) const {
    const std::size_t index = pImpl->findElement(name);
    return index < pImpl->vElements.size() ? &pImpl->vElements[index] : nullptr;
}

const std::vector<PlyElement>& PlyFile::getElements() const {
    return pImpl->vElements;
}

std::size_t PlyFile::getBodyPlace() const {
    return pImpl->bodyAt;
}

const std::vector<std::string>& PlyFile::getComments() const {
    return pImpl->vComments;
}

const std::vector<std::string>& PlyFile::getObjInfo() const {
    return pImpl->vObjInfo;
}

Format PlyFile::getFormat() const {
    return pImpl->format;
}

std::shared_ptr<PlyData> PlyFile::requestProperties(const std::string& elementKey,
                                                    const std::vector<std::string>& propertyKeys,
                                                    std::size_t listSizeHint) {
    return pImpl->request(elementKey, propertyKeys, listSizeHint);
}

void PlyFile::read() {
    pImpl->readBody();
}

}  // namespace QUOR_ZEF::PLY
