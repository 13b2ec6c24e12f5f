#pragma once

#include <cstdint>

#include "frame/types.h"

namespace QUOR_ZEF {

// How a Corner came to be; only states 1 to 3 take part in smoothing and in the
// zero level, the others keep their values. Both are range tests on the number.
enum CornerState : std::uint8_t {
    ST_UNSET = 0,            // fresh from createCorner
    ST_LOWER_BORDER = 1,     // on a border cell and in the clean lower strip
    ST_UPPER_BORDER = 2,     // the same, upper
    ST_INFLATED = 3,         // created and valued by the inflation
    ST_DUAL_NO_EMITTER = 4,  // in both strips: no single side can emit a distance
    ST_CLEAN_LOWER = 5,      // in the lower strip only
    ST_CLEAN_UPPER = 6,      // in the upper strip only
    ST_NON_STRIP = 7         // on a facet, but in neither strip
};

// val and weight that are not yet assigned.
constexpr float unassigned = 3.402823466e+38F;

// A vertex of the grid with a signed distance. Owned by its CornerStore, where it
// never moves. Only the store writes neigs and rcc.
class Corner {
public:
    float val = unassigned;     // world units, below 0 on the lower side, above on the upper one
    float weight = unassigned;  // confidence of val in smoothing
    CornerState state = ST_UNSET;
    // The places in CornerStore::vCorners of the grid neighbours that exist, packed
    // from the front in the order in which either end came later; -1 in a free slot.
    std::int32_t neigs[6] = {-1, -1, -1, -1, -1, -1};
    uint64 rcc = 0;

    CornerState getState() const { return state; }
    // States 1 to 3.
    bool isActive() const { return state >= ST_LOWER_BORDER && state <= ST_INFLATED; }
    bool isAssigned() const { return val != unassigned; }
    bool hasAllNeigs() const { return neigs[5] >= 0; }
};

}  // namespace QUOR_ZEF
