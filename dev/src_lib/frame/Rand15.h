#pragma once

#include <cstdint>

namespace QUOR_ZEF {

// The library's random numbers, 0 to 32767. Whoever needs draws makes one of its
// own per run, so that results repeat and the host's generator is untouched.
// In parallel code use at() with the element's number: the draw then does not
// depend on the thread count.
class Rand15 {
public:
    static constexpr int maxValue = 32767;

    explicit Rand15(std::uint32_t seed = 1) : state(seed) {}

    // The next draw of this generator.
    int next() {
        state = step(state);
        return fold(state);
    }

    // The draw that belongs to element number index under this seed.
    static int at(std::uint32_t seed, std::uint64_t index);

private:
    // Linear congruential with the constants that 15-bit generators of C
    // libraries use; the upper bits are the good ones.
    static constexpr std::uint32_t step(std::uint32_t x) { return x * 214013u + 2531011u; }
    static constexpr int fold(std::uint32_t x) { return static_cast<int>((x >> 16) & 0x7fffu); }

    std::uint32_t state;
};

}  // namespace QUOR_ZEF
