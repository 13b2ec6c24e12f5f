#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <random>
#include <span>
#include <vector>

namespace zef_fuzz {

// Numbers out of bytes, for programs that call the library at random: the same bytes give the same calls
// everywhere. Zeros once the bytes are used up. Not two numbers in the arguments of one call, since compilers
// differ in their order.
class Draw {
public:
    // bOdd: odd() gives numbers that mean nothing now and then. The bytes are borrowed.
    Draw(std::span<const std::uint8_t> bytes_, bool bOdd_) : bytes(bytes_), bOdd(bOdd_) {}

    // 0 to below n, which is 256 at the most.
    std::uint32_t below(std::uint32_t n) { return byte() % n; }
    bool yes() { return byte() % 2 != 0; }
    // 0 to below 1, in steps of 2^-16.
    double unit() {
        const std::uint32_t high = byte();
        return (high * 256u + byte()) * 0x1p-16;
    }
    double between(double low, double high) { return low + (high - low) * unit(); }
    // The usual number, or one of those that callers should not give.
    double odd(double usual) {
        constexpr double inf = std::numeric_limits<double>::infinity();
        constexpr std::array numbers{0.0,    -1.0,  -0.0, inf, -inf, std::numeric_limits<double>::quiet_NaN(),
                                     1e-300, 1e300, 1e-9, 1e9, 0.5,  3.0};
        if (!bOdd || below(8) != 0) return usual;
        return numbers[below(numbers.size())];
    }
    bool isOdd() const { return bOdd; }
    bool isEmpty() const { return next >= bytes.size(); }

private:
    std::uint32_t byte() { return isEmpty() ? 0 : bytes[next++]; }

    std::span<const std::uint8_t> bytes;
    std::size_t next = 0;
    bool bOdd;
};

// As many bytes, the same for a seed on every machine.
inline std::vector<std::uint8_t> bytesOfSeed(std::uint64_t seed, std::size_t count) {
    std::mt19937_64 random(seed);
    std::vector<std::uint8_t> bytes(count);
    for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random());
    return bytes;
}

}  // namespace zef_fuzz
