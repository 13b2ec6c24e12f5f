#include "gaps/GapCloser.h"

#include <algorithm>
#include <iterator>

#include "frame/tools.h"
#include "gaps/Filler.h"
#include "grid/Calc.h"
#include "grid/CellBlocks.h"
#include "grid/RemoveDecider_RCD.h"
#include "grid/codeSets.h"
#include "parallel/sortMT.h"

namespace QUOR_ZEF {

namespace {

constexpr double lowContact = 0.3;    // fillings that touch the border of the cloud with less of their own
constexpr std::size_t minRated = 10;  // border cells

// The cells of the chosen components, ascending. A component's
// cells see no cell of another one, so the decider may thin all these at once.
template <class IsChosen>
std::vector<uint64> cellsOf(const std::vector<ZeroComponent>& vComponents, const IsChosen& isChosen) {
    std::vector<uint64> vCells;
    for (const ZeroComponent& component : vComponents) {
        if (isChosen(component)) vCells.insert(vCells.end(), component.vCells.begin(), component.vCells.end());
    }
    sortMT(vCells.begin(), vCells.end());
    return vCells;
}

}  // namespace

void GapCloser::fillGaps(const std::vector<uint64>& vAllRmg, std::vector<RCDPoint>& vRemainingRCDPoint) const {
    if (bKeepBorders) {
        fillInsideBorders(vAllRmg, vRemainingRCDPoint);
        if (bGrowFar) growFar(vRemainingRCDPoint);
        return;
    }
    std::vector<uint64> vLocalArea, vLocalBorder;
    RemoveDecider_RCD(&vAllRmg, pCalc).classify(vLocalArea, vLocalBorder);
    std::vector<RCDPoint> vRCD2ZeroPoint;
    Filler filler(numGrowSteps, vLocalBorder, vLocalArea, vRemainingRCDPoint, pCalc);
    filler.bUneven = bUneven;
    filler.fill(vRCD2ZeroPoint);
    pruneZeros(vLocalArea, vLocalBorder, vRCD2ZeroPoint, vRemainingRCDPoint);
}

void GapCloser::pruneZeros(std::vector<uint64>& vLocalArea, std::vector<uint64>& vLocalBorder,
                           std::vector<RCDPoint>& vRCD2ZeroPoint, std::vector<RCDPoint>& vOut) const {
    std::vector<uint64> vZeroRCD = codesOf(vRCD2ZeroPoint);
    std::vector<uint64> vArBorZer = vLocalArea;
    vArBorZer.insert(vArBorZer.end(), vLocalBorder.begin(), vLocalBorder.end());
    vArBorZer.insert(vArBorZer.end(), vZeroRCD.begin(), vZeroRCD.end());
    checkUnique(vRCD2ZeroPoint, "isUnique vRCD2ZeroPoint");
    checkUnique(vLocalArea, "isUnique vLocalArea");
    checkUnique(vLocalBorder, "isUnique vLocalBorder");
    ASSEX(assert_disjoint(vLocalArea,vLocalBorder));
    ASSEX(assert_disjoint(vLocalArea,vZeroRCD));
    ASSEX(assert_disjoint(vLocalBorder,vZeroRCD));
    ASSEX(vLocalArea.size()+vLocalBorder.size()+vZeroRCD.size()==vArBorZer.size());
    sortMT(vArBorZer.begin(), vArBorZer.end());
    sortStableByFirstMT(vRCD2ZeroPoint.begin(), vRCD2ZeroPoint.end());
    vZeroRCD = codesOf(vRCD2ZeroPoint);
    checkSorted(vZeroRCD, "vZeroRCD");
    checkSorted(vRCD2ZeroPoint, "vRCD2ZeroPoint");
    checkSorted(vArBorZer, "vArBorZer");

    const std::vector<uint64> vDoomed = findDoomedZeros(vArBorZer, vLocalBorder, vRCD2ZeroPoint);
    for (const RCDPoint& pair : vRCD2ZeroPoint) {
        if (!containsCode(vDoomed, pair.first)) vOut.push_back(pair);
    }
    vLocalArea.clear();
    vLocalBorder.clear();
}

std::vector<uint64> GapCloser::findDoomedZeros(const std::vector<uint64>& vArBorZer,
                                               const std::vector<uint64>& vLocalBorder,
                                               const std::vector<RCDPoint>& vRCD2ZeroPoint) const {
    std::vector<ZeroComponent> vComponents;
    rateZeroComponents(codesOf(vRCD2ZeroPoint), vLocalBorder, vComponents);
    RemoveDecider_RCD decider(&vArBorZer, pCalc);
    std::vector<uint64> vKept, vDoomed;
    for (const bool bKeepNoBorder : {false, true}) {
        const auto isChosen = [&](const ZeroComponent& c) { return (c.ratio < lowContact) == bKeepNoBorder; };
        const std::vector<uint64> vCandidates = cellsOf(vComponents, isChosen);
        if (!vCandidates.empty()) decider.prune(vRCD2ZeroPoint, vCandidates, vKept, vDoomed, bKeepNoBorder, false);
    }
    return vDoomed;
}

void GapCloser::rateZeroComponents(const std::vector<uint64>& vZeroRCD, const std::vector<uint64>& vLocalBorder,
                                   std::vector<ZeroComponent>& vOut) const {
    // Cells share a corner if one lies in the block of the other.
    const CellBlocks_RCD border(vLocalBorder);
    std::vector<std::vector<uint64>> vGroups;
    createCC_RCD(vZeroRCD, vGroups);
    for (std::vector<uint64>& vGroup : vGroups) {
        std::vector<uint64> vArea, vRim;
        RemoveDecider_RCD(&vGroup, pCalc).classify(vArea, vRim);
        double ratio = 1.0;
        if (vRim.size() >= minRated) {
            const auto numTouching = std::count_if(vRim.begin(), vRim.end(), [&](uint64 rcd) {
                return (border.maskListed27(rcd) & ~blockCentreBit) != 0;
            });
            ratio = static_cast<double>(numTouching) / static_cast<double>(vRim.size());
        }
        vOut.push_back({ratio, std::move(vGroup)});
    }
}

}  // namespace QUOR_ZEF
