#pragma once

#include <cstdint>
#include <string_view>

namespace QUOR_ZEF {

// The checksum CRC-32C (Castagnoli) of these bytes, by the processor's instruction where it
// has one. before: the checksum of the bytes that stand before these.
std::uint32_t crc32c(std::string_view bytes, std::uint32_t before = 0);

// The same by tables.
std::uint32_t crc32cByTables(std::string_view bytes, std::uint32_t before = 0);

}  // namespace QUOR_ZEF
