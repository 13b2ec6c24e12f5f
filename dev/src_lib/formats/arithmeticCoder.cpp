#include "formats/arithmeticCoder.h"

namespace QUOR_ZEF {

ByteSource::ByteSource(const InputFile& file, std::uint64_t begin, std::uint64_t end)
    : pFile(&file), place(begin), endPlace(std::max(begin, end)) {}

std::span<const std::uint8_t> ByteSource::refill() {
    const std::uint64_t num = std::min<std::uint64_t>(endPlace - place, maxBuffer);
    if (num == 0) {
        static constexpr std::array<std::uint8_t, 64> zeros{};
        bDamaged = true;
        return zeros;
    }
    if (!pBuffer) pBuffer = std::make_unique_for_overwrite<char[]>(num);
    pFile->read(place, {pBuffer.get(), num});
    place += num;
    return {reinterpret_cast<const std::uint8_t*>(pBuffer.get()), num};
}

}  // namespace QUOR_ZEF
