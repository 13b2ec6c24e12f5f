#include "grid/RemoveDecider_RCD.h"

#include <algorithm>
#include <cmath>

#include "frame/Run.h"
#include "frame/tools.h"

namespace QUOR_ZEF {

namespace {

// The block index of other in the block around rcd, -1 if it lies outside.
int blockIndexOf(uint64 rcd, uint64 other) {
    const GridCoords a = unpackRCD(rcd);
    const GridCoords b = unpackRCD(other);
    // One below a gives 0; whatever lies further below wraps round.
    const uint64 x = b.x + 1 - a.x, y = b.y + 1 - a.y, z = b.z + 1 - a.z;
    if (x > 2 || y > 2 || z > 2) return -1;
    return static_cast<int>(z * 9 + y * 3 + x);
}

}  // namespace

RemoveDecider_RCD::RemoveDecider_RCD(const std::vector<uint64>* pvCells, const Calc* pGrid)
    : cellSize(pGrid->getCellSize()), pvRCD(pvCells), pCalc(pGrid), blocks(*pvCells) {}

int RemoveDecider_RCD::setCenter(uint64 rcd) {
    existsBits = blocks.mask27(rcd);
    return countCells(blocks.maskListed27(rcd));
}

OppState RemoveDecider_RCD::getOppState(uint64 rcd, int dir) {
    existsBits = blocks.mask27(rcd);
    const OppState state = oppStateOfBlock(existsBits, dir);
    if (state == OS_SOLID) return state;
    const int fromIdx27 = blockFace[static_cast<std::size_t>(dir)];
    ASSEX(!exists_int27(fromIdx27));
    return state;
}

bool RemoveDecider_RCD::wouldBecomeNewBorder(uint64 rcd, uint64 removeRCD) const {
    // Doomed cells seen as a set.
    struct {
        const CellBlocks_RCD& cells;
        bool find(uint64 code) const { return cells.isDoomed(code); }
        bool end() const { return false; }
    } const sDoomedRCD{blocks};
    ASSEX(sDoomedRCD.find(removeRCD)==sDoomedRCD.end());

    const std::uint32_t mask = blocks.mask27(rcd);
    if (isBorderBlock(mask)) return false;
    const int removed = blockIndexOf(rcd, removeRCD);
    return removed >= 0 && isBorderBlock(mask & ~(1u << removed));
}

double RemoveDecider_RCD::getWeight(const std::vector<std::pair<uint64, Point3>>& vRCDPoint, uint64 rcd) const {
    const auto q_it = std::lower_bound(vRCDPoint.begin(), vRCDPoint.end(), rcd,
                                       [](const auto& sample, uint64 code) { return sample.first < code; });
    ASSEX(q_it!=vRCDPoint.end());
    ASSEX(q_it->first==rcd);
    return countCells(blocks.mask27(rcd) & blockFaces) + cellSize - distanceInCells(rcd, q_it->second);
}

double RemoveDecider_RCD::distanceInCells(uint64 rcd, const Point3& sample) const {
    const auto [x, y, z] = unpackRCD(rcd);
    const double dx = (static_cast<double>(x) + 0.5) * pCalc->cellX + pCalc->x0 - sample.px;
    const double dy = (static_cast<double>(y) + 0.5) * pCalc->cellY + pCalc->y0 - sample.py;
    const double dz = (static_cast<double>(z) + 0.5) * pCalc->cellZ + pCalc->z0 - sample.pz;
    return std::sqrt(dx * dx + dy * dy + dz * dz) / cellSize;
}

void RemoveDecider_RCD::classify(std::vector<uint64>& vAreaOut, std::vector<uint64>& vBorderOut) const {
    enum Kind : char { MISSING, AREA, BORDER };
    // Cells come by block here, and are wanted in their order.
    std::vector<Kind> vKind(pvRCD->size(), MISSING);
    blocks.forEachMask_MT([&](std::uint32_t i, std::uint32_t mask) { vKind[i] = isBorderBlock(mask) ? BORDER : AREA; });
    for (std::size_t i = 0; i < vKind.size(); ++i) {
        if (vKind[i] == MISSING) continue;
        (vKind[i] == BORDER ? vBorderOut : vAreaOut).push_back((*pvRCD)[i]);
    }
}

void RemoveDecider_RCD::getAlive(std::vector<uint64>& vAliveOut) const {
    for (std::size_t i = 0; i < pvRCD->size(); ++i) {
        pollRun(i);
        if (const uint64 rcd = (*pvRCD)[i]; !isDoomed(rcd)) vAliveOut.push_back(rcd);
    }
}

}  // namespace QUOR_ZEF
