#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <vector>

#include "frame/types.h"

namespace QUOR_ZEF {

// Points of a lattice have coordinates below 2^20; a cell has the coordinates of its lowest corner.
struct LatticePoint {
    std::int32_t x, y, z;
};
struct LatticeBox {
    std::int32_t numX, numY, numZ;
};

// Ascending as rows along x follow each other.
constexpr uint64 codeOf(const LatticePoint& p) {
    return static_cast<uint64>(p.z) << 42 | static_cast<uint64>(p.y) << 21 | static_cast<uint64>(p.x);
}
constexpr LatticePoint pointOf(uint64 code) {
    constexpr uint64 mask = (uint64{1} << 21) - 1;
    return {static_cast<std::int32_t>(code & mask), static_cast<std::int32_t>(code >> 21 & mask),
            static_cast<std::int32_t>(code >> 42)};
}

// From one x up to another one, which does not belong to it.
struct Stretch {
    std::int32_t begin, end;
};

// Appends the runs of all x for which keep(is in a, is in b). Those of a, and of b, ascend and do not touch;
// keep(false, false) is false.
template <class Keep>
void combineRuns(std::span<const Stretch> a, std::span<const Stretch> b, const Keep& keep, std::vector<Stretch>& vOut) {
    const auto turn = [](std::span<const Stretch> runs, std::size_t i) {
        return i / 2 == runs.size() ? std::numeric_limits<std::int32_t>::max()
               : i % 2 == 0         ? runs[i / 2].begin
                                    : runs[i / 2].end;
    };
    bool bInside = false;
    for (std::size_t i = 0, j = 0; i < 2 * a.size() || j < 2 * b.size();) {
        const std::int32_t x = std::min(turn(a, i), turn(b, j));
        if (turn(a, i) == x) ++i;
        if (turn(b, j) == x) ++j;
        if (keep(i % 2 == 1, j % 2 == 1) == bInside) continue;
        if (!bInside) vOut.push_back({x, x});
        vOut.back().end = x;
        bInside = !bInside;
    }
}

// A set of points, as runs along x, so that it takes memory as its surface does. The box has a margin that is
// free of points.
class LatticeSet {
public:
    // fillRow(y, z, vRuns) appends the runs of a row, which ascend and do not touch.
    template <class FillRow>
    LatticeSet(const LatticeBox& box_, const FillRow& fillRow) : box(box_) {
        vFirst.reserve(static_cast<std::size_t>(box.numY) * static_cast<std::size_t>(box.numZ) + 1);
        for (std::int32_t z = 0; z < box.numZ; ++z) {
            for (std::int32_t y = 0; y < box.numY; ++y) {
                vFirst.push_back(vRuns.size());
                fillRow(y, z, vRuns);
            }
        }
        vFirst.push_back(vRuns.size());
    }

    const LatticeBox& getBox() const { return box; }
    bool isEmpty() const { return vRuns.empty(); }
    // None outside the box.
    std::span<const Stretch> row(std::int32_t y, std::int32_t z) const {
        if (y < 0 || z < 0 || y >= box.numY || z >= box.numZ) return {};
        const std::size_t i = rowNumber(y, z);
        return {vRuns.data() + vFirst[i], vFirst[i + 1] - vFirst[i]};
    }
    // O(log of the runs in the row).
    bool has(const LatticePoint& p) const;

    // Ascending codes; points that belong already, or not at all, are no fault. O(rows + runs).
    void add(std::span<const uint64> vPoints);
    void remove(std::span<const uint64> vPoints);
    // Adds what cannot be reached from the margin along rows and columns of points that are free.
    void fillEnclosed();
    // Leaves out the points that have one out of the other set around them, also across a corner.
    void keepWithin(const LatticeSet& other);

private:
    LatticeBox box;
    std::vector<std::size_t> vFirst;  // of each row; and the number of all runs
    std::vector<Stretch> vRuns;

    std::size_t rowNumber(std::int32_t y, std::int32_t z) const {
        return static_cast<std::size_t>(z) * static_cast<std::size_t>(box.numY) + static_cast<std::size_t>(y);
    }
    template <class Keep>
    void combineWith(std::span<const uint64> vPoints, const Keep& keep);
    std::uint32_t firstGap(std::int32_t y, std::int32_t z) const;
    Stretch gap(std::span<const Stretch> runs, std::size_t i) const;
};

}  // namespace QUOR_ZEF
