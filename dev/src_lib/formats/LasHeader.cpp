#include "formats/LasHeader.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <span>
#include <string_view>

#include "bytes/FileBytes.h"
#include "bytes/LoadError.h"
#include "formats/las.h"
#include "formats/lasProjection.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t shortHeader = 227, longHeader = 375;  // of LAS 1.0 and 1.4
constexpr std::uint16_t lazRecord = 22204, wktRecord = 2112, keysRecord = 34735, textsRecord = 34737;
constexpr std::uint64_t maxRecords = 10000;  // looked at; files have a handful
constexpr std::uint64_t maxRecordBytes = 1 << 20;

constexpr std::array<std::uint16_t, 11> recordLengths = {20, 28, 26, 34, 57, 63, 30, 36, 38, 59, 67};
constexpr std::array<std::uint8_t, 11> colorPlaces = {0, 0, 20, 28, 0, 28, 0, 30, 30, 0, 30};

[[noreturn]] void fail(std::uint64_t place, const std::string& fault) {
    throw LoadError("byte " + std::to_string(place) + ": " + fault);
}

// Padded with zeros.
std::string fixedText(const char* p, std::size_t size) {
    const std::string_view text(p, size);
    return std::string(text.substr(0, std::min(text.find('\0'), size)));
}

// A record of what is no point, before or behind the points.
struct Record {
    std::string user;
    std::uint16_t id = 0;
    std::uint64_t place = 0, length = 0;  // of its data
};

class HeaderReader {
public:
    explicit HeaderReader(const InputFile& file) : input(file) { header.fileSize = file.getSize(); }

    LasHeader read() {
        readFixedPart();
        readRecords();
        if (bCompressed && !bLazRecord)
            fail(104, "the points are compressed, but no record \"laszip encoded\" says how; copy the file anew");
        checkLength();
        return std::move(header);
    }

private:
    const InputFile& input;
    LasHeader header;
    std::array<char, longHeader> bytes{};
    std::size_t headerSize = 0;
    bool bCompressed = false, bLazRecord = false;
    std::vector<char> vKeys, vTexts;  // of GeoTIFF

    template <class T>
    T at(std::size_t place) const {
        return loadValue<T>(bytes.data() + place);
    }

    std::vector<char> load(const Record& record) const {
        std::vector<char> vData(std::min(record.length, maxRecordBytes));
        input.read(record.place, vData);
        return vData;
    }

    void readFixedPart() {
        input.read(0, std::span(bytes).first(shortHeader));
        if (!isLas({bytes.data(), bytes.size()})) fail(0, "no \"LASF\" here; it is no LAS file");
        headerSize = at<std::uint16_t>(94);
        header.minorVersion = at<std::uint8_t>(25);
        if (at<std::uint8_t>(24) != 1 || header.minorVersion > 5)
            fail(24, "LAS " + std::to_string(at<std::uint8_t>(24)) + "." + std::to_string(header.minorVersion) +
                         " is not known; save the file as LAS 1.4");
        if (headerSize < shortHeader)
            fail(94, "a header of " + std::to_string(headerSize) + " bytes is too short; copy the file anew");
        input.read(0, std::span(bytes).first(std::min(headerSize, longHeader)));
        takeFormat();
        takeCounts();
        takePlacement();
        for (const std::size_t place : {26u, 58u}) {
            std::string text = fixedText(bytes.data() + place, 32);
            if (!text.empty()) header.comments.push_back(std::move(text));
        }
    }

    void takeFormat() {
        const unsigned code = at<std::uint8_t>(104);
        if (code & 0x40) fail(104, "an old way of compression that is not read; save the file as LAS anew");
        bCompressed = (code & 0x80) != 0;
        header.pointFormat = code & 0x3f;
        if (header.pointFormat >= recordLengths.size())
            fail(104, "point format " + std::to_string(header.pointFormat) + " is not known; save with one of 0 to 10");
        header.recordLength = at<std::uint16_t>(105);
        if (header.recordLength < recordLengths[header.pointFormat])
            fail(105, "records of " + std::to_string(header.recordLength) + " bytes are too short for point format " +
                          std::to_string(header.pointFormat) + "; copy the file anew");
    }

    void takeCounts() {
        header.firstPoint = at<std::uint32_t>(96);
        if (header.firstPoint < headerSize)
            fail(96, "the points begin at byte " + std::to_string(header.firstPoint) +
                         ", inside the header; copy the file anew");
        header.numPoints = at<std::uint32_t>(107);
        if (isLongHeader() && at<std::uint64_t>(247) != 0) header.numPoints = at<std::uint64_t>(247);
    }

    bool isLongHeader() const { return header.minorVersion >= 4 && headerSize >= longHeader; }

    void takePlacement() {
        for (std::size_t i = 0; i < 3; ++i) {
            header.scale[i] = at<double>(131 + 8 * i);
            header.offset[i] = at<double>(155 + 8 * i);
            if (!std::isfinite(header.scale[i]) || header.scale[i] == 0.0 || !std::isfinite(header.offset[i]))
                fail(131 + 8 * i, "a scale or offset that no coordinate can have; copy the file anew");
        }
    }

    void readRecords() {
        std::uint64_t place = headerSize;
        const std::uint64_t num = std::min<std::uint64_t>(at<std::uint32_t>(100), maxRecords);
        for (std::uint64_t i = 0; i < num && place + 54 <= header.firstPoint; ++i) {
            std::array<char, 54> head{};
            input.read(place, head);
            const Record record{fixedText(head.data() + 2, 16), loadValue<std::uint16_t>(head.data() + 18), place + 54,
                                loadValue<std::uint16_t>(head.data() + 20)};
            take(record);
            place = record.place + record.length;
        }
        readLateRecords();
        if (header.projection.empty()) header.projection = nameInGeoKeys(vKeys, {vTexts.data(), vTexts.size()});
    }

    // Nothing there is needed for the points, so a damaged list just ends.
    void readLateRecords() {
        if (!isLongHeader()) return;
        std::uint64_t place = at<std::uint64_t>(235);
        const std::uint64_t num = std::min<std::uint64_t>(at<std::uint32_t>(243), maxRecords);
        for (std::uint64_t i = 0; i < num && place < header.fileSize && header.fileSize - place >= 60; ++i) {
            std::array<char, 60> head{};
            input.read(place, head);
            const Record record{fixedText(head.data() + 2, 16), loadValue<std::uint16_t>(head.data() + 18), place + 60,
                                loadValue<std::uint64_t>(head.data() + 20)};
            if (record.length > header.fileSize - record.place) return;
            if (record.id != lazRecord) take(record);
            place = record.place + record.length;
        }
    }

    void take(const Record& record) {
        if (record.id == lazRecord && record.user == "laszip encoded" && bCompressed) return takeLaz(record);
        if (record.user != "LASF_Projection") return;
        if (record.id == keysRecord) vKeys = load(record);
        if (record.id == textsRecord) vTexts = load(record);
        if (record.id == wktRecord && header.projection.empty()) {
            const std::vector<char> vText = load(record);
            header.projection = nameInWkt({vText.data(), vText.size()});
        }
    }

    void takeLaz(const Record& record) {
        bLazRecord = true;
        const std::vector<char> vData = load(record);
        if (vData.size() < 34) fail(record.place, "the record \"laszip encoded\" is too short; copy the file anew");
        const auto value = [&](std::size_t place) { return loadValue<std::uint16_t>(vData.data() + place); };
        if (value(0) > LazLayout::LAYERED)
            fail(record.place, "compressor " + std::to_string(value(0)) + " of LAZ is not read; save the file anew");
        if (value(2) != 0)
            fail(record.place + 2, "coder " + std::to_string(value(2)) + " of LAZ is not read; save the file anew");
        header.laz.compressor = static_cast<LazLayout::Compressor>(value(0));
        header.laz.chunkSize = loadValue<std::uint32_t>(vData.data() + 12);
        if (header.laz.chunkSize == 0 && header.laz.compressor > LazLayout::POINTWISE)
            fail(record.place + 12, "chunks of no points; copy the file anew");
        const std::size_t num = value(32);
        if (vData.size() < 34 + 6 * num) fail(record.place + 32, "more items than bytes; copy the file anew");
        for (std::size_t i = 34; i < 34 + 6 * num; i += 6)
            header.laz.items.push_back({value(i), value(i + 2), value(i + 4)});
        checkItems(record.place);
    }

    void checkItems(std::uint64_t place) const {
        std::size_t total = 0;
        for (const LazItem& item : header.laz.items) {
            total += item.size;
            if (!isReadable(item))
                fail(place + 34, "item type " + std::to_string(item.type) + " of version " +
                                     std::to_string(item.version) + " and " + std::to_string(item.size) +
                                     " bytes of LAZ is not read; save the file anew");
        }
        if (header.laz.compressor == LazLayout::NONE) return;
        if (total != header.recordLength)
            fail(place + 34, "items of " + std::to_string(total) + " bytes make no record of " +
                                 std::to_string(header.recordLength) + " bytes; copy the file anew");
        const bool bLayered = header.laz.compressor == LazLayout::LAYERED;
        const auto rank = [](const LazItem& item) { return item.type == LazItem::BYTES ? 100 : item.type; };
        const bool bOrdered = std::adjacent_find(header.laz.items.begin(), header.laz.items.end(),
                                                 [&](const LazItem& a, const LazItem& b) {
                                                     return rank(a) >= rank(b);
                                                 }) == header.laz.items.end();
        if (header.laz.items.front().type != (bLayered ? LazItem::POINT14 : LazItem::POINT10) ||
            bLayered != header.isLong() || !bOrdered)
            fail(place, "the items of LAZ do not go with point format " + std::to_string(header.pointFormat) +
                            "; copy the file anew");
    }

    bool isReadable(const LazItem& item) const {
        const bool bLayered = header.laz.compressor == LazLayout::LAYERED;
        const bool bPlainVersion = !bLayered && (item.version == 1 || item.version == 2);
        const bool bLayeredVersion = bLayered && item.version >= 2 && item.version <= 4;
        switch (item.type) {
            case LazItem::BYTES:
                return bPlainVersion;
            case LazItem::POINT10:
                return bPlainVersion && item.size == 20;
            case LazItem::TIME11:
                return bPlainVersion && item.size == 8;
            case LazItem::RGB12:
                return bPlainVersion && item.size == 6;
            case LazItem::WAVE13:
                return item.version == 1 && !bLayered && item.size == 29;
            case LazItem::POINT14:
                return bLayeredVersion && item.size == 30;
            case LazItem::RGB14:
                return bLayeredVersion && item.size == 6;
            case LazItem::RGBNIR14:
                return bLayeredVersion && item.size == 8;
            case LazItem::WAVE14:
                return bLayeredVersion && item.size == 29;
            case LazItem::BYTES14:
                return bLayeredVersion;
            default:
                return false;
        }
    }

    void checkLength() const {
        if (header.numPoints > 0 && header.firstPoint >= header.fileSize)
            fail(header.fileSize, "the file ends here, before its first point; it is cut short, copy it anew");
    }
};

}  // namespace

bool isLas(std::string_view firstBytes) {
    return firstBytes.substr(0, 4) == "LASF";
}

bool LasHeader::hasColor() const {
    if (laz.compressor == LazLayout::NONE) return getColorPlace() > 0;
    return std::any_of(laz.items.begin(), laz.items.end(), [](const LazItem& item) {
        return item.type == LazItem::RGB12 || item.type == LazItem::RGB14 || item.type == LazItem::RGBNIR14;
    });
}

std::size_t LasHeader::getColorPlace() const {
    return colorPlaces[pointFormat];
}

std::string LasHeader::getName() const {
    return std::string(laz.compressor == LazLayout::NONE ? "LAS 1." : "LAZ 1.") + std::to_string(minorVersion) +
           ", point format " + std::to_string(pointFormat);
}

LasHeader readLasHeader(const InputFile& file) {
    return HeaderReader(file).read();
}

}  // namespace QUOR_ZEF
