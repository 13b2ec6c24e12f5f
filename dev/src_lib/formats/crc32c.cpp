#include "formats/crc32c.h"

#if defined(__x86_64__)
#include <nmmintrin.h>
#endif

#include <array>
#include <bit>
#include <cstddef>

#include "bytes/FileBytes.h"

namespace QUOR_ZEF {

namespace {

static_assert(std::endian::native == std::endian::little, "words are taken as they lie in memory");

constexpr std::uint32_t polynomial = 0x82F63B78;  // of Castagnoli, reflected
constexpr std::size_t wordBytes = 8;

using Tables = std::array<std::array<std::uint32_t, 256>, wordBytes>;

// tables[k][b]: what the byte b leaves after k further bytes.
constexpr Tables makeTables() {
    Tables tables{};
    for (std::uint32_t byte = 0; byte < 256; ++byte) {
        std::uint32_t crc = byte;
        for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ ((crc & 1) != 0 ? polynomial : 0);
        tables[0][byte] = crc;
    }
    for (std::size_t k = 1; k < wordBytes; ++k)
        for (std::size_t byte = 0; byte < 256; ++byte) {
            const std::uint32_t before = tables[k - 1][byte];
            tables[k][byte] = (before >> 8) ^ tables[0][before & 0xFF];
        }
    return tables;
}

constexpr Tables tables = makeTables();

#if defined(__x86_64__)
__attribute__((target("sse4.2"))) std::uint32_t crc32cByProcessor(std::string_view bytes, std::uint32_t before) {
    std::uint64_t crc = static_cast<std::uint32_t>(~before);
    const char* p = bytes.data();
    const char* const pEnd = p + bytes.size();
    for (; pEnd - p >= std::ptrdiff_t{wordBytes}; p += wordBytes) crc = _mm_crc32_u64(crc, loadValue<std::uint64_t>(p));
    auto rest = static_cast<std::uint32_t>(crc);
    for (; p != pEnd; ++p) rest = _mm_crc32_u8(rest, static_cast<unsigned char>(*p));
    return ~rest;
}
#endif

}  // namespace

std::uint32_t crc32cByTables(std::string_view bytes, std::uint32_t before) {
    std::uint32_t crc = ~before;
    const char* p = bytes.data();
    const char* const pEnd = p + bytes.size();
    for (; pEnd - p >= std::ptrdiff_t{wordBytes}; p += wordBytes) {
        const std::uint64_t word = loadValue<std::uint64_t>(p) ^ crc;
        crc = 0;
        for (std::size_t k = 0; k < wordBytes; ++k) crc ^= tables[wordBytes - 1 - k][(word >> (8 * k)) & 0xFF];
    }
    for (; p != pEnd; ++p) crc = (crc >> 8) ^ tables[0][(crc ^ static_cast<unsigned char>(*p)) & 0xFF];
    return ~crc;
}

std::uint32_t crc32c(std::string_view bytes, std::uint32_t before) {
#if defined(__x86_64__)
    static const bool bHasInstruction = __builtin_cpu_supports("sse4.2") != 0;
    if (bHasInstruction) return crc32cByProcessor(bytes, before);
#endif
    return crc32cByTables(bytes, before);
}

}  // namespace QUOR_ZEF
