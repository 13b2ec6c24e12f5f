#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "bytes/InputFile.h"

namespace QUOR_ZEF {

// One part of a compressed record.
struct LazItem {
    enum Type : std::uint16_t {
        BYTES = 0,
        POINT10 = 6,
        TIME11 = 7,
        RGB12 = 8,
        WAVE13 = 9,
        POINT14 = 10,
        RGB14 = 11,
        RGBNIR14 = 12,
        WAVE14 = 13,
        BYTES14 = 14
    };
    std::uint16_t type = 0, size = 0, version = 0;
};

struct LazLayout {
    enum Compressor : std::uint16_t { NONE, POINTWISE, CHUNKED, LAYERED };
    static constexpr std::uint32_t variableSize = 0xffffffffu;

    Compressor compressor = NONE;
    std::uint32_t chunkSize = variableSize;
    std::vector<LazItem> items;  // their sizes add up to the length of a record
};

// What stands before the points, checked.
struct LasHeader {
    unsigned minorVersion = 0;
    unsigned pointFormat = 0;
    std::uint16_t recordLength = 0;
    std::uint64_t numPoints = 0;
    std::uint64_t firstPoint = 0;  // where the points begin in the file
    std::uint64_t fileSize = 0;
    std::array<double, 3> scale{}, offset{};
    LazLayout laz;
    std::string projection;
    std::vector<std::string> comments;

    bool isLong() const { return pointFormat >= 6; }  // the records of LAS 1.4
    bool hasColor() const;
    std::size_t getColorPlace() const;  // in a record that is not compressed; 0 without colour
    std::string getName() const;        // for people
};

// Throws a LoadError.
LasHeader readLasHeader(const InputFile& file);

}  // namespace QUOR_ZEF
