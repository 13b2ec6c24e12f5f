#include <algorithm>
#include <cmath>
#include <optional>

#include "bytes/FileBytes.h"
#include "bytes/textNumbers.h"
#include "frame/Progress.h"
#include "io/PLY.h"
#include "io/cloudLoaders.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t maxColumns = 16;
constexpr std::size_t noColumn = maxColumns;

using Triple = std::array<std::size_t, 3>;
constexpr Triple noColumns{noColumn, noColumn, noColumn};

struct Columns {
    Triple xyz{0, 1, 2};
    Triple rgb{3, 4, 5};  // noColumns: no colour
    Triple normal = noColumns;
    std::size_t intensity = noColumn;
};

// How the numbers of a line stand apart.
enum Separator : unsigned { BLANK = 1, COMMA = 2, SEMICOLON = 4 };

struct Line {
    std::array<double, maxColumns> values;
    std::size_t num = 0;      // numbers at its start
    unsigned separators = 0;  // between these numbers

    bool has(const Triple& columns) const { return *std::max_element(columns.begin(), columns.end()) < num; }
    Vector3 at(const Triple& columns) const { return {values[columns[0]], values[columns[1]], values[columns[2]]}; }
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
std::optional<Triple> findNames(const std::vector<std::string>& vNames, const std::array<const char*, 3>& wanted) {
    Triple columns{};
    for (std::size_t i = 0; i < 3; ++i) {
        const auto it = std::find(vNames.begin(), vNames.end(), wanted[i]);
        columns[i] = static_cast<std::size_t>(it - vNames.begin());
        if (it == vNames.end() || columns[i] >= maxColumns) return {};
    }
    return columns;
}

std::size_t findName(const std::vector<std::string>& vNames, std::initializer_list<const char*> known) {
    const auto it = std::find_first_of(vNames.begin(), vNames.end(), known.begin(), known.end());
    return it == vNames.end() ? noColumn : static_cast<std::size_t>(it - vNames.begin());
}

// Three columns beside x y z, which only the whole of them tells to be colours or
// normals. Kept while all lines have them and they may be one of these.
class ExtraColumns {
public:
    enum class Meaning : std::uint8_t { NONE, NORMALS, COLORS };

    bool bKept = true;
    bool bSeemedColors = false;  // before they were dropped

    // bLast: no number follows them. numRoom: of points.
    void add(const Vector3& v, bool bLast, std::size_t numRoom) {
        const bool bColorsBefore = lookColored();
        for (const double value : {v.vx, v.vy, v.vz}) {
            bWhole = bWhole && value >= 0.0 && value <= fullWord && value == std::floor(value);
            bShares = bShares && value >= 0.0 && value <= 1.0;
            bFraction = bFraction || value != std::floor(value);
        }
        bUnit = bUnit && std::abs(v.length() - 1.0) <= 1e-3;
        bAlwaysLast = bAlwaysLast && bLast;
        largest = {std::max(largest.vx, v.vx), std::max(largest.vy, v.vy), std::max(largest.vz, v.vz)};
        if (vValues.empty()) vValues.reserve(numRoom);
        vValues.push_back(v);
        if (bWhole || bShares || bUnit) return;
        drop();
        bSeemedColors = bColorsBefore;
    }
    void drop() {
        bSeemedColors = lookColored();
        bKept = false;
        vValues = {};
    }
    // Without names, columns that hold nothing but 0 and 1 are normals of a flat surface,
    // or nothing.
    Meaning meaning(bool bNamed) const {
        if (!bKept || vValues.empty()) return Meaning::NONE;
        if (!bNamed && bUnit && bAlwaysLast) return Meaning::NORMALS;
        return (bNamed ? bWhole || (bShares && bFraction) : areColorsUnnamed()) ? Meaning::COLORS : Meaning::NONE;
    }
    std::vector<Vector3> takeNormals() { return std::move(vValues); }
    void applyColors(std::vector<Point3>& vPoints) const {
        const double full = !bWhole ? 1.0 : mostOf(largest) > fullByte ? fullWord : fullByte;
        const auto toByte = [full](double value) {
            return static_cast<std::uint8_t>(std::floor(fullByte * value / full + 0.5));
        };
        for (std::size_t i = 0; i < vPoints.size(); ++i)
            vPoints[i].setColor(toByte(vValues[i].vx), toByte(vValues[i].vy), toByte(vValues[i].vz), 255);
    }

private:
    static constexpr double fullByte = 255.0, fullWord = 65535.0;

    std::vector<Vector3> vValues;
    Vector3 largest;
    bool bWhole = true;      // from 0 to 65535
    bool bShares = true;     // 0 to 1
    bool bFraction = false;  // among them
    bool bUnit = true;       // length 1
    bool bAlwaysLast = true;

    static double mostOf(const Vector3& v) { return std::max({v.vx, v.vy, v.vz}); }
    bool lookColored() const { return !vValues.empty() && bWhole && mostOf(largest) > 1.0; }
    // An intensity with counts beside it is none.
    bool areColorsUnnamed() const {
        if (!bWhole) return bShares && bFraction && bAlwaysLast;
        if (mostOf(largest) <= fullByte) return mostOf(largest) > 1.0;
        return bAlwaysLast && std::min({largest.vx, largest.vy, largest.vz}) > fullByte;
    }
};

class TextLoader {
public:
    TextLoader(std::string_view bytes, bool bPtsFile, PointFile& cloud) : text(bytes), bPts(bPtsFile), out(cloud) {}

    void setNames(const std::string& names) {
        if (!takeNames(namesOf(names)))
            throw LoadError("columns \"" + names + "\": x, y and z must be among the first " +
                            std::to_string(maxColumns) + " names");
        bToldNames = true;
    }

    void load() {
        std::string_view rest = text;
        if (rest.starts_with("\xEF\xBB\xBF")) rest.remove_prefix(3);  // the byte order mark of UTF-8
        const auto numLines = static_cast<std::size_t>(std::count(rest.begin(), rest.end(), '\n')) + 1;
        reserveMore(out.points, std::min(numLines, rest.size() / 6 + 1));
        RowStage rows("IO_read", rest.size());
        while (!rest.empty()) {
            const std::string_view line = takeLine(rest);
            rows.step(line.size() + 1);
            takeText(line);
        }
        if (out.points.empty()) throw LoadError("no line starts with three numbers; expected x y z on each line");
        settleExtra();
    }

private:
    std::string_view text;
    bool bPts;
    PointFile& out;
    Columns columns;
    bool bNamed = false;      // the columns have names
    bool bToldNames = false;  // which the file does not change
    ExtraColumns extra;

    void takeText(std::string_view line) {
        const char* pEnd = line.data() + line.size();
        const char* p = skipBlanks(line.data(), pEnd);
        if (p == pEnd) return;
        const Line numbers = parseLine(p, pEnd);
        if (numbers.has(columns.xyz)) return takePoint(numbers, p);
        takeOther(std::string_view(p, static_cast<std::size_t>(pEnd - p)));
    }

    void takeOther(std::string_view line) {
        if (isComment(line)) keepComment(line, out);
        if (!out.points.empty()) {
            if (!isComment(line)) ++out.numSkippedLines;
            return;
        }
        ++out.numHeaderLines;
        if (!bToldNames) takeNames(namesOf(line));
    }

    // False, and nothing changes, if they do not name coordinates.
    bool takeNames(const std::vector<std::string>& vNames) {
        const auto xyz = findNames(vNames, {"x", "y", "z"});
        if (!xyz) return false;
        bNamed = true;
        columns.xyz = *xyz;
        auto rgb = findNames(vNames, {"r", "g", "b"});
        if (!rgb) rgb = findNames(vNames, {"red", "green", "blue"});
        columns.rgb = rgb.value_or(noColumns);
        columns.normal = findNames(vNames, {"nx", "ny", "nz"}).value_or(noColumns);
        columns.intensity = findName(vNames, {"i", "intensity"});
        return true;
    }

    void takePoint(const Line& line, const char* pHere) {
        if ((line.separators & COMMA) && (line.separators & (BLANK | SEMICOLON)))
            failAtLine(text, pHere,
                       "commas beside blanks or semicolons; if they are decimal commas, write decimal points instead");
        const auto& [x, y, z] = columns.xyz;
        out.points.emplace_back(line.values[x], line.values[y], line.values[z]);
        if (extra.bKept && columns.rgb != noColumns) takeExtra(line);
        if (columns.normal != noColumns) takeNormal(line);
        if (columns.intensity < maxColumns) takeIntensity(line);
    }

    void takeExtra(const Line& line) {
        const Triple at = bPts && !bNamed && line.num == 7 ? Triple{4, 5, 6} : columns.rgb;
        if (!line.has(at)) return extra.drop();
        extra.add(line.at(at), at[2] + 1 == line.num, out.points.capacity());
    }

    void takeNormal(const Line& line) {
        if (out.normals.empty()) out.normals.reserve(out.points.capacity());
        addNormal(line.has(columns.normal) ? line.at(columns.normal) : Vector3(), out);
    }

    void takeIntensity(const Line& line) {
        if (out.intensities.empty()) out.intensities.reserve(out.points.capacity());
        out.intensities.push_back(columns.intensity < line.num ? narrow(line.values[columns.intensity]) : 0.f);
    }

    void settleExtra() {
        const ExtraColumns::Meaning meaning = extra.meaning(bNamed);
        if (meaning == ExtraColumns::Meaning::NORMALS) out.normals = extra.takeNormals();
        if (meaning == ExtraColumns::Meaning::COLORS) return extra.applyColors(out.points);
        if (extra.bSeemedColors) {
            out.notes.emplace_back("Colours are left out, since not all lines have them.");
        } else if (bNamed && columns.rgb != noColumns) {
            out.notes.emplace_back(
                "Colours are left out, since they are neither whole numbers up to 65535 nor 0 to 1.");
        }
    }
};

}  // namespace

void loadTextCloud(std::string_view bytes, const std::string& names, bool bPts, PointFile& out) {
    checkIsText(bytes);
    out.format = "text, a point a line";
    TextLoader loader(bytes, bPts, out);
    if (!names.empty()) loader.setNames(names);
    loader.load();
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
    RowStage rows("IO_read", static_cast<uint64>(count));
    for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
        rows.step();
        const char* p = bytes.data() + headerBytes + i * numCoords * sizeof(double);
        out.points.emplace_back(loadValue<double>(p), loadValue<double>(p + 8),
                                numCoords == 3 ? loadValue<double>(p + 16) : 0.0);
    }
}

}  // namespace QUOR_ZEF
