#include "frame/Rand15.h"

namespace QUOR_ZEF {

int Rand15::at(std::uint32_t seed, std::uint64_t index) {
    // Neighbouring indices must not give neighbouring states, so the index is
    // mixed first (the finaliser of splitmix64, Steele et al. 2014).
    std::uint64_t mixed = (static_cast<std::uint64_t>(seed) << 32) + (index + 1) * 0x9e3779b97f4a7c15ull;
    mixed = (mixed ^ (mixed >> 30)) * 0xbf58476d1ce4e5b9ull;
    mixed = (mixed ^ (mixed >> 27)) * 0x94d049bb133111ebull;
    mixed ^= mixed >> 31;
    return fold(step(static_cast<std::uint32_t>(mixed ^ (mixed >> 32))));
}

}  // namespace QUOR_ZEF
