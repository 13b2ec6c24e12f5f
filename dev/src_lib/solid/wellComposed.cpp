#include "solid/wellComposed.h"

#include <algorithm>
#include <array>

#include "parallel/sortMT.h"
#include "solid/faces.h"

namespace QUOR_ZEF {

namespace {

void makeUnique(std::vector<uint64>& vCodes) {
    sortMT(vCodes.begin(), vCodes.end());
    vCodes.erase(std::unique(vCodes.begin(), vCodes.end()), vCodes.end());
}

LatticePoint cornerOf(const LatticePoint& cell, int corner) {
    return {cell.x + (corner & 1), cell.y + (corner >> 1 & 1), cell.z + (corner >> 2)};
}

// A corner to change, of a cell with these in the set, one bit each; -1 if the surface is fine there. It is not in the
// set, and beside one that is.
constexpr int faultOf(unsigned corners) {
    constexpr unsigned all = 0xff;
    for (int i = 0; i < 8; ++i) {
        const auto has = [&](int corner) { return (corners >> corner & 1) != 0; };
        if (has(i)) continue;
        for (const auto& [u, v] : {std::pair{1, 2}, std::pair{2, 4}, std::pair{1, 4}})
            if (!has(i ^ u ^ v) && has(i ^ u) && has(i ^ v)) return i;
        const unsigned opposite = 1U << i | 1U << (i ^ 7);
        if (corners == (all & ~opposite)) return i;
        if (corners == (1U << (i ^ 1) | 1U << (i ^ 6))) return i;
    }
    return -1;
}

constexpr auto faults = [] {
    std::array<int, 256> table{};
    for (unsigned corners = 0; corners < 256; ++corners) table[corners] = faultOf(corners);
    return table;
}();

}  // namespace

std::vector<uint64> cellsOfSurface(const LatticeSet& set) {
    std::vector<uint64> vCells;
    forEachFace(set, [&](const LatticeFace& face) {
        for (const LatticePoint& cell : face.cellsAround()) vCells.push_back(codeOf(cell));
    });
    makeUnique(vCells);
    return vCells;
}

void makeWellComposed(LatticeSet& set, Composing composing) {
    const bool bAdd = composing == Composing::ADD;
    for (std::vector<uint64> vCells = cellsOfSurface(set); !vCells.empty();) {
        std::vector<uint64> vChanged;
        for (const uint64 code : vCells) {
            const LatticePoint cell = pointOf(code);
            unsigned corners = 0;
            for (int i = 0; i < 8; ++i) corners |= (set.has(cornerOf(cell, i)) == bAdd ? 1U : 0U) << i;
            if (const int corner = faults[corners]; corner >= 0) vChanged.push_back(codeOf(cornerOf(cell, corner)));
        }
        makeUnique(vChanged);
        bAdd ? set.add(vChanged) : set.remove(vChanged);
        vCells.clear();
        for (const uint64 code : vChanged) {
            const LatticePoint p = pointOf(code);
            for (int i = 0; i < 8; ++i) vCells.push_back(codeOf(cornerOf({p.x - 1, p.y - 1, p.z - 1}, i)));
        }
        makeUnique(vCells);
    }
}

}  // namespace QUOR_ZEF
