#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "bytes/InputFile.h"
#include "zef/Point3.h"

namespace QUOR_ZEF {

struct PcdField {
    std::string name;      // in small letters
    char type = 'F';       // F: real, I: whole, U: whole and not negative
    std::size_t size = 4;  // bytes of a value
    std::size_t count = 1;
    std::size_t offset = 0;  // in a record

    std::size_t numBytes() const { return size * count; }
};

struct PcdHeader {
    enum class Data : std::uint8_t { TEXT, BINARY, COMPRESSED };

    std::vector<PcdField> fields;
    std::size_t recordBytes = 0;
    std::uint64_t width = 0, height = 1;
    std::uint64_t numPoints = 0;
    std::optional<Point3> viewpoint;
    Data data = Data::TEXT;
    std::uint64_t dataPlace = 0, dataLine = 1;  // where the points begin
    std::vector<std::string> comments;

    // Null if there is none of this name, in small letters.
    const PcdField* find(std::string_view name) const;
};

// Throws a LoadError for what is no such header.
PcdHeader readPcdHeader(const InputFile& file);

}  // namespace QUOR_ZEF
