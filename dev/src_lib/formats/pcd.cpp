#include "formats/pcd.h"

#include <lzf.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <limits>
#include <type_traits>

#include "bytes/FileBytes.h"
#include "bytes/textNumbers.h"
#include "formats/PcdHeader.h"
#include "formats/TextLines.h"
#include "parallel/parallelTransform.h"

namespace QUOR_ZEF {

namespace {

using Data = PcdHeader::Data;

// fn(example) with a value of the type of this field.
template <class Fn>
auto visitType(const PcdField& field, const Fn& fn) {
    if (field.type == 'F') return field.size == 4 ? fn(float{}) : fn(double{});
    const bool bSigned = field.type == 'I';
    if (field.size == 1) return bSigned ? fn(std::int8_t{}) : fn(std::uint8_t{});
    if (field.size == 2) return bSigned ? fn(std::int16_t{}) : fn(std::uint16_t{});
    if (field.size == 4) return bSigned ? fn(std::int32_t{}) : fn(std::uint32_t{});
    return bSigned ? fn(std::int64_t{}) : fn(std::uint64_t{});
}

// The nearest value that a whole number of this type can have.
template <class Int>
Int toWhole(double value) {
    if (!(value >= static_cast<double>(std::numeric_limits<Int>::min()))) return std::numeric_limits<Int>::min();
    if (value >= static_cast<double>(std::numeric_limits<Int>::max())) return std::numeric_limits<Int>::max();
    return static_cast<Int>(value);
}

// Parses one number into its place in a record; null if there is none.
const char* parseInto(const PcdField& field, const char* p, const char* pEnd, char* pPlace) {
    return visitType(field, [&](auto value) {
        const char* pStop = nullptr;
        if constexpr (std::is_floating_point_v<decltype(value)>) {
            pStop = parseAnyNumber(p, pEnd, value);
        } else {
            double real = 0.0;
            pStop = parseAnyNumber(p, pEnd, real);
            value = toWhole<decltype(value)>(real);
        }
        std::memcpy(pPlace, &value, sizeof(value));
        return pStop;
    });
}

// The values of one field, one for each record.
struct Column {
    const char* p = nullptr;  // null: not there
    std::size_t stride = 0;
    const PcdField* pField = nullptr;

    // fn(i, value) for the values from begin to end.
    template <class Fn>
    void forEach(std::size_t begin, std::size_t end, const Fn& fn) const {
        visitType(*pField, [&](auto example) {
            using T = decltype(example);
            for (std::size_t i = begin; i < end; ++i) fn(i, static_cast<double>(loadValue<T>(p + i * stride)));
        });
    }
    std::uint32_t packed(std::size_t i) const { return loadValue<std::uint32_t>(p + i * stride); }
};

// Fields of one meaning: all of them, or none.
struct Triple {
    std::array<const PcdField*, 3> fields{};
    explicit operator bool() const { return fields[0] && fields[1] && fields[2]; }
};

class PcdStream : public PointStream {
public:
    PcdStream(const InputFile& source, const PointChoice& choice)
        : file(source), header(readPcdHeader(source)), lines(source, header.dataPlace, header.dataLine) {
        if (choice.scan.value_or(0) != 0)
            throw LoadError("scan " + std::to_string(*choice.scan) +
                            " is wanted, but a PCD file has one, scan 0; choose that one");
        findFields(choice);
        position = header.dataPlace;
        if (header.data == Data::COMPRESSED) unpack();
        takeFacts();
    }

    const ScanFacts& getFacts() const override { return facts; }
    std::uint64_t getPosition() const override { return position; }

    bool next(PointBlock& out) override {
        if (bDone) return false;
        fault.clear();
        const std::size_t num = load();
        convert(num, out);
        numDone += num;
        bDone = !fault.empty() || numDone == header.numPoints;
        if (!fault.empty()) throw LoadError(fault);
        return num > 0;
    }

private:
    const InputFile& file;
    PcdHeader header;
    TextLines lines;
    ScanFacts facts;
    Triple xyz, rgb, normal;
    const PcdField* pPacked = nullptr;  // colour in one value
    bool bAlpha = false;                // with its opacity
    const PcdField* pIntensity = nullptr;
    const PcdField* pClass = nullptr;

    std::vector<char> vRecords;  // of a block, or of the whole compressed cloud, then field after field
    std::vector<std::string_view> vRows;
    std::uint64_t numDone = 0;
    std::uint64_t position = 0;
    std::string fault;  // behind the records that are loaded
    bool bDone = false;
    double fullColor = 0.0;  // what a channel of its own can be at most; 0: not known yet

    Triple findTriple(const std::array<const char*, 3>& names) const {
        Triple triple;
        std::transform(names.begin(), names.end(), triple.fields.begin(),
                       [&](const char* name) { return header.find(name); });
        return triple;
    }

    void findFields(const PointChoice& choice) {
        xyz = findTriple({"x", "y", "z"});
        if (choice.bColors) findColors();
        if (choice.bNormals) normal = findTriple({"normal_x", "normal_y", "normal_z"});
        if (choice.bNormals && !normal) normal = findTriple({"nx", "ny", "nz"});
        if (choice.bIntensities) pIntensity = header.find("intensity");
        if (choice.bClasses) pClass = header.find("classification");
    }

    void findColors() {
        pPacked = header.find("rgba");
        bAlpha = pPacked != nullptr;
        if (!pPacked) pPacked = header.find("rgb");
        if (pPacked && pPacked->size != 4) {
            facts.notes.push_back("Colours are left out, since they are packed into " + std::to_string(pPacked->size) +
                                  " bytes, expected 4.");
            pPacked = nullptr;
        }
        rgb = findTriple({"red", "green", "blue"});
        if (!rgb) rgb = findTriple({"r", "g", "b"});
        if (pPacked) rgb = {};
    }

    void takeFacts() {
        facts.format = header.data == Data::TEXT     ? "PCD, text"
                       : header.data == Data::BINARY ? "PCD, binary"
                                                     : "PCD, compressed";
        facts.comments = header.comments;
        const std::uint64_t numBytes = file.getSize() - header.dataPlace;
        // A value takes a digit and what stands behind it.
        const std::uint64_t least = header.data == Data::TEXT ? 2 * header.fields.size() : header.recordBytes;
        facts.numPoints =
            header.data == Data::COMPRESSED ? header.numPoints : std::min(header.numPoints, (numBytes + 1) / least);
        if (header.width * header.height != header.numPoints)
            facts.notes.emplace_back("Width times height is not the number of points, which counts.");
    }

    // At most a quarter of a million.
    std::size_t blockRecords() const {
        constexpr std::size_t maxRecords = std::size_t{1} << 18, maxBytes = std::size_t{1} << 24;
        const std::size_t num = std::clamp<std::size_t>(maxBytes / header.recordBytes, 1, maxRecords);
        return static_cast<std::size_t>(std::min<std::uint64_t>(num, header.numPoints - numDone));
    }

    // The number of records that are there now; what is wrong behind them goes into fault.
    std::size_t load() {
        const std::size_t num = blockRecords();
        if (num == 0 || header.data == Data::COMPRESSED) return num;
        return header.data == Data::TEXT ? loadText(num) : loadBinary(num);
    }

    std::string cutShort() const {
        return std::to_string(header.numPoints) + " points announced, but the file ends after " +
               std::to_string(numDone) + "; it is cut short, copy it anew";
    }

    std::size_t loadBinary(std::size_t num) {
        const auto numThere =
            static_cast<std::size_t>(std::min<std::uint64_t>(num, (file.getSize() - position) / header.recordBytes));
        if (numThere == 0) fault = "byte " + std::to_string(file.getSize()) + ": " + cutShort();
        vRecords.resize(numThere * header.recordBytes);
        file.read(position, vRecords);
        position += vRecords.size();
        return numThere;
    }

    bool isWanted(const PcdField& field) const {
        const auto has = [&](const Triple& triple) {
            return triple && std::find(triple.fields.begin(), triple.fields.end(), &field) != triple.fields.end();
        };
        return has(xyz) || has(rgb) || has(normal) || &field == pPacked || &field == pIntensity || &field == pClass;
    }

    bool parseRow(std::string_view row, const std::vector<bool>& vWanted, char* pRecord) const {
        const char* p = row.data();
        const char* const pEnd = p + row.size();
        for (std::size_t i = 0; i < header.fields.size(); ++i) {
            const PcdField& field = header.fields[i];
            for (std::size_t k = 0; k < field.count; ++k) {
                p = skipBlanks(p, pEnd);
                const char* const pStop = wordEnd(p, pEnd);
                if (pStop == p) return false;
                if (vWanted[i] && parseInto(field, p, pStop, pRecord + field.offset + k * field.size) != pStop)
                    return false;
                p = pStop;
            }
        }
        return true;
    }

    // Up to num lines, those that hold nothing left out.
    std::size_t takeRows(std::size_t num) {
        vRows.clear();
        while (vRows.empty()) {
            const auto vLines = lines.peek();
            if (vLines.empty()) return 0;
            std::size_t numTaken = 0;
            for (; numTaken < vLines.size() && vRows.size() < num; ++numTaken) {
                const std::string_view line = vLines[numTaken];
                const bool bEmpty = skipBlanks(line.data(), line.data() + line.size()) == line.data() + line.size();
                // So that the number of a line follows from that of the first one.
                if (bEmpty && !vRows.empty()) break;
                if (!bEmpty) vRows.push_back(line);
            }
            lines.take(numTaken);
        }
        return vRows.size();
    }

    std::size_t loadText(std::size_t numWanted) {
        constexpr std::size_t minRows = 1024;  // of a thread
        const std::size_t num = takeRows(numWanted);
        position = lines.getPosition();
        if (num == 0) fault = "line " + std::to_string(lines.getLineNumber()) + ": " + cutShort();
        vRecords.resize(num * header.recordBytes);
        std::vector<bool> vWanted;
        for (const PcdField& field : header.fields) vWanted.push_back(isWanted(field));
        const auto parseRows = [&](std::size_t begin, std::size_t end) {
            for (; begin != end; ++begin)
                if (!parseRow(vRows[begin], vWanted, vRecords.data() + begin * header.recordBytes)) return begin;
            return num;
        };
        std::size_t numGood = num;
        for (const std::size_t stop : parallelChunkResults<std::size_t>(num, minRows, parseRows))
            numGood = std::min(numGood, stop);
        if (numGood < num)
            fault = "line " + std::to_string(lines.getLineNumber() - num + numGood) + ": expected " +
                    std::to_string(header.fields.size()) +
                    " fields of numbers; the file is damaged or cut short, export it anew";
        return numGood;
    }

    // All of the compressed form.
    void unpack() {
        constexpr std::uint64_t mostOfByte = 88;  // three bytes give 264 at most
        std::array<char, 8> sizes{};
        file.read(header.dataPlace, sizes);
        const std::uint64_t numPacked = loadValue<std::uint32_t>(sizes.data());
        const std::uint64_t numBytes = loadValue<std::uint32_t>(sizes.data() + 4);
        const auto fail = [&](const std::string& what) {
            throw LoadError("byte " + std::to_string(header.dataPlace) + ": " + what +
                            "; the file is damaged or cut short, copy it anew");
        };
        if (numBytes % header.recordBytes != 0 || numBytes / header.recordBytes != header.numPoints)
            fail(std::to_string(numBytes) + " bytes unpacked are not those of " + std::to_string(header.numPoints) +
                 " points");
        if (numPacked > file.getSize() - header.dataPlace - sizes.size() || numBytes > mostOfByte * numPacked)
            fail(std::to_string(numPacked) + " bytes announced, which are not there or do not hold the points");
        if (numBytes == 0) return;
        std::vector<char> vPacked(numPacked);
        file.read(header.dataPlace + sizes.size(), vPacked);
        vRecords.resize(numBytes);
        if (::lzf_decompress(vPacked.data(), static_cast<unsigned>(numPacked), vRecords.data(),
                             static_cast<unsigned>(numBytes)) != numBytes)
            fail("what is compressed from here on cannot be unpacked");
        position = header.dataPlace + sizes.size() + numPacked;
    }

    Column columnOf(const PcdField* pField) const {
        const char* const p = vRecords.data();
        if (header.data != Data::COMPRESSED) return {p + pField->offset, header.recordBytes, pField};
        return {p + pField->offset * header.numPoints + numDone * pField->numBytes(), pField->numBytes(), pField};
    }

    void convert(std::size_t num, PointBlock& out) {
        constexpr std::size_t minRecords = 16384;  // of a thread
        const std::size_t first = out.points.size();
        if (header.viewpoint) out.viewpoint = header.viewpoint;
        if (num == 0) return;  // then there may be no records to point into
        out.points.resize(first + num);
        if (normal) out.normals.resize(first + num);
        if (pIntensity) out.intensities.resize(first + num);
        if (pClass) out.classes.resize(first + num);
        if (rgb && fullColor == 0.0) fullColor = findFullColor(num);
        parallelChunks(num, minRecords, [&](std::size_t begin, std::size_t end) {
            setPoints(begin, end, out.points.data() + first);
            if (pPacked) setPacked(begin, end, out.points.data() + first);
            if (rgb) setColors(begin, end, out.points.data() + first);
            if (normal) setNormals(begin, end, out.normals.data() + first);
            if (pIntensity)
                columnOf(pIntensity).forEach(begin, end, [&](std::size_t i, double value) {
                    out.intensities[first + i] = narrow(value);
                });
            if (pClass)
                columnOf(pClass).forEach(begin, end, [&](std::size_t i, double value) {
                    out.classes[first + i] = toWhole<std::uint8_t>(value);
                });
        });
    }

    void setPoints(std::size_t begin, std::size_t end, Point3* pOut) const {
        columnOf(xyz.fields[0]).forEach(begin, end, [&](std::size_t i, double value) { pOut[i].px = value; });
        columnOf(xyz.fields[1]).forEach(begin, end, [&](std::size_t i, double value) { pOut[i].py = value; });
        columnOf(xyz.fields[2]).forEach(begin, end, [&](std::size_t i, double value) { pOut[i].pz = value; });
    }

    // 0xAARRGGBB, whatever type the bits are said to be of.
    void setPacked(std::size_t begin, std::size_t end, Point3* pOut) const {
        const Column column = columnOf(pPacked);
        for (std::size_t i = begin; i < end; ++i) {
            const std::uint32_t bits = column.packed(i);
            const auto channel = [bits](unsigned shift) { return static_cast<std::uint8_t>(bits >> shift & 0xFF); };
            pOut[i].setColor(channel(16), channel(8), channel(0), bAlpha ? channel(24) : std::uint8_t{255});
        }
    }

    // The first block tells whether channels of their own go to 1, to 255 or to 65535.
    double findFullColor(std::size_t num) const {
        double largest = 0.0;
        bool bReal = false;
        for (const PcdField* pField : rgb.fields) {
            bReal = bReal || pField->type == 'F';
            columnOf(pField).forEach(0, num, [&](std::size_t, double value) { largest = std::max(largest, value); });
        }
        if (largest > 255.0) return 65535.0;
        return bReal && largest <= 1.0 ? 1.0 : 255.0;
    }

    void setColors(std::size_t begin, std::size_t end, Point3* pOut) const {
        const auto byte = [this](double value) { return toWhole<std::uint8_t>(value * 255.0 / fullColor + 0.5); };
        for (std::size_t i = begin; i < end; ++i) pOut[i].setColor(0, 0, 0, 255);
        columnOf(rgb.fields[0]).forEach(begin, end, [&](std::size_t i, double value) { pOut[i].r = byte(value); });
        columnOf(rgb.fields[1]).forEach(begin, end, [&](std::size_t i, double value) { pOut[i].g = byte(value); });
        columnOf(rgb.fields[2]).forEach(begin, end, [&](std::size_t i, double value) { pOut[i].b = byte(value); });
    }

    void setNormals(std::size_t begin, std::size_t end, Vector3* pOut) const {
        columnOf(normal.fields[0]).forEach(begin, end, [&](std::size_t i, double value) { pOut[i].vx = value; });
        columnOf(normal.fields[1]).forEach(begin, end, [&](std::size_t i, double value) { pOut[i].vy = value; });
        columnOf(normal.fields[2]).forEach(begin, end, [&](std::size_t i, double value) { pOut[i].vz = value; });
        for (std::size_t i = begin; i < end; ++i)
            if (!std::isfinite(pOut[i].vx + pOut[i].vy + pOut[i].vz)) pOut[i] = Vector3();
    }
};

}  // namespace

bool isPcd(std::string_view firstBytes) {
    while (!firstBytes.empty()) {
        std::string_view line = takeLine(firstBytes);
        if (line.starts_with("# .PCD")) return true;
        const std::string_view word = takeWord(line);
        if (!word.empty() && !word.starts_with('#'))
            return word == "VERSION" && takeWord(line).substr(0, 2).find('.') != std::string_view::npos;
    }
    return false;
}

std::unique_ptr<PointStream> openPcd(const InputFile& file, const PointChoice& choice) {
    return std::make_unique<PcdStream>(file, choice);
}

}  // namespace QUOR_ZEF
