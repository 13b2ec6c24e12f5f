#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>
#include <utility>

#include "frame/types.h"
#include "grid/Calc.h"

namespace QUOR_ZEF {

// Finds what lies around cells that are visited in ascending order. In the packed
// layout the cells of one (x,y) column follow each other, so each of the columns
// around the moving cell keeps a cursor that only goes forward: a sweep over n
// cells reads the sorted codes (2 * radius + 1)^2 times from front to back, and
// searches only where it begins.
//
// The codes are not owned. Cells must lie radius cells or more inside the grid.
template <int radius>
class ColumnCursors {
public:
    using Range = std::pair<std::size_t, std::size_t>;  // positions in the codes, [first, last)

    // vSortedRCD: ascending, repeats are fine.
    explicit ColumnCursors(std::span<const uint64> vSortedRCD) : vCodes(vSortedRCD) {}

    // The codes in column (dx,dy) around the cell rcd, from radius cells below it
    // to radius above. A column must be asked with ascending rcd.
    Range around(uint64 rcd, int dx, int dy) {
        const uint64 low = rcd + steps(dx) * stepX_RCD + steps(dy) * stepY_RCD - radius;
        std::size_t& first = aFirst[static_cast<std::size_t>((dx + radius) * width + dy + radius)];
        first = firstFrom(first, low);
        return {first, firstFrom(first, low + 2 * radius + 1)};
    }

private:
    static constexpr int width = 2 * radius + 1;

    // A negative number of steps wraps round, and so does its product.
    static uint64 steps(int n) { return static_cast<uint64>(static_cast<int64>(n)); }

    // The first position from here on with a code of low or more. Near by as a rule,
    // but no branch could guess how near, so it counts.
    std::size_t firstFrom(std::size_t position, uint64 low) const {
        for (int jump = 0; jump < maxJumps && position + 4 <= vCodes.size(); ++jump) {
            const uint64* const p = vCodes.data() + position;
            const std::size_t num = std::size_t{p[0] < low} + (p[1] < low) + (p[2] < low) + (p[3] < low);
            position += num;
            if (num < 4) return position;
        }
        const auto it = std::lower_bound(vCodes.begin() + static_cast<std::ptrdiff_t>(position), vCodes.end(), low);
        return static_cast<std::size_t>(it - vCodes.begin());
    }

    static constexpr int maxJumps = 6;

    std::span<const uint64> vCodes;
    std::array<std::size_t, width * width> aFirst{};
};

}  // namespace QUOR_ZEF
