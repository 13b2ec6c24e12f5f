#pragma once

#include <vector>

#include "field/CornerStore.h"
#include "support/drawnCells.h"

namespace zef_test {

// A block of corners with gaps, created in random order, with random states and vals. Their codes in that order.
inline std::vector<uint64> drawCorners(QUOR_ZEF::CornerStore& store, unsigned k, float largest) {
    using namespace QUOR_ZEF;
    Draws draws(k);
    std::vector<uint64> vRCC = voxelBox(50, 50, 50, 63, 63, 63);
    std::erase_if(vRCC, [&](uint64) { return draws.below(10) < 1 + k % 6; });
    draws.shuffle(vRCC);
    for (const uint64 rcc : vRCC) {
        Corner* const pCorner = store.createCorner(rcc);
        pCorner->state = static_cast<CornerState>(1 + draws.below(7));
        const float magnitude = largest * static_cast<float>(1 + draws.below(1000)) / 1000.0F;
        const bool bNegative =
            pCorner->state == ST_LOWER_BORDER || (pCorner->state != ST_UPPER_BORDER && draws.below(2));
        pCorner->val = bNegative ? -magnitude : magnitude;
        if (pCorner->state == ST_DUAL_NO_EMITTER || pCorner->state == ST_NON_STRIP) pCorner->val = 0.0F;
        pCorner->weight = static_cast<float>(1 + draws.below(10)) / 10.0F;
    }
    return vRCC;
}

}  // namespace zef_test
