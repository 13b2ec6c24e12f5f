#include <algorithm>
#include <map>

#include "cloud/Cloud.h"
#include "frame/Run.h"
#include "frame/tools.h"
#include "gaps/GapCloser.h"
#include "geometry/freeFunctions.h"
#include "grid/Calc.h"
#include "grid/RemoveDecider_RCD.h"
#include "grid/codeSets.h"
#include "parallel/parallelTransform.h"
#include "parallel/sortMT.h"

namespace QUOR_ZEF {

namespace {

bool isBefore(const RCDPoint& pair, uint64 rcd) {
    return pair.first < rcd;
}

// The cell's pair, or the end.
std::vector<RCDPoint>::const_iterator findCell(const std::vector<RCDPoint>& vRCDPoint, uint64 rcd) {
    const auto it = std::lower_bound(vRCDPoint.begin(), vRCDPoint.end(), rcd, isBefore);
    return it != vRCDPoint.end() && it->first == rcd ? it : vRCDPoint.end();
}

// The neighbours of a cell that exist, in a fixed order with z running fastest:
// their samples behind the cell's own, and their codes.
struct Wedge {
    std::vector<Point3> vAxPlusNeigs;
    std::vector<uint64> vNeigs;

    void collect(const std::vector<RCDPoint>& vRCDPoint, const Calc& calc, const RCDPoint& cell) {
        vAxPlusNeigs.assign(1, cell.second);
        vNeigs.clear();
        uint64 around[26];
        calc.completeArray26_RCD(cell.first, around);
        for (const uint64 rcd : around) {
            const auto it = findCell(vRCDPoint, rcd);
            if (it == vRCDPoint.end()) continue;
            vAxPlusNeigs.push_back(it->second);
            vNeigs.push_back(rcd);
        }
    }
};

}  // namespace

void Cloud::cleanPoints_RCD(std::vector<Point3>& vSamples, std::vector<RCDPoint>& vOut,
                            const std::function<void(std::size_t numCells)>& beforeFilling,
                            const std::function<void()>& beforeGrowth) {
    std::vector<RCDPoint> vRemainingRCDPoint;
    std::vector<uint64> vAllRCD;
    std::vector<uint64> vAllRmg;
    getRCD2Point(vSamples, vRemainingRCDPoint, vAllRCD);
    GapCloser gapCloser(*pCalc, numGrowSteps, choices.bKeepBorders);
    gapCloser.bUneven = foundDensity.uneven;
    gapCloser.bGrowFar = choices.bGrowFar;
    gapCloser.beforeGrowth = beforeGrowth;
    if (numGrowSteps > 0 && choices.bKeepBorders) gapCloser.closePinholes(vAllRCD, vRemainingRCDPoint);
    pruneBorders(vRemainingRCDPoint, vAllRCD, vAllRmg);
    std::vector<uint64>().swap(vAllRCD);
    keepListed(vAllRmg, vRemainingRCDPoint);
    ASSEX(vAllRmg.size()==vRemainingRCDPoint.size());
    beforeFilling(vRemainingRCDPoint.size());
    if (numGrowSteps > 0) gapCloser.fillGaps(vAllRmg, vRemainingRCDPoint);
    const Calc& calc = *pCalc;
    parallelTransform(vRemainingRCDPoint, vOut,
                      [&](const RCDPoint& pair) { return RCDPoint(calc.rcdToCcd(pair.first), pair.second); });
}

void Cloud::getRCD2Point(std::vector<Point3>& vSamples, std::vector<RCDPoint>& vRCDPoint,
                         std::vector<uint64>& vAllRCDOut) {
    const Calc& calc = *pCalc;
    parallelTransform(vSamples, vRCDPoint, [&](const Point3& p) { return RCDPoint(calc.getRCD(p), p); });
    std::vector<Point3>().swap(vSamples);
    pollRun(0);
    sortStableByFirstMT(vRCDPoint.begin(), vRCDPoint.end());
    const auto end = std::unique(vRCDPoint.begin(), vRCDPoint.end(),
                                 [](const RCDPoint& a, const RCDPoint& b) { return a.first == b.first; });
    vRCDPoint.erase(end, vRCDPoint.end());
    pollRun(0);
    vAllRCDOut = codesOf(vRCDPoint);
}

void Cloud::pruneBorders(std::vector<RCDPoint>& vRCDPoint, std::vector<uint64>& vAllRCD, std::vector<uint64>& vAllRmg) {
    // With borders kept, what fills gaps takes cells off the rim for itself only.
    const int numLastPasses = numGrowSteps > 0 && !choices.bKeepBorders ? 1 : 0;
    RemoveDecider_RCD decider(&vAllRCD, pCalc.get());
    std::vector<uint64> vKept, vDoomed;
    decider.pruneLayered(vRCDPoint, vAllRCD, vKept, vDoomed, false, true, numLastPasses);
    postBorderPruning(decider, vRCDPoint);
    std::vector<uint64> vAliveRCD, vRCDoomed2;
    decider.getAlive(vAliveRCD);
    decider.pruneLayered(vRCDPoint, vAliveRCD, vAllRmg, vRCDoomed2, false, true, numLastPasses);
}

void Cloud::postBorderPruning(RemoveDecider_RCD& decider, const std::vector<RCDPoint>& vRCDPoint) {
    constexpr double wideWedge = 150.0;  // degrees
    std::vector<uint64> vArea, vBorder;
    decider.classify(vArea, vBorder);
    using CodeAndNeigs = std::pair<uint64, std::vector<uint64>>;
    const auto findWide = [&](std::size_t begin, std::size_t end) {
        std::vector<CodeAndNeigs> vWide;
        Wedge wedge;
        for (std::size_t i = begin; i < end; ++i) {
            pollRun(i);
            const uint64 rcd = vBorder[i];
            const auto it = findCell(vRCDPoint, rcd);
            ASSEX(it!=vRCDPoint.end() || it->first==rcd);
            wedge.collect(vRCDPoint, *pCalc, *it);
            if (getMedianWedge(wedge.vAxPlusNeigs) > wideWedge) vWide.emplace_back(rcd, wedge.vNeigs);
        }
        return vWide;
    };
    constexpr std::size_t minChunk = 500;
    const auto vChunks = parallelChunkResults<std::vector<CodeAndNeigs>>(vBorder.size(), minChunk, findWide);
    std::vector<uint64> vWide;  // ascending, as the border is
    for (const auto& vChunk : vChunks)
        for (const CodeAndNeigs& wide : vChunk) vWide.push_back(wide.first);
    const auto isWide = [&](uint64 rcd) { return std::binary_search(vWide.begin(), vWide.end(), rcd); };
    for (const auto& vChunk : vChunks)
        for (const auto& [rcd, vNeigs] : vChunk)
            if (std::none_of(vNeigs.begin(), vNeigs.end(), isWide)) decider.doom(rcd);
}

double Cloud::getMedianWedge(const std::vector<Point3>& vAxPlusNeigs) {
    ASSEX(!vAxPlusNeigs.empty());
    if (vAxPlusNeigs.size() < 3) return 0.0;
    const std::size_t numNeigs = vAxPlusNeigs.size() - 1;
    const auto direction = [&](std::size_t i) { return normalize(vAxPlusNeigs[i + 1] - vAxPlusNeigs[0]); };
    // The list of angles has an entry for each neighbour but the last.
    const std::size_t middle = (numNeigs - 1) / 2;
    const Vector3 v = direction(middle);
    double widest = 0.0;
    for (std::size_t i = 0; i < numNeigs; ++i) {
        if (i != middle) widest = std::max(widest, getAngleDeg(v, direction(i)));
    }
    return widest;
}

}  // namespace QUOR_ZEF
