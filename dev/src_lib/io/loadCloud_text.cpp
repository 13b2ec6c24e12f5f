#include <algorithm>
#include <cmath>
#include <optional>

#include "bytes/FileBytes.h"
#include "bytes/textNumbers.h"
#include "io/PLY.h"
#include "io/cloudLoaders.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t maxColumns = 16;
constexpr std::size_t noColumn = maxColumns;

struct Columns {
    std::array<std::size_t, 3> xyz{0, 1, 2};
    std::array<std::size_t, 3> rgb{3, 4, 5};  // noColumn: no colour
};

// How the numbers of a line stand apart.
enum Separator : unsigned { BLANK = 1, COMMA = 2, SEMICOLON = 4 };

struct Line {
    std::array<double, maxColumns> values;
    std::size_t num = 0;      // numbers at its start
    unsigned separators = 0;  // between these numbers
};

bool isSeparator(char c) {
    return c == ',' || c == ';';
}

Line parseLine(const char* p, const char* pEnd) {
    Line line;
    unsigned separator = 0;
    p = skipBlanks(p, pEnd);
    while (line.num < maxColumns && p != pEnd) {
        const char* pStop = parseAnyNumber(p, pEnd, line.values[line.num]);
        if (!pStop || (pStop != pEnd && !isBlank(*pStop) && !isSeparator(*pStop))) break;
        ++line.num;
        line.separators |= separator;
        p = skipBlanks(pStop, pEnd);
        separator = BLANK;
        if (p != pEnd && isSeparator(*p)) {
            separator = *p == ',' ? COMMA : SEMICOLON;
            p = skipBlanks(p + 1, pEnd);
        }
    }
    return line;
}

bool isComment(std::string_view line) {
    return line.starts_with("#") || line.starts_with("//");
}

// The words of a line of names, in small letters and without quotes or a
// comment's mark.
std::vector<std::string> namesOf(std::string_view line) {
    std::vector<std::string> vNames(1);
    bool bGap = false;  // blanks since the last letter
    for (char c : line) {
        if (c == '"' || c == '#' || c == '/' || c == '\'') continue;
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
        if (isBlank(c)) {
            bGap = true;
            continue;
        }
        if (isSeparator(c) || (bGap && !vNames.back().empty())) vNames.emplace_back();
        bGap = false;
        if (!isSeparator(c)) vNames.back() += c;
        if (vNames.size() > maxColumns) break;
    }
    return vNames;
}

// The columns of three names; nothing if one of them is missing.
std::optional<std::array<std::size_t, 3>> findNames(const std::vector<std::string>& vNames,
                                                    const std::array<const char*, 3>& wanted) {
    std::array<std::size_t, 3> columns{};
    for (std::size_t i = 0; i < 3; ++i) {
        const auto it = std::find(vNames.begin(), vNames.end(), wanted[i]);
        columns[i] = static_cast<std::size_t>(it - vNames.begin());
        if (it == vNames.end() || columns[i] >= maxColumns) return {};
    }
    return columns;
}

class TextLoader {
public:
    TextLoader(std::string_view bytes, bool bPtsFile, PointFile& cloud) : text(bytes), bPts(bPtsFile), out(cloud) {}

    void load() {
        std::string_view rest = text;
        if (rest.starts_with("\xEF\xBB\xBF")) rest.remove_prefix(3);  // the byte order mark of UTF-8
        const auto numLines = static_cast<std::size_t>(std::count(rest.begin(), rest.end(), '\n')) + 1;
        reserveMore(out.points, std::min(numLines, rest.size() / 6 + 1));
        while (!rest.empty()) takeText(takeLine(rest));
        if (out.points.empty()) throw LoadError("no line starts with three numbers; expected x y z on each line");
        settleColors();
    }

private:
    std::string_view text;
    bool bPts;
    PointFile& out;
    Columns columns;
    bool bNamed = false;       // the columns have names
    bool bColored = true;      // all lines so far have a colour
    bool bAnyColored = false;  // at least one has
    double largestChannel = 0.0;

    void takeText(std::string_view line) {
        const char* pEnd = line.data() + line.size();
        const char* p = skipBlanks(line.data(), pEnd);
        if (p == pEnd) return;
        const Line numbers = parseLine(p, pEnd);
        if (numbers.num > *std::max_element(columns.xyz.begin(), columns.xyz.end())) return takePoint(numbers, p);
        takeOther(std::string_view(p, static_cast<std::size_t>(pEnd - p)));
    }

    void takeOther(std::string_view line) {
        if (isComment(line)) keepComment(line, out);
        if (!out.points.empty()) {
            if (!isComment(line)) ++out.numSkippedLines;
            return;
        }
        ++out.numHeaderLines;
        const std::vector<std::string> vNames = namesOf(line);
        const auto xyz = findNames(vNames, {"x", "y", "z"});
        if (!xyz) return;
        bNamed = true;
        columns.xyz = *xyz;
        auto rgb = findNames(vNames, {"r", "g", "b"});
        if (!rgb) rgb = findNames(vNames, {"red", "green", "blue"});
        columns.rgb = rgb ? *rgb : std::array<std::size_t, 3>{noColumn, noColumn, noColumn};
    }

    void takePoint(const Line& line, const char* pHere) {
        if ((line.separators & COMMA) && (line.separators & (BLANK | SEMICOLON)))
            failAtLine(text, pHere,
                       "commas beside blanks or semicolons; if they are decimal commas, write decimal points instead");
        const auto& [x, y, z] = columns.xyz;
        out.points.emplace_back(line.values[x], line.values[y], line.values[z]);
        if (bColored) takeColor(line, out.points.back());
    }

    std::array<std::size_t, 3> colorColumns(const Line& line) const {
        if (bPts && !bNamed && line.num == 7) return {4, 5, 6};
        return columns.rgb;
    }

    void takeColor(const Line& line, Point3& point) {
        std::array<std::uint8_t, 3> rgb{};
        const std::array<std::size_t, 3> at = colorColumns(line);
        for (std::size_t i = 0; i < 3; ++i) {
            const double value = at[i] < line.num ? line.values[at[i]] : -1.0;
            bColored = bColored && value >= 0.0 && value <= 255.0 && value == std::floor(value);
            if (!bColored) return;
            largestChannel = std::max(largestChannel, value);
            rgb[i] = static_cast<std::uint8_t>(value);
        }
        bAnyColored = true;
        point.setColor(rgb[0], rgb[1], rgb[2], 255);
    }

    // Colour is colour when all lines have it. Columns without a name that hold
    // nothing but 0 and 1 are normals of a flat surface.
    void settleColors() {
        const bool bNormals = !bNamed && largestChannel <= 1.0;
        if (bNamed && !bAnyColored && columns.rgb[0] != noColumn)
            out.notes.push_back("Colours are left out, since they are not whole numbers from 0 to 255.");
        if (!bAnyColored || (bColored && !bNormals)) return;
        if (!bNormals) out.notes.push_back("Colours are left out, since not all lines have them.");
        for (Point3& p : out.points) p = Point3(p.px, p.py, p.pz);
    }
};

}  // namespace

void loadTextCloud(std::string_view bytes, bool bPts, PointFile& out) {
    checkIsText(bytes);
    out.format = "text, a point a line";
    TextLoader(bytes, bPts, out).load();
}

void loadBinCloud(std::string_view bytes, PointFile& out) {
    constexpr std::size_t headerBytes = 12;
    if (bytes.size() < headerBytes) throw LoadError("the file is shorter than the header of a binary list");
    const auto type = loadValue<std::int32_t>(bytes.data());
    const auto count = loadValue<std::int64_t>(bytes.data() + 4);
    if (type != 30 && type != 20)
        throw LoadError("byte 0: type " + std::to_string(type) + ", expected 30 or 20; is it a binary list of points?");
    const std::size_t numCoords = type == 30 ? 3 : 2;
    const std::size_t numThere = (bytes.size() - headerBytes) / (numCoords * sizeof(double));
    if (count < 0 || static_cast<uint64>(count) > numThere)
        throw LoadError("byte 4: " + std::to_string(count) + " points announced, but there are bytes for " +
                        std::to_string(numThere) + "; the file is cut short");
    out.format = "binary list of points";
    reserveMore(out.points, static_cast<std::size_t>(count));
    for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
        const char* p = bytes.data() + headerBytes + i * numCoords * sizeof(double);
        out.points.emplace_back(loadValue<double>(p), loadValue<double>(p + 8),
                                numCoords == 3 ? loadValue<double>(p + 16) : 0.0);
    }
}

}  // namespace QUOR_ZEF
