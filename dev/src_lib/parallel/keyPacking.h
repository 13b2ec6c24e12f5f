#pragma once

#include <array>

#include "frame/types.h"

namespace QUOR_ZEF {

// Squeezes keys that differ in some bits only into fewer bits, in the same order:
// what all keys share is left out, and so are low bits that find no room.
class KeyPacking {
public:
    bool bExact = true;  // different keys have different packings

    // varying: the bits in which the keys differ; at most numBits remain, 1 to 63.
    KeyPacking(uint64 varying, int numBits);

    // Fits into numBits; ascending with the key.
    uint64 pack(uint64 key) const {
        uint64 packed = 0;
        for (const BitRun& run : aRuns) packed = packed << run.length | (key >> run.shift & run.mask);
        return packed;
    }

private:
    // Consecutive bits of the key, highest run first; length 0 takes nothing.
    struct BitRun {
        int shift = 0;
        int length = 0;
        uint64 mask = 0;
    };
    std::array<BitRun, 4> aRuns;
};

}  // namespace QUOR_ZEF
