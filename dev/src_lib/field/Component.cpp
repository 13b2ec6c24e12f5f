#include "field/Component.h"

#include <algorithm>

#include "frame/tools.h"
#include "grid/codeSets.h"
#include "parallel/sortMT.h"

namespace QUOR_ZEF {

namespace {

template <class T>
void moveToEnd(std::vector<T>& vTo, std::vector<T>& vFrom) {
    if (vTo.empty()) {
        vTo.swap(vFrom);
        return;
    }
    vTo.insert(vTo.end(), vFrom.begin(), vFrom.end());
    std::vector<T>().swap(vFrom);
}

}  // namespace

Component::Component(const std::vector<uint64>& vCells, const std::vector<uint64>& vBorder,
                     const CodePoints* pvRCDPoint, const Calc* pGrid, bool bStop)
    : pvRemainingRCDPoint(pvRCDPoint),
      pCalc(pGrid),
      cornerStore(pGrid),
      bStopAtRims(bStop),
      cellSize(static_cast<float>(pGrid->getCellSize())),
      vCellRCD(vCells),
      vBorderRCD(vBorder),
      vAreaRCD(difference(vCells, vBorder)) {
    cc_labelSides();
}

Component::Component(const std::vector<Component*>& vGroup, int numSteps, const CodePoints* pvRCDPoint,
                     const Calc* pGrid)
    : numGrowSteps(numSteps),
      pvRemainingRCDPoint(pvRCDPoint),
      pCalc(pGrid),
      cornerStore(pGrid),
      cellSize(static_cast<float>(pGrid->getCellSize())),
      maxBorderVal(static_cast<float>(0.5 * cellSize)),
      bOriented(true) {
    for (Component* const pMember : vGroup) {
        moveToEnd(vCellRCD, pMember->vCellRCD);
        moveToEnd(vBorderRCD, pMember->vBorderRCD);
        moveToEnd(vAreaRCD, pMember->vAreaRCD);
        moveToEnd(vVisibleFacets, pMember->vVisibleFacets);
        facetIndex = std::move(pMember->facetIndex);
        pMember->facetIndex = FacetIndex();
    }
    if (vGroup.size() == 1) return;
    for (std::vector<uint64>* const pv : {&vCellRCD, &vBorderRCD, &vAreaRCD}) sortUniqueMT(*pv);
    // Pieces share no cell, so no facet is there twice, and none is hidden by another piece.
    sortMT(vVisibleFacets.begin(), vVisibleFacets.end());
    facetIndex = FacetIndex(vCellRCD);
}

void Component::getOrientationCount(uint64 rcd, int aLower[], int aUpper[]) const {
    std::fill_n(aLower, numDirs, 0);
    std::fill_n(aUpper, numDirs, 0);
    facetIndex.forEachAround(rcd, true, [&](std::uint32_t cell) {
        for (std::uint32_t i = facetIndex.firstFacet(cell); i < facetIndex.firstFacet(cell + 1); ++i) {
            const Facet& f = vVisibleFacets[i];
            if (f.component == -1) continue;
            if (f.component != 0 && f.component != 1) ASSEX(false);
            ++(f.component == 0 ? aLower : aUpper)[f.dir];
        }
    });
}

void Component::flipSides() {
    const auto idsOf = [](const ConnectionStruct* p) { return std::pair(p->pComponent0->id, p->pComponent1->id); };
    std::sort(vConnections.begin(), vConnections.end(),
              [&](const ConnectionStruct* p, const ConnectionStruct* q) { return idsOf(p) < idsOf(q); });
    vConnections.erase(std::unique(vConnections.begin(), vConnections.end()), vConnections.end());
    for (ConnectionStruct* const pConnection : vConnections) pConnection->score *= -1.0;
    for (Facet& f : vVisibleFacets) {
        if (f.component == 0 || f.component == 1) f.component = 1 - f.component;
    }
}

}  // namespace QUOR_ZEF
