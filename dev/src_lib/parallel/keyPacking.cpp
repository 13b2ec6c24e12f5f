#include "parallel/keyPacking.h"

#include <algorithm>
#include <bit>

namespace QUOR_ZEF {

namespace {

uint64 lowBits(int numBits) {
    return numBits == 64 ? ~uint64{0} : (uint64{1} << numBits) - 1;
}

}  // namespace

KeyPacking::KeyPacking(uint64 varying, int numBits) {
    for (BitRun& run : aRuns) {
        if (varying == 0 || numBits == 0) break;
        const int top = static_cast<int>(std::bit_width(varying));
        // The last run takes the gaps between the rest along.
        const int ones = std::countl_one(varying << (64 - top));
        const int wanted = &run == &aRuns.back() ? top - std::countr_zero(varying) : ones;
        run.length = std::min(wanted, numBits);
        run.shift = top - run.length;
        run.mask = lowBits(run.length);
        numBits -= run.length;
        varying &= lowBits(run.shift);
    }
    bExact = varying == 0;
}

}  // namespace QUOR_ZEF
