#include <algorithm>

#include "bytes/FileBytes.h"
#include "bytes/textNumbers.h"
#include "frame/Progress.h"
#include "io/PLY.h"
#include "io/cloudLoaders.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t maxNumbers = 16;
constexpr uint64 maxIndex = std::numeric_limits<std::uint32_t>::max();

// The numbers at the start of a text, up to maxNumbers of them.
struct Numbers {
    std::array<double, maxNumbers> values{};
    std::size_t num = 0;

    explicit Numbers(std::string_view text) {
        const char* pEnd = text.data() + text.size();
        const char* p = skipBlanks(text.data(), pEnd);
        while (num < maxNumbers && p != pEnd) {
            p = parseAnyNumber(p, pEnd, values[num]);
            if (!p || (p != pEnd && !isSpace(*p))) return;
            ++num;
            p = skipBlanks(p, pEnd);
        }
    }
    Point3 point() const { return {values[0], values[1], values[2]}; }
};

ColorColumn::Color colorAt(const Numbers& numbers, std::size_t first) {
    ColorColumn::Color color{};
    for (std::size_t i = 0; i < 4; ++i)
        color[i] = first + i < numbers.num ? narrow(numbers.values[first + i]) : ColorColumn::none;
    return color;
}

bool startsWith(std::string_view line, std::string_view smallLetters) {
    if (line.size() < smallLetters.size()) return false;
    return std::equal(smallLetters.begin(), smallLetters.end(), line.begin(),
                      [](char small, char c) { return small == (c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c); });
}

std::string_view withoutIndent(std::string_view line) {
    const char* pEnd = line.data() + line.size();
    const char* p = skipBlanks(line.data(), pEnd);
    return {p, static_cast<std::size_t>(pEnd - p)};
}

// ---- STL ----

constexpr std::size_t stlHeader = 84;
constexpr std::size_t stlRecord = 50;

uint64 announcedFacets(std::string_view bytes) {
    return bytes.size() < stlHeader ? 0 : loadValue<std::uint32_t>(bytes.data() + stlHeader - 4);
}

void loadBinaryStl(std::string_view bytes, PointFile& out) {
    const uint64 numFacets = announcedFacets(bytes);
    if (bytes.size() < stlHeader || numFacets > (bytes.size() - stlHeader) / stlRecord)
        throw LoadError("byte 80: " + std::to_string(numFacets) +
                        " triangles announced, but the file ends before; it is cut short, or no STL file");
    out.format = "STL, binary";
    reserveMore(out.points, static_cast<std::size_t>(3 * numFacets));
    RowStage rows("IO_read", numFacets);
    for (std::size_t i = 0; i < numFacets; ++i) {
        rows.step();
        const char* p = bytes.data() + stlHeader + i * stlRecord + 12;  // after the normal
        for (int corner = 0; corner < 3; ++corner, p += 12)
            out.points.emplace_back(loadValue<float>(p), loadValue<float>(p + 4), loadValue<float>(p + 8));
    }
}

class TextStlLoader {
public:
    TextStlLoader(std::string_view bytes, PointFile& cloud) : text(bytes), out(cloud) {}

    void load() {
        // A facet takes seven lines, and growing while millions are there would take long.
        const auto numLines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
        reserveMore(out.points, std::min(numLines / 7 + 1, text.size() / 64 + 1) * 3);
        std::string_view rest = text;
        RowStage rows("IO_read", text.size());
        while (!rest.empty()) {
            const std::string_view line = takeLine(rest);
            rows.step(line.size() + 1);
            takeText(withoutIndent(line));
        }
        if (bInLoop) failAtLine(text, text.data() + text.size(), "the file ends inside a facet; it is cut short");
        if (out.points.empty()) throw LoadError("no facets; is it an STL file?");
    }

private:
    std::string_view text;
    PointFile& out;
    bool bInLoop = false;
    int numCorners = 0;

    void takeText(std::string_view line) {
        if (startsWith(line, "vertex")) return takeVertex(line);
        if (startsWith(line, "outer loop")) {
            if (bInLoop) failAtLine(text, line.data(), "a facet inside a facet");
            bInLoop = true;
            numCorners = 0;
        } else if (startsWith(line, "endloop")) {
            if (numCorners != 3)
                failAtLine(text, line.data(), "a facet of " + std::to_string(numCorners) + " corners, expected 3");
            bInLoop = false;
        } else if (!startsWith(line, "facet") && !startsWith(line, "endfacet") && !startsWith(line, "solid") &&
                   !startsWith(line, "endsolid") && !line.empty()) {
            ++out.numSkippedLines;
        }
    }

    void takeVertex(std::string_view line) {
        const Numbers numbers(line.substr(std::string_view("vertex").size()));
        if (!bInLoop || numbers.num != 3)
            failAtLine(text, line.data(), "expected \"vertex x y z\" inside an \"outer loop\"");
        pushSlowly(out.points, numbers.point());
        ++numCorners;
    }
};

// ---- OBJ ----

class ObjLoader {
public:
    ObjLoader(std::string_view bytes, PointFile& cloud) : text(bytes), out(cloud), fan(cloud) {}

    void load() {
        const char* pEnd = text.data() + text.size();
        const char* p = text.data();
        RowStage rows("IO_read", text.size());
        while (p != pEnd) {
            const char* const pLine = p;
            p = skipBlanks(p, pEnd);
            const char* pStop = lineEnd(p, pEnd);
            const std::string_view line(p, static_cast<std::size_t>(pStop - p));
            if (line.size() > 1 && line[0] == 'v' && isBlank(line[1])) takeVertex(line);
            if (line.size() > 1 && line[0] == 'f' && isBlank(line[1])) pStop = takeFace(p + 1, pEnd);
            if (line.starts_with("#")) keepComment(line, out.comments);
            p = pStop == pEnd ? pEnd : pStop + 1;
            rows.step(static_cast<uint64>(p - pLine));
        }
        finish();
    }

private:
    std::string_view text;
    PointFile& out;
    FanMaker fan;
    ColorColumn colors;
    uint64 numFaces = 0;
    // The largest index, and where: vertices may follow their faces, so only the
    // end tells whether it is there.
    int64 largest = -1;
    uint64 faceOfLargest = 0;
    const char* pLargest = nullptr;

    void takeVertex(std::string_view line) {
        const Numbers numbers(line.substr(1));
        if (numbers.num < 3) failAtLine(text, line.data(), "expected \"v x y z\"");
        if (out.points.size() > maxIndex) failAtLine(text, line.data(), "too many vertices; cut the mesh into parts");
        // x y z, x y z w, x y z r g b, or x y z w r g b
        if (numbers.num >= 6) {
            ColorColumn::Color color = colorAt(numbers, numbers.num >= 7 ? 4 : 3);
            color[3] = ColorColumn::none;
            colors.set(out.points.size(), color);
        }
        pushSlowly(out.points, numbers.point());
    }

    // A backslash at the end of a line carries it on.
    const char* nextCorner(const char* p, const char* pEnd) const {
        p = skipBlanks(p, pEnd);
        while (p != pEnd && *p == '\\') {
            const char* pFeed = skipBlanks(p + 1, pEnd);
            if (pFeed == pEnd || *pFeed != '\n') break;
            p = skipBlanks(pFeed + 1, pEnd);
        }
        return p;
    }

    // Returns the end of the line.
    const char* takeFace(const char* p, const char* pEnd) {
        ++numFaces;
        for (p = nextCorner(p, pEnd); p != pEnd && *p != '\n' && *p != '#'; p = nextCorner(p, pEnd)) {
            int64 index = 0;
            const auto [pStop, code] = std::from_chars(p, pEnd, index);
            if (code != std::errc() || index == 0)
                failAtLine(text, p, "face " + std::to_string(numFaces) + " has no number where a vertex belongs");
            takeIndex(index, p);
            p = wordEnd(pStop, pEnd);  // past texture and normal
        }
        fan.endFace();
        return lineEnd(p, pEnd);
    }

    // Numbered from 1; negative ones count back from the last vertex so far.
    void takeIndex(int64 index, const char* pHere) {
        const auto numVertices = static_cast<int64>(out.points.size());
        const int64 position = index > 0 ? index - 1 : numVertices + index;
        if (position < 0 || static_cast<uint64>(position) >= maxIndex) failIndex(numFaces, index, pHere);
        if (position > largest) {
            largest = position;
            faceOfLargest = numFaces;
            pLargest = pHere;
        }
        fan.addCorner(static_cast<std::uint32_t>(position));
    }

    [[noreturn]] void failIndex(uint64 face, int64 index, const char* pHere) const {
        failAtLine(text, pHere,
                   "face " + std::to_string(face) + " has vertex " + std::to_string(index) + ", but the file has " +
                       std::to_string(out.points.size()) + "; the file is damaged, export it anew");
    }

    void finish() {
        if (out.points.empty()) throw LoadError("no vertices; is it an OBJ file?");
        if (largest >= static_cast<int64>(out.points.size())) failIndex(faceOfLargest, largest + 1, pLargest);
        colors.apply(out);
        if (!out.indices.empty()) out.kind = PointFile::Kind::MESH;
    }
};

// ---- OFF ----

class OffLoader {
public:
    OffLoader(std::string_view bytes, PointFile& cloud) : text(bytes), rest(bytes), out(cloud), fan(cloud) {}

    void load() {
        parseHeader();
        RowStage rows("IO_read", numVertices + numFaces);
        for (uint64 i = 0; i < numVertices; ++i, rows.step()) takeVertex(nextLine());
        for (uint64 i = 0; i < numFaces; ++i, rows.step()) takeFace(nextLine(), i + 1);
        colors.apply(out);
        if (!out.indices.empty()) out.kind = PointFile::Kind::MESH;
    }

private:
    std::string_view text, rest;
    PointFile& out;
    FanMaker fan;
    ColorColumn colors;
    uint64 numVertices = 0, numFaces = 0;
    bool bNormals = false, bColors = false;

    // The next line that says something, without what follows a '#'.
    std::string_view nextLine() {
        while (!rest.empty()) {
            std::string_view line = withoutIndent(takeLine(rest));
            const std::size_t mark = line.find('#');
            if (mark != std::string_view::npos) {
                keepComment(line.substr(mark), out.comments);
                line = line.substr(0, mark);
            }
            if (!line.empty()) return line;
        }
        failAtLine(text, text.data() + text.size(), "the file ends before all vertices and faces; it is cut short");
    }

    void parseHeader() {
        std::string_view line = nextLine();
        const std::string_view keyword = takeWord(line);
        if (!keyword.ends_with("OFF")) failAtLine(text, keyword.data(), "expected \"OFF\" in the first line");
        const std::string_view kinds = keyword.substr(0, keyword.size() - 3);
        bNormals = kinds.find('N') != std::string_view::npos;
        bColors = kinds.find('C') != std::string_view::npos;
        if (kinds.find_first_of("4n") != std::string_view::npos || withoutIndent(line).starts_with("BINARY"))
            failAtLine(text, keyword.data(), "this kind of OFF is not read; save it as text in three dimensions");
        if (withoutIndent(line).empty()) line = nextLine();
        const Numbers counts(line);
        const double most = static_cast<double>(text.size());
        if (counts.num < 2 || !(counts.values[0] >= 0.0 && counts.values[0] <= most) ||
            !(counts.values[1] >= 0.0 && counts.values[1] <= most) || counts.values[0] > static_cast<double>(maxIndex))
            failAtLine(text, line.data(), "expected the numbers of vertices and faces, and a file that holds as many");
        numVertices = static_cast<uint64>(counts.values[0]);
        numFaces = static_cast<uint64>(counts.values[1]);
        if (6 * numVertices + 2 * numFaces > text.size() + 2)
            failAtLine(text, line.data(), "more vertices and faces than the file has room for; it is cut short");
        reserveMore(out.points, static_cast<std::size_t>(numVertices));
    }

    void takeVertex(std::string_view line) {
        const Numbers numbers(line);
        if (numbers.num < 3) failAtLine(text, line.data(), "expected a vertex, x y z");
        const std::size_t colorColumn = bNormals ? 6 : 3;
        if (bColors && numbers.num >= colorColumn + 3) colors.set(out.points.size(), colorAt(numbers, colorColumn));
        out.points.push_back(numbers.point());
    }

    void takeFace(std::string_view line, uint64 face) {
        const char* pEnd = line.data() + line.size();
        uint64 length = 0;
        auto parsed = std::from_chars(line.data(), pEnd, length);
        if (parsed.ec != std::errc()) failAtLine(text, line.data(), "expected a face, a count and its vertices");
        for (uint64 i = 0; i < length; ++i) {
            const char* p = skipBlanks(parsed.ptr, pEnd);
            uint64 index = 0;
            parsed = std::from_chars(p, pEnd, index);
            if (parsed.ec != std::errc() || index >= numVertices)
                failAtLine(text, line.data(),
                           "face " + std::to_string(face) + " needs " + std::to_string(length) +
                               " vertices from 0 to " + std::to_string(static_cast<int64>(numVertices) - 1) +
                               "; the file is damaged, export it anew");
            fan.addCorner(static_cast<std::uint32_t>(index));
        }
        fan.endFace();
    }
};

}  // namespace

// The size decides: binary files may start with "solid" too.
void loadStlCloud(std::string_view bytes, PointFile& out) {
    out.kind = PointFile::Kind::CORNERS;
    const uint64 numFacets = announcedFacets(bytes);
    const bool bFits = bytes.size() >= stlHeader && bytes.size() == stlHeader + stlRecord * numFacets;
    const char* pEnd = bytes.data() + bytes.size();
    const char* p = skipSpaces(bytes.data(), pEnd);
    const bool bSolid = startsWith(std::string_view(p, static_cast<std::size_t>(pEnd - p)), "solid");
    if (bFits || !bSolid) return loadBinaryStl(bytes, out);
    checkIsText(bytes);
    out.format = "STL, text";
    TextStlLoader(bytes, out).load();
}

void loadObjCloud(std::string_view bytes, PointFile& out) {
    checkIsText(bytes);
    out.format = "OBJ";
    ObjLoader(bytes, out).load();
}

void loadOffCloud(std::string_view bytes, PointFile& out) {
    checkIsText(bytes);
    out.format = "OFF";
    OffLoader(bytes, out).load();
}

}  // namespace QUOR_ZEF
