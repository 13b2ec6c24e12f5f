#pragma once

#include <string>
#include <string_view>

namespace zef_test {

// Bytes of values as a binary file holds them on a little-endian machine.
template <class... T>
std::string bytesOf(T... values) {
    std::string bytes;
    (bytes.append(reinterpret_cast<const char*>(&values), sizeof(T)), ...);
    return bytes;
}

inline const std::string xyzLines = "property float x\nproperty float y\nproperty float z\n";

// A whole PLY file: format is "ascii", "binary_little_endian" or
// "binary_big_endian", header the lines between the format and the end.
inline std::string plyFile(const std::string& format, const std::string& header, std::string_view body) {
    return "ply\nformat " + format + " 1.0\n" + header + "end_header\n" + std::string(body);
}

}  // namespace zef_test
