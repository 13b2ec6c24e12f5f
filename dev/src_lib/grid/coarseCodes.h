#pragma once

#include <vector>

#include "frame/types.h"
#include "grid/Calc.h"
#include "parallel/parallelTransform.h"
#include "parallel/sortMT.h"

namespace QUOR_ZEF {

// The packed code of the coarse cell, two cells wide, that holds this cell; of the coarse corner that lies at this
// corner, or below it.
constexpr uint64 coarseCodeOf(uint64 code) {
    constexpr uint64 fromNext = (stepX_RCD | stepY_RCD | stepZ_RCD) << 20;  // what comes from the next coordinate
    return (code >> 1) & ~fromNext;
}

// Of all these, sorted, each once. Parallel.
inline std::vector<uint64> coarseCodesOf(const std::vector<uint64>& vCodes) {
    std::vector<uint64> v;
    parallelTransform(vCodes, v, coarseCodeOf);
    sortUniqueMT(v);
    return v;
}

}  // namespace QUOR_ZEF
