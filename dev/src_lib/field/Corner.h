#pragma once

#include <array>
#include <cstddef>
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

// The order of a corner's neighbours, as a number. Of the six directions (-x, +x, -y,
// +y, -z, +z; dir ^ 1 is the opposite one) those with a neighbour fill the slots from
// the front, in the order in which either end came later. Each sequence of different
// directions has a number, shorter ones first.
struct SlotOrders {
    static constexpr std::size_t num = 1 + 6 + 30 + 120 + 360 + 720 + 720;
    static constexpr std::uint16_t firstFull = num - 720;  // orders from here on have six neighbours

    std::array<std::array<std::uint16_t, 6>, num> next{};  // with one more dir; 0 if it is there already
    std::array<std::array<std::uint8_t, 6>, num> dirs{};   // by slot; free slots hold the other dirs
    std::array<std::uint8_t, num> numNeigs{};

    constexpr SlotOrders() {
        std::uint16_t last = 0;
        dirs[0] = {0, 1, 2, 3, 4, 5};
        for (std::size_t order = 0; order < num; ++order) {
            for (std::size_t slot = numNeigs[order]; slot < 6; ++slot) {
                next[order][dirs[order][slot]] = ++last;
                std::array<std::uint8_t, 6>& longer = dirs[last];
                longer = dirs[order];
                longer[numNeigs[order]] = dirs[order][slot];
                longer[slot] = dirs[order][numNeigs[order]];
                numNeigs[last] = static_cast<std::uint8_t>(numNeigs[order] + 1);
            }
        }
    }
};
inline constexpr SlotOrders slotOrders;

// A vertex of the grid with a signed distance. Lives in its CornerStore, where it
// never moves. Only the store writes location and slots.
class Corner {
public:
    float val = unassigned;      // world units, below 0 on the lower side, above on the upper one
    float weight = unassigned;   // confidence of val in smoothing
    std::uint32_t location = 0;  // where it lies in the store
    std::uint16_t slots = 0;     // see SlotOrders
    CornerState state = ST_UNSET;

    CornerState getState() const { return state; }
    // States 1 to 3.
    bool isActive() const { return state >= ST_LOWER_BORDER && state <= ST_INFLATED; }
    bool isAssigned() const { return val != unassigned; }
    bool hasAllNeigs() const { return slots >= SlotOrders::firstFull; }
    int numNeigs() const { return slotOrders.numNeigs[slots]; }
};

}  // namespace QUOR_ZEF
