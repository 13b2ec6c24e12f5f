#include "formats/E57Fields.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "bytes/FileBytes.h"

namespace QUOR_ZEF {

namespace {

// A value of 64 bits may touch nine bytes; two words are read for it.
constexpr std::size_t slack = 16;

template <class Real>
void copyReals(const char* p, std::span<double> out) {
    for (double& value : out) {
        value = static_cast<double>(loadValue<Real>(p));
        p += sizeof(Real);
    }
}

}  // namespace

void E57Field::setLimits(std::int64_t lowest, std::int64_t highest) {
    minimum = static_cast<std::uint64_t>(lowest);
    range = static_cast<std::uint64_t>(highest) - minimum;
    numBits = static_cast<unsigned>(std::bit_width(range));
}

E57Column::E57Column(const E57Field& packing) : field(packing), vBytes(slack) {}

std::uint64_t E57Column::count() const {
    if (field.numBits == 0) return endless;
    return (std::uint64_t{end - begin} * 8 - firstBit) / field.numBits;
}

void E57Column::append(std::string_view bytes) {
    if (bytes.empty()) return;
    if (begin > 0) std::memmove(vBytes.data(), vBytes.data() + begin, end - begin);
    end -= begin;
    begin = 0;
    if (vBytes.size() < end + bytes.size() + slack) vBytes.resize(2 * end + bytes.size() + slack);
    std::memcpy(vBytes.data() + end, bytes.data(), bytes.size());
    end += bytes.size();
}

void E57Column::drop(std::size_t num) {
    const std::uint64_t bits = std::uint64_t{num} * field.numBits + firstBit;
    begin += static_cast<std::size_t>(bits / 8);
    firstBit = static_cast<unsigned>(bits % 8);
}

std::size_t E57Column::unpack(std::size_t first, std::span<double> out) const {
    const unsigned numBits = field.numBits;
    const std::uint64_t mask = ~std::uint64_t{0} >> (64 - numBits);
    const char* const p = vBytes.data() + begin;
    std::uint64_t bit = std::uint64_t{first} * numBits + firstBit;
    for (std::size_t i = 0; i < out.size(); ++i, bit += numBits) {
        const char* const pHere = p + bit / 8;
        const auto shift = static_cast<unsigned>(bit % 8);
        std::uint64_t packed = loadValue<std::uint64_t>(pHere) >> shift;
        // What the ninth byte holds; two shifts, since one by 64 would be undefined.
        if (numBits > 57) packed |= loadValue<std::uint64_t>(pHere + 8) << (63 - shift) << 1;
        packed &= mask;
        if (packed > field.range) return i;
        out[i] = field.valueOf(packed);
    }
    return out.size();
}

std::size_t E57Column::decode(std::size_t first, std::span<double> out) const {
    const std::size_t byte = begin + first * (field.numBits / 8);
    if (field.type == E57Field::Type::SINGLE) {
        copyReals<float>(vBytes.data() + byte, out);
    } else if (field.type == E57Field::Type::DOUBLE) {
        copyReals<double>(vBytes.data() + byte, out);
    } else if (field.numBits == 0) {
        std::fill(out.begin(), out.end(), field.valueOf(0));
    } else {
        return unpack(first, out);
    }
    return out.size();
}

}  // namespace QUOR_ZEF
