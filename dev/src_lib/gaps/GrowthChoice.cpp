#include "gaps/GrowthChoice.h"

#include <algorithm>
#include <iterator>

#include "field/Component.h"
#include "gaps/Filler.h"
#include "gaps/GapCloser.h"
#include "gaps/bases.h"
#include "grid/CellBlocks.h"
#include "grid/coarseCodes.h"
#include "grid/codeSets.h"
#include "parallel/parallelTransform.h"
#include "parallel/sortMT.h"

namespace QUOR_ZEF {

namespace {

// How far around what is held the field grows, in coarse cells: along its zero level, since the
// coarse one lies otherwise by up to two cells, and where it is held is not sure; and to all sides, so that
// its zero level can move.
constexpr int alongLevel = 4, toAllSides = 3;

// The first sample of each coarse cell.
std::vector<RCDPoint> coarsePointsOf(const std::vector<RCDPoint>& vCloud) {
    std::vector<RCDPoint> v;
    parallelTransform(vCloud, v, [](const RCDPoint& pair) { return RCDPoint(coarseCodeOf(pair.first), pair.second); });
    sortStableByFirstMT(v.begin(), v.end());
    const auto bSame = [](const RCDPoint& a, const RCDPoint& b) { return a.first == b.first; };
    v.erase(std::unique(v.begin(), v.end(), bSame), v.end());
    return v;
}

Calc coarseGridOf(const Calc& calc) {
    return {calc.x0, calc.y0, calc.z0, calc.sizeX, calc.sizeY, calc.sizeZ, calc.numLevels - 1};
}

// By a step among these cells.
void widenAmong(const std::vector<uint64>& vCells, std::vector<uint64>& vWide) {
    const CellBlocks_RCD wide(vWide);
    std::vector<uint64> vBeside;
    std::copy_if(vCells.begin(), vCells.end(), std::back_inserter(vBeside),
                 [&](uint64 rcd) { return (wide.maskListed27(rcd) & ~blockCentreBit) != 0; });
    vWide = unionOf(vWide, vBeside);
}

}  // namespace

GrowthChoice::GrowthChoice(const Filler& filler, const std::vector<RCDPoint>& vCloud, bool bLeave)
    : vPoints(coarsePointsOf(vCloud)),
      calc(coarseGridOf(*filler.pCalc)),
      bridges(filler, vPoints),
      bLeaveBases(bLeave) {}

std::vector<uint64> GrowthChoice::find(const Component& component, const std::vector<uint64>& vHolding,
                                       const std::vector<uint64>& vSeam, const std::vector<uint64>& vCrossed) const {
    const std::vector<uint64> vOwn = coarseCodesOf(vHolding);
    std::vector<RCDPoint> vFilled;
    for (const uint64 rcd : difference(vCrossed, vOwn))
        vFilled.emplace_back(rcd, calc.getCellCenter(calc.rcdToCcd(rcd)));
    const GapCloser closer(calc, 1, true);
    closer.tightenFilling(coarseCodesOf(vSeam), entriesOf(vOwn, vPoints), vFilled);
    closer.peelFilling(vOwn, bridges.find(component, codesOf(vFilled)), vFilled);
    std::vector<uint64> vChosen = codesOf(vFilled);
    if (bLeaveBases) leaveBases(entriesOf(vOwn, vPoints), calc.getCellSize(), vChosen);
    for (int i = 0; i < alongLevel; ++i) widenAmong(vCrossed, vChosen);
    for (int i = 0; i < toAllSides; ++i) addBeside(vChosen);
    return vChosen;
}

}  // namespace QUOR_ZEF
