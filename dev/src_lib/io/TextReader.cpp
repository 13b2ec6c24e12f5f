#include "io/TextReader.h"

#include <algorithm>
#include <utility>

#include "bytes/LoadError.h"
#include "bytes/textNumbers.h"
#include "io/cloudLoaders.h"
#include "parallel/parallelTransform.h"

namespace QUOR_ZEF {

namespace {

constexpr const char* mixedSeparators =
    "commas beside blanks or semicolons; if they are decimal commas, write decimal points instead";

bool isComment(std::string_view line) {
    return line.starts_with("#") || line.starts_with("//");
}

std::string_view withoutBlanks(std::string_view line) {
    const char* const pEnd = line.data() + line.size();
    const char* const p = skipBlanks(line.data(), pEnd);
    return {p, static_cast<std::size_t>(pEnd - p)};
}

bool hasZero(std::string_view text) {
    return text.find('\0') != std::string_view::npos;
}

// The first place from this one on where a line begins, or the end.
std::size_t lineFrom(std::size_t place, std::string_view lines) {
    if (place == 0 || place == lines.size()) return place;
    return std::min(lines.find('\n', place - 1), lines.size() - 1) + 1;
}

[[noreturn]] void fail(uint64 lineNumber, const std::string& fault) {
    throw LoadError("line " + std::to_string(lineNumber) + ": " + fault);
}

// Where there is room for all points, there will be as many of the others.
template <class T>
void keepRoom(std::vector<T>& v, const TextRows& rows) {
    if (v.empty()) v.reserve(rows.points.capacity());
}

}  // namespace

void TextRows::append(const TextRows& next) {
    const auto appendTo = [this](auto& v, const auto& added) {
        if (!added.empty()) keepRoom(v, *this);
        v.insert(v.end(), added.begin(), added.end());
    };
    appendTo(points, next.points);
    appendTo(extra, next.extra);
    appendTo(normals, next.normals);
    appendTo(intensities, next.intensities);
}

// Of neighbouring lines behind the first point.
struct TextReader::Part {
    TextRows rows;
    ExtraNumbers extra;
    uint64 numSkipped = 0;
    std::vector<std::string_view> vComments;
    uint64 numLines = 0;          // up to the end, or to a faulty one
    const char* fault = nullptr;  // of that
};

TextReader::TextReader(const std::string& names, bool bPts) : bPtsFile(bPts), bTold(!names.empty()) {
    if (bTold && !columns.take(namesIn(names)))
        throw LoadError("columns \"" + names + "\": x, y and z must be among the first " +
                        std::to_string(TextColumns::maxNum) + " names");
}

void TextReader::take(std::string_view lines, uint64 lineNumber, TextRows& out) {
    constexpr std::size_t pieceBytes = std::size_t{1} << 19;  // what is parsed stands beside what is kept
    if (lineNumber == 1 && lines.starts_with("\xEF\xBB\xBF")) lines.remove_prefix(3);  // the byte order mark of UTF-8
    if (numPoints == 0) lines = takeHead(lines, lineNumber);
    while (!lines.empty()) {
        const std::size_t size = lineFrom(std::min(pieceBytes, lines.size()), lines);
        takePiece(lines.substr(0, size), lineNumber, out);
        lines.remove_prefix(size);
    }
}

void TextReader::takePiece(std::string_view lines, uint64& lineNumber, TextRows& out) {
    constexpr std::size_t minBytes = std::size_t{1} << 15;
    const auto vParts = parallelChunkResults<Part>(lines.size(), minBytes, [&](std::size_t begin, std::size_t end) {
        const std::size_t first = lineFrom(begin, lines);
        return parse(lines.substr(first, lineFrom(end, lines) - first));
    });
    for (const Part& part : vParts) {
        append(part, out);
        lineNumber += part.numLines;
        if (part.fault) fail(lineNumber, part.fault);
    }
}

// Up to the first point; returns what follows, with the number of its first line.
std::string_view TextReader::takeHead(std::string_view lines, uint64& lineNumber) {
    for (; !lines.empty(); ++lineNumber) {
        std::string_view rest = lines;
        const std::string_view line = withoutBlanks(takeLine(rest));
        if (hasZero(line)) fail(lineNumber, notText);
        if (TextLine(line).has(columns.xyz)) break;
        lines = rest;
        if (line.empty()) continue;
        if (isComment(line)) keepComment(line, vComments);
        ++numHeaderLines;
        if (!bTold) columns.take(namesIn(line));
    }
    return lines;
}

TextReader::Part TextReader::parse(std::string_view lines) const {
    Part part;
    const bool bZeros = hasZero(lines);
    constexpr std::size_t leastBytes = 6;  // of a point
    const auto numLines = static_cast<std::size_t>(std::count(lines.begin(), lines.end(), '\n')) + 1;
    part.rows.points.reserve(std::min(numLines, lines.size() / leastBytes + 1));
    for (; !lines.empty(); ++part.numLines) {
        const std::string_view line = withoutBlanks(takeLine(lines));
        if (line.empty()) continue;
        const TextLine numbers(line);
        if (bZeros && hasZero(line)) part.fault = notText;
        if (numbers.bMixed && numbers.has(columns.xyz)) part.fault = mixedSeparators;
        if (part.fault) break;
        if (numbers.has(columns.xyz)) {
            takePoint(numbers, part);
        } else if (isComment(line)) {
            part.vComments.push_back(line);
        } else {
            ++part.numSkipped;
        }
    }
    if (!part.extra.mayMean()) part.rows.extra = {};
    return part;
}

void TextReader::takePoint(const TextLine& line, Part& part) const {
    const Vector3 place = line.at(columns.xyz);
    part.rows.points.emplace_back(place.vx, place.vy, place.vz);
    if (columns.rgb != TextColumns::noTriple && extra.mayMean() && part.extra.mayMean()) takeExtra(line, part);
    if (columns.normal != TextColumns::noTriple) {
        const Vector3 normal = line.has(columns.normal) ? line.at(columns.normal) : Vector3();
        keepRoom(part.rows.normals, part.rows);
        addNormal(normal, part.rows.normals);
    }
    if (columns.intensity == TextColumns::none) return;
    keepRoom(part.rows.intensities, part.rows);
    part.rows.intensities.push_back(columns.intensity < line.num ? narrow(line.values[columns.intensity]) : 0.f);
}

void TextReader::takeExtra(const TextLine& line, Part& part) const {
    const bool bIntensityFirst = bPtsFile && !columns.bNamed && line.num == 7;
    const TextColumns::Triple at = bIntensityFirst ? TextColumns::Triple{4, 5, 6} : columns.rgb;
    if (!line.has(at)) return part.extra.addLack();
    part.extra.add(line.at(at), at[2] + 1 == line.num);
    keepRoom(part.rows.extra, part.rows);
    part.rows.extra.push_back(line.at(at));
}

void TextReader::append(const Part& part, TextRows& out) {
    extra.append(part.extra);
    out.append(part.rows);
    if (!extra.mayMean()) out.extra = {};
    numPoints += part.rows.points.size();
    numSkippedLines += part.numSkipped;
    for (const std::string_view comment : part.vComments) keepComment(comment, vComments);
}

void TextReader::settle(TextRows& rows) const {
    const ExtraNumbers::Meaning meaning = extra.meaning(columns.bNamed);
    if (meaning == ExtraNumbers::Meaning::NORMALS) rows.normals = std::move(rows.extra);
    if (meaning == ExtraNumbers::Meaning::COLORS) extra.applyColors(rows.extra, rows.points);
    rows.extra = {};
}

std::vector<std::string> TextReader::getNotes() const {
    if (columns.rgb == TextColumns::noTriple || extra.meaning(columns.bNamed) != ExtraNumbers::Meaning::NONE) return {};
    if (extra.seemedColors()) return {"Colours are left out, since not all lines have them."};
    if (columns.bNamed) return {"Colours are left out, since they are neither whole numbers up to 65535 nor 0 to 1."};
    return {};
}

}  // namespace QUOR_ZEF
