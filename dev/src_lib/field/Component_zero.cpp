#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

#include "field/Component.h"
#include "field/crossings.h"
#include "parallel/joinedChunks.h"
#include "parallel/parallelTransform.h"
#include "parallel/sortMT.h"
#include "store/CodeMap.h"

namespace QUOR_ZEF {

namespace {

constexpr float valInsteadOf0 = 0.0001F;
constexpr std::size_t minSources = 1'000;

// Where the zero level crosses edges of a cell.
struct Crossings {
    double x = 0.0, y = 0.0, z = 0.0;  // sums of coordinates
    int count = 0;

    void add(const Point3& p) {
        p.addOwnCoords(x, y, z);
        ++count;
    }
    Point3 mean() const { return {x / count, y / count, z / count}; }
};

// Crossings by cell, in the order in which the cells came.
struct CrossedCells {
    CodeMap numbers;
    std::vector<std::pair<uint64, Crossings>> vCells;

    void add(uint64 rcd, const Point3& p) {
        const std::uint32_t number = numbers.insert(rcd, static_cast<std::uint32_t>(vCells.size()));
        if (number == vCells.size()) vCells.emplace_back(rcd, Crossings());
        vCells[number].second.add(p);
    }
};

// Crossings with their cells, in order, by a number that all of a cell have in common.
constexpr std::size_t numShares = 32;
using Shares = std::array<std::vector<std::pair<uint64, Point3>>, numShares>;

std::size_t shareOf(uint64 rcd) {
    constexpr int bitsOfBlock = 3;  // cells near each other go together
    const GridCoords c = unpackRCD(rcd);
    return ((c.x >> bitsOfBlock) + 5 * (c.y >> bitsOfBlock) + 11 * (c.z >> bitsOfBlock)) % numShares;
}

}  // namespace

Point3 Component::getCrossing(const Corner& source, const Corner& target) const {
    const Point3 p = getCornerPosition(cornerStore.rccOf(source)), q = getCornerPosition(cornerStore.rccOf(target));
    const float sum = std::abs(source.val) + std::abs(target.val);
    return p + (q - p) * static_cast<double>(std::abs(source.val)) / static_cast<double>(sum);
}

// Each edge is met from both ends, and each cell adds up its crossings in the
// order of the corners and their slots.
void Component::getZeroRCD(CodePoints& vOut) {
    parallelChunks(cornerStore.vCorners.size(), minSources, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            if (cornerStore.vCorners[i]->val == 0.0F) cornerStore.vCorners[i]->val = valInsteadOf0;
        }
    });
    const std::vector<const Corner*> vCrossed = findCrossed(cornerStore);
    const auto vShares =
        parallelChunkResults<Shares>(vCrossed.size(), minSources, [&](std::size_t begin, std::size_t end) {
            Shares shares;
            std::vector<uint64> vAround;
            for (std::size_t i = begin; i < end; ++i) {
                const Corner& source = *vCrossed[i];
                cornerStore.forEachNeig(source, [&](const Corner& target) {
                    if (!isCrossed(source, target)) return;
                    const Point3 p = getCrossing(source, target);
                    vAround.clear();
                    pCalc->getCbsAroundEdge(cornerStore.rccOf(source), cornerStore.rccOf(target), vAround);
                    for (const uint64 rcd : vAround) shares[shareOf(rcd)].emplace_back(rcd, p);
                });
            }
            return shares;
        });
    using Cells = std::vector<std::pair<uint64, Crossings>>;
    Cells vCells = joinedChunks<std::pair<uint64, Crossings>>(
        vShares.empty() ? 0 : numShares, 1, [&](std::size_t begin, std::size_t end) {
            Cells v;
            for (std::size_t share = begin; share < end; ++share) {
                CrossedCells crossed;
                for (const Shares& shares : vShares) {
                    for (const auto& [rcd, p] : shares[share]) crossed.add(rcd, p);
                }
                v.insert(v.end(), crossed.vCells.begin(), crossed.vCells.end());
            }
            return v;
        });
    sortByFirstMT(vCells.begin(), vCells.end());
    vOut.clear();
    auto own = vCellRCD.begin();
    for (const auto& [rcd, crossings] : vCells) {
        while (own != vCellRCD.end() && *own < rcd) ++own;
        if (own != vCellRCD.end() && *own == rcd) continue;
        Point3 p = crossings.mean();
        pCalc->adaptPointToRCD(rcd, p);
        vOut.emplace_back(rcd, p);
    }
}

}  // namespace QUOR_ZEF
