#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "solid/LatticeSet.h"

namespace QUOR_ZEF {

// Between a point of a set and one beside it that does not belong to it.
struct LatticeFace {
    LatticePoint low;  // the lower one of both
    std::size_t axis;  // 0 to 2, along which the other one follows
    bool bLowInside;

    // The cells that have both as corners, counter-clockwise seen from outside.
    std::array<LatticePoint, 4> cellsAround() const {
        const std::array<std::int32_t, 3> at{low.x, low.y, low.z};
        const std::size_t u = (axis + 1) % 3, v = (axis + 2) % 3;
        std::array<LatticePoint, 4> cells{};
        for (std::size_t i = 0; i < 4; ++i) {
            const std::size_t turn = bLowInside ? i : 3 - i;
            std::array<std::int32_t, 3> cell = at;
            if (turn == 0 || turn == 3) --cell[u];
            if (turn < 2) --cell[v];
            cells[i] = {cell[0], cell[1], cell[2]};
        }
        return cells;
    }
};

// fn(face) for all, row by row. The faces of a row with the rows before it, too.
template <class Fn>
void forEachFace(const LatticeSet& set, const Fn& fn) {
    std::vector<Stretch> vLeft;
    const auto between = [&](const LatticePoint& low, std::size_t axis, std::span<const Stretch> lower,
                             std::span<const Stretch> upper) {
        for (const bool bLowInside : {true, false}) {
            vLeft.clear();
            combineRuns(
                bLowInside ? lower : upper, bLowInside ? upper : lower, [](bool bA, bool bB) { return bA && !bB; },
                vLeft);
            for (const Stretch& run : vLeft)
                for (std::int32_t x = run.begin; x < run.end; ++x) fn(LatticeFace{{x, low.y, low.z}, axis, bLowInside});
        }
    };
    const LatticeBox& box = set.getBox();
    for (std::int32_t z = 0; z < box.numZ; ++z) {
        for (std::int32_t y = 0; y < box.numY; ++y) {
            for (const Stretch& run : set.row(y, z)) {
                fn(LatticeFace{{run.begin - 1, y, z}, 0, false});
                fn(LatticeFace{{run.end - 1, y, z}, 0, true});
            }
            between({0, y - 1, z}, 1, set.row(y - 1, z), set.row(y, z));
            between({0, y, z - 1}, 2, set.row(y, z - 1), set.row(y, z));
        }
    }
}

}  // namespace QUOR_ZEF
