#include <algorithm>
#include <cmath>
#include <cstdint>

#include "field/Component.h"
#include "frame/tools.h"
#include "grid/CodeMap.h"
#include "parallel/sortMT.h"

namespace QUOR_ZEF {

namespace {

constexpr float valInsteadOf0 = 0.0001F;

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

// True if the zero level crosses the edge between two corners.
bool isCrossed(const Corner& source, const Corner& target) {
    if (source.getState() > ST_INFLATED || target.getState() > ST_INFLATED) return false;
    const float srcVal = source.val, trgVal = target.val;
    ASSEX(srcVal!=0 && trgVal!=0);
    if ((srcVal < 0) == (trgVal < 0)) return false;
    ASSEX((srcVal<0 && trgVal>0) || (srcVal>0 && trgVal<0));
    return true;
}

}  // namespace

Point3 Component::getCrossing(const Corner& source, const Corner& target) const {
    const Point3 p = getCornerPosition(source.rcc), q = getCornerPosition(target.rcc);
    const float sum = std::abs(source.val) + std::abs(target.val);
    return p + (q - p) * static_cast<double>(std::abs(source.val)) / static_cast<double>(sum);
}

// Each edge is met from both ends, and each cell adds up its crossings in the
// order of the corners and their slots.
void Component::getZeroRCD(CodePoints& vOut) {
    for (Corner* pCorner : cornerStore.vCorners) {
        if (pCorner->val == 0.0F) pCorner->val = valInsteadOf0;
    }
    CrossedCells crossed;
    std::vector<uint64> vAround;
    for (const Corner* pSource : cornerStore.vCorners) {
        if (pSource->getState() > ST_INFLATED) continue;
        for (const std::int32_t neig : pSource->neigs) {
            if (neig < 0) break;
            const Corner& target = *cornerStore.vCorners[static_cast<std::size_t>(neig)];
            if (!isCrossed(*pSource, target)) continue;
            const Point3 p = getCrossing(*pSource, target);
            vAround.clear();
            pCalc->getCbsAroundEdge(pSource->rcc, target.rcc, vAround);
            for (const uint64 rcd : vAround) crossed.add(rcd, p);
        }
    }
    sortByFirstMT(crossed.vCells.begin(), crossed.vCells.end());
    vOut.clear();
    auto own = vCellRCD.begin();
    for (const auto& [rcd, crossings] : crossed.vCells) {
        while (own != vCellRCD.end() && *own < rcd) ++own;
        if (own != vCellRCD.end() && *own == rcd) continue;
        Point3 p = crossings.mean();
        pCalc->adaptPointToRCD(rcd, p);
        vOut.emplace_back(rcd, p);
    }
}

}  // namespace QUOR_ZEF
