#pragma once

#include <cstdint>
#include <string_view>

namespace QUOR_ZEF {

// The checksum CRC-32C (Castagnoli) of these bytes, by the processor's instruction where it
// has one.
std::uint32_t crc32c(std::string_view bytes);

// The same by tables.
std::uint32_t crc32cByTables(std::string_view bytes);

}  // namespace QUOR_ZEF
