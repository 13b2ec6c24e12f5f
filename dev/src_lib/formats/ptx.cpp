#include "formats/ptx.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "bytes/textNumbers.h"
#include "formats/TextLines.h"
#include "formats/decodeRows.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t maxNumbers = 7;

struct Row {
    std::array<double, maxNumbers> values{};
    std::size_t num = 0;
    bool bOnly = true;  // nothing else on the line

    explicit Row(std::string_view line) {
        const char* p = line.data();
        const char* const pEnd = p + line.size();
        for (p = skipBlanks(p, pEnd); p != pEnd && num < maxNumbers; p = skipBlanks(p, pEnd)) {
            const char* const pStop = parseAnyNumber(p, pEnd, values[num]);
            if (!pStop || (pStop != pEnd && !isBlank(*pStop))) break;
            p = pStop;
            ++num;
        }
        bOnly = p == pEnd;
    }
    // So many finite numbers.
    bool is(std::size_t numExpected) const {
        return bOnly && num == numExpected &&
               std::all_of(values.begin(), values.end(), [](double value) { return std::isfinite(value); });
    }
    bool isCount() const {
        constexpr double most = 4e9;  // so that the product of two fits
        return is(1) && values[0] >= 0.0 && values[0] <= most && values[0] == std::floor(values[0]);
    }
    Vector3 vector() const { return {values[0], values[1], values[2]}; }
};

// The numbers on the lines before the points of a scan; 1 stands for a count.
constexpr std::array<std::size_t, 10> headerShape{1, 1, 3, 3, 3, 3, 4, 4, 4, 4};

bool fitsHeader(std::size_t line, const Row& row) {
    return headerShape[line] == 1 ? row.isCount() : row.is(headerShape[line]);
}

bool isEmpty(std::string_view line) {
    return skipBlanks(line.data(), line.data() + line.size()) == line.data() + line.size();
}

class PtxStream : public PointStream {
public:
    PtxStream(const InputFile& source, const PointChoice& wanted) : file(source), choice(wanted), lines(source, 0, 1) {
        facts.format = "PTX";
        facts.numScans = 0;
        if (!startScan()) throw LoadError("line 1: the file holds no scan; is it PTX?");
    }

    const ScanFacts& getFacts() const override { return facts; }
    std::uint64_t getPosition() const override { return lines.getPosition(); }

    bool next(PointBlock& out) override {
        if (bDone) return false;
        try {
            if (takeBlock(out)) return true;
            finish();
        } catch (const LoadError&) {
            bDone = true;
            throw;
        }
        return false;
    }

private:
    const InputFile& file;
    PointChoice choice;
    TextLines lines;
    ScanFacts facts;
    bool bDone = false;
    std::uint64_t numEmpty = 0;  // points from which nothing came back

    // Of the scan that has been started:
    std::uint64_t numLeft = 0;
    bool bWanted = false;
    Point3 viewpoint;
    std::array<Vector3, 4> matrix;  // world = x * [0] + y * [1] + z * [2] + [3]
    bool bMoved = false;

    [[noreturn]] void fail(std::uint64_t line, const std::string& fault) const {
        throw LoadError("line " + std::to_string(line) + ": " + fault +
                        "; the file is damaged or cut short, export it anew");
    }

    // False at the end of the file.
    bool startScan() {
        std::array<Row, headerShape.size()> rows = makeRows();
        for (std::size_t i = 0; i < rows.size();) {
            const auto vLines = lines.peek();
            if (vLines.empty() && i == 0) return false;
            const std::string_view line = vLines.empty() ? std::string_view() : vLines[0];
            rows[i] = Row(line);
            const bool bSkipped = i == 0 && isEmpty(line);
            if (!bSkipped && !fitsHeader(i, rows[i]))
                fail(lines.getLineNumber(),
                     "expected the head of a scan: columns, rows, the place and the axes of the scanner, a matrix");
            lines.take(1);
            if (!bSkipped) ++i;
        }
        takeHeader(rows);
        return true;
    }

    static std::array<Row, headerShape.size()> makeRows() {
        const Row none{std::string_view()};
        return {none, none, none, none, none, none, none, none, none, none};
    }

    void takeHeader(const std::array<Row, headerShape.size()>& rows) {
        constexpr std::uint64_t leastBytes = 6;  // "0 0 0" and a line feed
        numLeft = static_cast<std::uint64_t>(rows[0].values[0]) * static_cast<std::uint64_t>(rows[1].values[0]);
        bWanted = !choice.scan || *choice.scan == facts.numScans;
        ++facts.numScans;
        if (bWanted) facts.numPoints += std::min(numLeft, file.getSize() / leastBytes + 1);
        for (std::size_t i = 0; i < 4; ++i) matrix[i] = rows[6 + i].vector();
        // Some writers leave the place empty; it is where the matrix moves the scanner to.
        viewpoint = Point3() + (rows[2].vector().length() > 0.0 ? rows[2].vector() : matrix[3]);
        const std::array<Vector3, 4> unit{Vector3(1, 0, 0), Vector3(0, 1, 0), Vector3(0, 0, 1), Vector3()};
        bMoved = !std::equal(matrix.begin(), matrix.end(), unit.begin(),
                             [](const Vector3& a, const Vector3& b) { return (a - b).sqLength() == 0.0; });
    }

    // False at the end of the file.
    bool takeBlock(PointBlock& out) {
        constexpr std::uint64_t maxPoints = std::uint64_t{1} << 18;
        while (true) {
            while (numLeft == 0)
                if (!startScan()) return false;
            const auto vLines = lines.peek();
            if (vLines.empty()) fail(lines.getLineNumber(), std::to_string(numLeft) + " points are missing");
            const auto num = static_cast<std::size_t>(std::min<std::uint64_t>({vLines.size(), numLeft, maxPoints}));
            if (bWanted) parseBlock(vLines.first(num), out);
            lines.take(num);
            numLeft -= num;
            if (bWanted) return true;
        }
    }

    void parseBlock(std::span<const std::string_view> vLines, PointBlock& out) {
        constexpr std::size_t minLines = 1024;  // of a thread
        const std::size_t num = vLines.size();
        out.viewpoint = viewpoint;
        const auto parse = [&](std::size_t begin, std::size_t end, std::size_t first, std::vector<char>& vKeep) {
            while (begin != end && parseLine(vLines[begin], first + begin, out, vKeep[begin])) ++begin;
            return begin;
        };
        const RowShape shape{choice.bIntensities, false};
        const DecodedRows decoded = decodeRows(num, minLines, shape, out, parse);
        numEmpty += decoded.numEmpty;
        if (decoded.numGood < num)
            fail(lines.getLineNumber() + decoded.numGood, "expected x y z, intensity and maybe red green blue");
    }

    static std::uint8_t toByte(double value) {
        if (!(value > 0.0)) return 0;
        return value >= 255.0 ? std::uint8_t{255} : static_cast<std::uint8_t>(value + 0.5);
    }

    bool parseLine(std::string_view line, std::size_t at, PointBlock& out, char& bKeep) const {
        const Row row(line);
        if (row.num < 3 || !row.bOnly) return false;
        const auto& [x, y, z, intensity, red, green, blue] = row.values;
        bKeep = x != 0.0 || y != 0.0 || z != 0.0;
        const Vector3 moved = bMoved ? (matrix[0] * x + matrix[1] * y + matrix[2] * z) + matrix[3] : row.vector();
        out.points[at].set(moved.vx, moved.vy, moved.vz);
        if (choice.bColors && row.num == maxNumbers)
            out.points[at].setColor(toByte(red), toByte(green), toByte(blue), 255);
        if (choice.bIntensities) out.intensities[at] = narrow(intensity);
        return true;
    }

    void finish() {
        bDone = true;
        if (choice.scan.value_or(0) >= facts.numScans)
            throw LoadError("scan " + std::to_string(*choice.scan) + " is wanted, but the last one is scan " +
                            std::to_string(facts.numScans - 1) + "; choose another one");
        if (numEmpty > 0)
            facts.notes.push_back(std::to_string(numEmpty) +
                                  (numEmpty == 1 ? " point from which nothing came back is left out."
                                                 : " points from which nothing came back are left out."));
    }
};

}  // namespace

bool isPtx(std::string_view firstBytes) {
    for (std::size_t i = 0; i < headerShape.size(); ++i)
        if (firstBytes.empty() || !fitsHeader(i, Row(takeLine(firstBytes)))) return false;
    return true;
}

std::unique_ptr<PointStream> openPtx(const InputFile& file, const PointChoice& choice) {
    return std::make_unique<PtxStream>(file, choice);
}

}  // namespace QUOR_ZEF
