#include <algorithm>
#include <iterator>

#include "cloud/Cloud.h"
#include "field/Bridges.h"
#include "field/Component.h"
#include "field/Filler.h"
#include "frame/tools.h"
#include "grid/Calc.h"
#include "grid/CellBlocks.h"
#include "grid/CodeMap.h"
#include "grid/RemoveDecider_RCD.h"
#include "grid/codeSets.h"
#include "parallel/sortMT.h"

namespace QUOR_ZEF {

namespace {

constexpr double lowContact = 0.3;    // fillings that touch the border of the cloud with less of their own
constexpr std::size_t minRated = 10;  // border cells
// With borders kept. Corners farther off the zero level decide about one cell in a hundred, and
// no more or fewer gaps close, for a third of the time and half of the memory.
constexpr int maxSourceSteps = 4;

std::vector<uint64> codesOf(const std::vector<RCDPoint>& vRCDPoint) {
    std::vector<uint64> vCodes;
    vCodes.reserve(vRCDPoint.size());
    for (const RCDPoint& pair : vRCDPoint) vCodes.push_back(pair.first);
    return vCodes;
}

// The pairs with these codes, all of which are there.
std::vector<RCDPoint> pairsOf(const std::vector<uint64>& vCodes, const std::vector<RCDPoint>& vSorted) {
    std::vector<RCDPoint> v;
    v.reserve(vCodes.size());
    for (const uint64 rcd : vCodes) v.push_back(*findCode(vSorted, rcd));
    return v;
}

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

// The empty cells, sorted, around those of vFilled that have a cell of the border beside them.
std::vector<uint64> emptyAtSeam(const std::vector<RCDPoint>& vFilled, const std::vector<uint64>& vBorder,
                                const CellBlocks_RCD& all, const Calc& calc) {
    const CellBlocks_RCD border(vBorder);
    std::vector<uint64> vEmpty;
    uint64 around[26];
    for (const RCDPoint& pair : vFilled) {
        if (!(border.maskListed27(pair.first) & ~blockCentreBit)) continue;
        calc.completeArray26_RCD(pair.first, around);
        std::copy_if(std::begin(around), std::end(around), std::back_inserter(vEmpty),
                     [&](uint64 rcd) { return !all.contains(rcd); });
    }
    sortUniqueMT(vEmpty);
    return vEmpty;
}

// Those of the empty cells that alone would part the empty cells around them. Of such cells beside
// each other, as in a row through the surface, those with the most cells at their faces.
std::vector<uint64> findPlugs(const std::vector<uint64>& vEmpty, const CellBlocks_RCD& all, const Calc& calc) {
    std::vector<std::pair<uint64, int>> vParting;  // with the number of cells at their faces
    for (const uint64 rcd : vEmpty) {
        const std::uint32_t mask = all.mask27(rcd);
        if (isCriticalBlock(mask)) vParting.emplace_back(rcd, countCells(mask & blockFaces));
    }
    std::vector<uint64> vPlugs;
    uint64 around[26];
    for (const auto& [rcd, num] : vParting) {
        calc.completeArray26_RCD(rcd, around);
        const bool bBest = std::none_of(std::begin(around), std::end(around), [&, n = num](uint64 neighbour) {
            const auto it = findCode(vParting, neighbour);
            return it != vParting.end() && it->second > n;
        });
        if (bBest) vPlugs.push_back(rcd);
    }
    return vPlugs;
}

// The empty cells beside those of vFilled from which face steps over empty cells lead nowhere else.
std::vector<uint64> emptyPockets(const std::vector<RCDPoint>& vFilled, const std::vector<uint64>& vAll) {
    constexpr std::size_t maxPocket = 26;  // cells
    const CellBlocks_RCD all(vAll);
    std::vector<uint64> vEnclosed, vFlood;
    CodeMap floods;  // of the empty cells seen; only open ones are met again
    std::uint32_t flood = 0;
    // True if the flood goes on; false if it is known to be open.
    const auto enter = [&](uint64 rcd) {
        if (all.contains(rcd)) return true;
        const std::size_t numBefore = floods.size();
        if (floods.insert(rcd, flood) != flood) return false;
        if (floods.size() > numBefore) vFlood.push_back(rcd);
        return vFlood.size() <= maxPocket;
    };
    const auto enterAround = [&](uint64 rcd) {
        for (const uint64 step : {stepX_RCD, stepY_RCD, stepZ_RCD}) {
            if (!enter(rcd - step) || !enter(rcd + step)) return false;
        }
        return true;
    };
    for (const RCDPoint& pair : vFilled) {
        for (const uint64 step : {stepX_RCD, stepY_RCD, stepZ_RCD}) {
            for (const uint64 rcd : {pair.first - step, pair.first + step}) {
                if (floods.find(rcd) != CodeMap::npos) continue;
                vFlood.clear();
                ++flood;
                bool bClosed = enter(rcd);
                for (std::size_t i = 0; i < vFlood.size() && bClosed; ++i) bClosed = enterAround(vFlood[i]);
                if (bClosed) vEnclosed.insert(vEnclosed.end(), vFlood.begin(), vFlood.end());
            }
        }
    }
    return vEnclosed;
}

// The mean of the samples in the 26 cells around a cell, moved into it.
Point3 meanAround(uint64 rcd, const std::vector<RCDPoint>& vCloud, const std::vector<RCDPoint>& vFilled,
                  const Calc& calc) {
    uint64 around[26];
    calc.completeArray26_RCD(rcd, around);
    double x = 0.0, y = 0.0, z = 0.0;
    int num = 0;
    for (const uint64 neighbour : around) {
        for (const std::vector<RCDPoint>* pv : {&vCloud, &vFilled}) {
            const auto it = findCode(*pv, neighbour);
            if (it == pv->end()) continue;
            it->second.addOwnCoords(x, y, z);
            ++num;
        }
    }
    Point3 mean = num > 0 ? Point3(x / num, y / num, z / num) : calc.getCellCenter(calc.rcdToCcd(rcd));
    calc.adaptPointToRCD(rcd, mean);
    return mean;
}

}  // namespace

void Cloud::fillGaps(const std::vector<uint64>& vAllRmg, std::vector<RCDPoint>& vRemainingRCDPoint) const {
    std::vector<uint64> vLocalArea, vLocalBorder;
    RemoveDecider_RCD(&vAllRmg, pCalc.get()).classify(vLocalArea, vLocalBorder);
    std::vector<RCDPoint> vRCD2ZeroPoint;
    std::vector<uint64> vBridges;
    Filler filler(numGrowSteps, vLocalBorder, vLocalArea, vRemainingRCDPoint, pCalc.get());
    Bridges bridges(filler);
    if (bKeepBorders) {
        filler.maxSourceSteps = maxSourceSteps;
        filler.bKeepStackedApart = true;
        filler.adapt = [&](const Component& component, std::vector<RCDPoint>& vZero) {
            const std::vector<uint64> vOwn = bridges.find(component, codesOf(vZero));
            keepWhatClosesGaps(component, vRemainingRCDPoint, vOwn, vZero);
            vBridges = unionOf(vBridges, vOwn);
        };
    }
    filler.fill(vRCD2ZeroPoint);
    vBridges = intersection(vBridges, codesOf(vRCD2ZeroPoint));
    if (bKeepBorders) tightenFilling(vLocalBorder, vRemainingRCDPoint, vRCD2ZeroPoint);
    pruneZeros(vLocalArea, vLocalBorder, vRCD2ZeroPoint, vRemainingRCDPoint, vBridges);
}

// What closes a hole is held by the cells around the hole. Other cells would also hold what
// hangs from a rim in the open, where it happens to reach them.
void Cloud::keepWhatClosesGaps(const Component& component, const std::vector<RCDPoint>& vCloud,
                               const std::vector<uint64>& vBridges, std::vector<RCDPoint>& vZero) const {
    tightenFilling(component.vBorderRCD, pairsOf(component.vCellRCD, vCloud), vZero);
    const std::vector<uint64> vCandidates = codesOf(vZero), vAll = unionOf(component.vCellRCD, vCandidates);
    RemoveDecider_RCD decider(&vAll, pCalc.get());
    std::vector<uint64> vKept, vDoomed;
    decider.prune(vZero, vBridges, vKept, vDoomed, false, false);
    decider.prune(vZero, difference(vCandidates, vBridges), vKept, vDoomed, true, false);
    vZero = pairsOf(difference(vCandidates, vDoomed), vZero);
}

// Where the filling meets the cloud its surface can leave out a single cell, and peeling would go
// on from there. Around an empty pocket it would stay two cells thick.
void Cloud::tightenFilling(const std::vector<uint64>& vLocalBorder, const std::vector<RCDPoint>& vCloud,
                           std::vector<RCDPoint>& vRCD2ZeroPoint) const {
    const std::vector<uint64> vAll = unionOf(codesOf(vCloud), codesOf(vRCD2ZeroPoint));
    const CellBlocks_RCD all(vAll);
    std::vector<uint64> vAdded = findPlugs(emptyAtSeam(vRCD2ZeroPoint, vLocalBorder, all, *pCalc), all, *pCalc);
    const std::vector<uint64> vPockets = emptyPockets(vRCD2ZeroPoint, unionOf(vAll, vAdded));
    vAdded.insert(vAdded.end(), vPockets.begin(), vPockets.end());
    std::vector<RCDPoint> vTight = vRCD2ZeroPoint;
    for (const uint64 rcd : vAdded) vTight.emplace_back(rcd, meanAround(rcd, vCloud, vRCD2ZeroPoint, *pCalc));
    sortStableByFirstMT(vTight.begin(), vTight.end());
    vRCD2ZeroPoint.swap(vTight);
}

void Cloud::pruneZeros(std::vector<uint64>& vLocalArea, std::vector<uint64>& vLocalBorder,
                       std::vector<RCDPoint>& vRCD2ZeroPoint, std::vector<RCDPoint>& vOut,
                       const std::vector<uint64>& vBridges) const {
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

    const std::vector<uint64> vDoomed = findDoomedZeros(vArBorZer, vLocalBorder, vRCD2ZeroPoint, vBridges);
    for (const RCDPoint& pair : vRCD2ZeroPoint) {
        if (!containsCode(vDoomed, pair.first)) vOut.push_back(pair);
    }
    vLocalArea.clear();
    vLocalBorder.clear();
}

std::vector<uint64> Cloud::findDoomedZeros(const std::vector<uint64>& vArBorZer,
                                           const std::vector<uint64>& vLocalBorder,
                                           const std::vector<RCDPoint>& vRCD2ZeroPoint,
                                           const std::vector<uint64>& vBridges) const {
    std::vector<ZeroComponent> vComponents;
    if (bKeepBorders) {
        // What has no surface all round is peeled off down to the cells of the cloud.
        vComponents.push_back({0.0, difference(codesOf(vRCD2ZeroPoint), vBridges)});
        vComponents.push_back({1.0, vBridges});
    } else {
        rateZeroComponents(codesOf(vRCD2ZeroPoint), vLocalBorder, vComponents);
    }
    RemoveDecider_RCD decider(&vArBorZer, pCalc.get());
    std::vector<uint64> vKept, vDoomed;
    for (const bool bKeepNoBorder : {false, true}) {
        const auto isChosen = [&](const ZeroComponent& c) { return (c.ratio < lowContact) == bKeepNoBorder; };
        const std::vector<uint64> vCandidates = cellsOf(vComponents, isChosen);
        if (!vCandidates.empty()) decider.prune(vRCD2ZeroPoint, vCandidates, vKept, vDoomed, bKeepNoBorder, false);
    }
    return vDoomed;
}

void Cloud::rateZeroComponents(const std::vector<uint64>& vZeroRCD, const std::vector<uint64>& vLocalBorder,
                               std::vector<ZeroComponent>& vOut) const {
    // Cells share a corner if one lies in the block of the other.
    const CellBlocks_RCD border(vLocalBorder);
    std::vector<std::vector<uint64>> vGroups;
    createCC_RCD(vZeroRCD, vGroups);
    for (std::vector<uint64>& vGroup : vGroups) {
        std::vector<uint64> vArea, vRim;
        RemoveDecider_RCD(&vGroup, pCalc.get()).classify(vArea, vRim);
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
