#include "gaps/GapCloser.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <memory>

#include "field/Component.h"
#include "frame/Run.h"
#include "gaps/Bridges.h"
#include "gaps/Filler.h"
#include "gaps/GrowthChoice.h"
#include "gaps/smallHoles.h"
#include "grid/Calc.h"
#include "grid/CellBlocks.h"
#include "grid/RemoveDecider_RCD.h"
#include "grid/codeSets.h"
#include "parallel/joinedChunks.h"
#include "parallel/parallelTransform.h"
#include "parallel/sortMT.h"
#include "store/CodeMap.h"

namespace QUOR_ZEF {

namespace {

// Corners farther off the zero level decide about one cell in a hundred, and
// no more or fewer gaps close, for a third of the time and half of the memory.
constexpr int maxSourceSteps = 4;
constexpr std::size_t minGapCells = 2'000;                 // cells
constexpr std::size_t smallPocket = 26, maxPocket = 5000;  // cells
// Of the faces around a larger pocket. A dome over a flat or bent piece of surface has half of
// them or more; the lid on an object a quarter, unless that is flatter than an eighth of its width.
constexpr double minWall = 0.4;

// The empty cells, sorted, around those of vFilled that have a cell of the seam beside them.
std::vector<uint64> emptyAtSeam(const std::vector<RCDPoint>& vFilled, const std::vector<uint64>& vSeam,
                                const CellBlocks_RCD& all, const Calc& calc) {
    const CellBlocks_RCD seam(vSeam);
    std::vector<uint64> vEmpty =
        joinedChunks<uint64>(vFilled.size(), minGapCells, [&](std::size_t begin, std::size_t end) {
            std::vector<uint64> v;
            uint64 around[26];
            for (std::size_t i = begin; i < end; ++i) {
                if (!(seam.maskListed27(vFilled[i].first) & ~blockCentreBit)) continue;
                calc.completeArray26_RCD(vFilled[i].first, around);
                std::copy_if(std::begin(around), std::end(around), std::back_inserter(v),
                             [&](uint64 rcd) { return !all.contains(rcd); });
            }
            return v;
        });
    sortUniqueMT(vEmpty);
    return vEmpty;
}

// Those of the empty cells that alone would part the empty cells around them. Of such cells beside
// each other, as in a row through the surface, those with the most cells at their faces.
std::vector<uint64> findPlugs(const std::vector<uint64>& vEmpty, const CellBlocks_RCD& all, const Calc& calc) {
    using Parting = std::pair<uint64, int>;  // with the number of cells at its faces
    const std::vector<Parting> vParting =
        joinedChunks<Parting>(vEmpty.size(), minGapCells, [&](std::size_t begin, std::size_t end) {
            std::vector<Parting> v;
            for (std::size_t i = begin; i < end; ++i) {
                const std::uint32_t mask = all.mask27(vEmpty[i]);
                if (isCriticalBlock(mask)) v.emplace_back(vEmpty[i], countCells(mask & blockFaces));
            }
            return v;
        });
    return joinedChunks<uint64>(vParting.size(), minGapCells, [&](std::size_t begin, std::size_t end) {
        std::vector<uint64> v;
        uint64 around[26];
        for (std::size_t i = begin; i < end; ++i) {
            calc.completeArray26_RCD(vParting[i].first, around);
            const bool bBest = std::none_of(std::begin(around), std::end(around), [&](uint64 neighbour) {
                const auto it = findCode(vParting, neighbour);
                return it != vParting.end() && it->second > vParting[i].second;
            });
            if (bBest) v.push_back(vParting[i].first);
        }
        return v;
    });
}

// Blocks without a cell, of which so many hang together that no pocket holds them all. To reach one is to be
// in the open, long before a flood is too large.
class OpenBlocks {
public:
    explicit OpenBlocks(const CellBlocks_RCD& allCells) : all(allCells) {}

    bool contain(uint64 rcd) {
        if (all.hasBlockOf(rcd)) return false;
        const uint64 first = PackedLayout::keyOf(rcd);
        const std::uint32_t known = openness.find(first);
        return known != CodeMap::npos ? known == 1 : lookAround(first);
    }

private:
    bool lookAround(uint64 first) {
        constexpr std::size_t enough = maxPocket / PackedLayout::blockSize + 1;
        std::vector<uint64> vBlocks = {first};
        for (std::size_t i = 0; i < vBlocks.size() && vBlocks.size() < enough; ++i) {
            for (const uint64 step : {8 * stepX_RCD, 8 * stepY_RCD, 8 * stepZ_RCD}) {
                for (const uint64 beside : {vBlocks[i] - step, vBlocks[i] + step}) {
                    if (all.hasBlockOf(beside) || std::count(vBlocks.begin(), vBlocks.end(), beside) > 0) continue;
                    vBlocks.push_back(beside);
                }
            }
        }
        const bool bOpen = vBlocks.size() >= enough;
        for (const uint64 block : vBlocks) openness.insert(block, bOpen);
        return bOpen;
    }

    const CellBlocks_RCD& all;
    CodeMap openness;  // 1 or 0, of the blocks without a cell that were met
};

// Finds the empty cells from which face steps over empty cells lead nowhere else.
class Pockets {
public:
    // Refers to the cells that are not empty.
    explicit Pockets(const CellBlocks_RCD& allCells) : all(allCells), open(allCells) {}

    // The pocket with this empty cell; empty if it is open or large, or its cell was met before.
    const std::vector<uint64>& take(uint64 rcd) {
        vFlood.clear();
        if (floods.find(rcd) != CodeMap::npos) return vFlood;
        ++flood;
        enter(rcd);
        for (std::size_t i = 0; i < vFlood.size(); ++i) {
            if (!enterAround(vFlood[i])) vFlood.clear();
        }
        return vFlood;
    }

private:
    // False if the flood is known to be open; only cells of open floods are met again.
    bool enter(uint64 rcd) {
        if (all.contains(rcd)) return true;
        const std::size_t numBefore = floods.size();
        if (floods.insert(rcd, flood) != flood) return false;
        if (floods.size() > numBefore) vFlood.push_back(rcd);
        return vFlood.size() <= maxPocket && !open.contain(rcd);
    }
    bool enterAround(uint64 rcd) {
        for (const uint64 step : {stepX_RCD, stepY_RCD, stepZ_RCD}) {
            if (!enter(rcd - step) || !enter(rcd + step)) return false;
        }
        return true;
    }

    const CellBlocks_RCD& all;
    OpenBlocks open;
    CodeMap floods;  // of the empty cells met
    std::uint32_t flood = 0;
    std::vector<uint64> vFlood;
};

// Which part of the faces around the cells of a pocket belongs to the filling.
double filledShare(const std::vector<uint64>& vPocket, const CellBlocks_RCD& all, const CellBlocks_RCD& filled) {
    int numFaces = 0, numFilled = 0;
    for (const uint64 rcd : vPocket) {
        for (const uint64 step : {stepX_RCD, stepY_RCD, stepZ_RCD}) {
            for (const uint64 beside : {rcd - step, rcd + step}) {
                numFaces += all.contains(beside);
                numFilled += filled.contains(beside);
            }
        }
    }
    return static_cast<double>(numFilled) / numFaces;
}

// The cells of the empty pockets at the filling that are small or walled in by it, sorted. Parts of the filling
// that see the same pocket all find it.
std::vector<uint64> emptyPockets(const std::vector<RCDPoint>& vFilled, const CellBlocks_RCD& all) {
    const CellBlocks_RCD filled(codesOf(vFilled));
    std::vector<uint64> vEnclosed =
        joinedChunks<uint64>(vFilled.size(), minGapCells, [&](std::size_t begin, std::size_t end) {
            Pockets pockets(all);
            std::vector<uint64> v;
            for (std::size_t i = begin; i < end; ++i) {
                pollRun(i);
                for (const uint64 step : {stepX_RCD, stepY_RCD, stepZ_RCD}) {
                    for (const uint64 rcd : {vFilled[i].first - step, vFilled[i].first + step}) {
                        if (all.contains(rcd)) continue;
                        const std::vector<uint64>& vPocket = pockets.take(rcd);
                        if (vPocket.size() > smallPocket && filledShare(vPocket, all, filled) < minWall) continue;
                        v.insert(v.end(), vPocket.begin(), vPocket.end());
                    }
                }
            }
            return v;
        });
    sortUniqueMT(vEnclosed);
    return vEnclosed;
}

// The samples of two lists that share no cell, in the order of their cells.
std::vector<const Point3*> samplesOf(const std::vector<RCDPoint>& vCloud, const std::vector<RCDPoint>& vFilled) {
    std::vector<const Point3*> v;
    v.reserve(vCloud.size() + vFilled.size());
    auto filled = vFilled.begin();
    for (const RCDPoint& pair : vCloud) {
        for (; filled != vFilled.end() && filled->first < pair.first; ++filled) v.push_back(&filled->second);
        v.push_back(&pair.second);
    }
    for (; filled != vFilled.end(); ++filled) v.push_back(&filled->second);
    return v;
}

// Tells where cells of others than a Component lie, by blocks that growth cannot cross.
class OtherComponents {
public:
    explicit OtherComponents(const Filler& filler) {
        for (const auto& pComponent : filler.vComponents) {
            const auto id = static_cast<std::uint32_t>(pComponent->id);
            for (const uint64 rcd : pComponent->vCellRCD)
                if (owners.insert(rcd & ~inBlock, id) != id) shared.insert(rcd & ~inBlock, id);
        }
    }

    // Any number of threads may ask.
    bool areNear(uint64 rcd, int id) const {
        const uint64 first = (rcd & ~inBlock) - side * (stepX_RCD + stepY_RCD + stepZ_RCD);
        for (uint64 i = 0; i < 27; ++i) {
            const uint64 block = first + side * (i / 9 * stepX_RCD + i / 3 % 3 * stepY_RCD + i % 3 * stepZ_RCD);
            const std::uint32_t owner = owners.find(block);
            if (owner == CodeMap::npos) continue;
            if (owner != static_cast<std::uint32_t>(id) || shared.find(block) != CodeMap::npos) return true;
        }
        return false;
    }

private:
    static constexpr uint64 side = 64;  // cells
    static constexpr uint64 inBlock = (side - 1) * (stepX_RCD + stepY_RCD + stepZ_RCD);
    CodeMap owners, shared;  // by the code of the lowest cell
};

// The mean of the samples in the 26 cells around a cell, moved into it. vSamples: of the cells.
Point3 meanAround(uint64 rcd, const CellBlocks_RCD& cells, const std::vector<const Point3*>& vSamples,
                  const Calc& calc) {
    uint64 around[26];
    calc.completeArray26_RCD(rcd, around);
    double x = 0.0, y = 0.0, z = 0.0;
    int num = 0;
    for (const uint64 neighbour : around) {
        if (!cells.contains(neighbour)) continue;
        vSamples[cells.indexOf(neighbour)]->addOwnCoords(x, y, z);
        ++num;
    }
    Point3 mean = num > 0 ? Point3(x / num, y / num, z / num) : calc.getCellCenter(calc.rcdToCcd(rcd));
    calc.adaptPointToRCD(rcd, mean);
    return mean;
}

// The thick cells that hang together with the border of a Component, sorted.
std::vector<uint64> thickAround(const Component& component, const std::vector<uint64>& vThick,
                                const CellBlocks_RCD& thick) {
    std::vector<bool> vFound(vThick.size());
    std::vector<uint64> v;
    const auto addAround = [&](uint64 rcd) {
        thick.forEachInMask(rcd, thick.mask27(rcd), [&](std::uint32_t index, int) {
            if (!vFound[index]) v.push_back(vThick[index]);
            vFound[index] = true;
        });
    };
    for (const uint64 rcd : component.vBorderRCD) addAround(rcd);
    for (std::size_t num = 0; num < v.size();) addAround(v[num++]);
    sortMT(v.begin(), v.end());
    return v;
}

// Adds cells, with samples from those around them. cells: of the cloud and the filling.
void addCells(const std::vector<uint64>& vCodes, const CellBlocks_RCD& cells, const std::vector<RCDPoint>& vCloud,
              const Calc& calc, std::vector<RCDPoint>& vFilled) {
    if (vCodes.empty()) return;
    const std::vector<const Point3*> vSamples = samplesOf(vCloud, vFilled);
    std::vector<RCDPoint> vAll = vFilled;
    parallelTransform(vCodes, vAll, [&](uint64 rcd) { return RCDPoint(rcd, meanAround(rcd, cells, vSamples, calc)); });
    sortStableByFirstMT(vAll.begin(), vAll.end());
    vFilled.swap(vAll);
}

}  // namespace

void GapCloser::closePinholes(std::vector<uint64>& vCodes, std::vector<RCDPoint>& vCloud) const {
    const CellBlocks_RCD cells(vCodes);
    std::vector<uint64> vPinholes =
        joinedChunks<uint64>(vCodes.size(), minGapCells, [&](std::size_t begin, std::size_t end) {
            std::vector<uint64> v;
            for (std::size_t i = begin; i < end; ++i) {
                for (const uint64 step : {stepX_RCD, stepY_RCD, stepZ_RCD}) {
                    for (const uint64 rcd : {vCodes[i] - step, vCodes[i] + step}) {
                        if (!cells.contains(rcd) && isPinholeBlock(cells.mask27(rcd))) v.push_back(rcd);
                    }
                }
            }
            return v;
        });
    sortUniqueMT(vPinholes);
    addCells(vPinholes, cells, {}, *pCalc, vCloud);
    vCodes = unionOf(vCodes, vPinholes);
}

void GapCloser::fillInsideBorders(std::vector<uint64> vCodes, std::vector<RCDPoint>& vCloud) const {
    std::vector<uint64> vThick = thickCellsOf(vCodes, vCloud, vCodes);
    closeSmallHoles(vCodes, vThick, vCloud);
    const std::vector<uint64> vCore = difference(vCodes, vThick);
    std::vector<uint64> vArea, vBorder, vBridges, vKept, vDoomed;
    RemoveDecider_RCD(&vCore, pCalc).classify(vArea, vBorder);
    std::vector<RCDPoint> vCorePoints = vCloud, vFilled;
    keepListed(vCore, vCorePoints);
    const CellBlocks_RCD thick(vThick);
    Filler filler(numGrowSteps, vBorder, vArea, vCorePoints, pCalc);
    filler.maxSourceSteps = maxSourceSteps;
    filler.bUneven = bUneven;
    filler.bKeepStackedApart = true;
    filler.bStepsWithinSize = true;
    filler.bStopAtRims = true;
    filler.joinPieces();
    const Bridges bridges(filler);
    limitGrowth(filler, vCloud, vThick);
    OtherComponents others(filler);
    std::vector<std::vector<uint64>> vBridgesOf(filler.vComponents.size());
    // Where others are near, what would fill gaps of one must hold by itself: else it may hang on to theirs.
    filler.adapt = [&](const Component& component, std::vector<RCDPoint>& vZero) {
        std::vector<uint64>& vOwnBridges = vBridgesOf[static_cast<std::size_t>(component.id)];
        vOwnBridges = bridges.find(component, codesOf(vZero));
        std::vector<RCDPoint> vFar = vZero;
        std::erase_if(vFar, [&](const RCDPoint& pair) { return others.areNear(pair.first, component.id); });
        if (vFar.size() == vZero.size()) return;
        const std::vector<uint64> vOwnThick = thickAround(component, vThick, thick);
        const std::vector<uint64> vOwn = unionOf(component.vCellRCD, vOwnThick);
        keepListed(vOwn, vZero, false);
        tightenFilling(unionOf(component.vBorderRCD, vOwnThick), entriesOf(vOwn, vCloud), vZero);
        peelFilling(vOwn, vOwnBridges, vZero);
        std::erase_if(vZero, [&](const RCDPoint& pair) { return !others.areNear(pair.first, component.id); });
        vZero.insert(vZero.end(), vFar.begin(), vFar.end());
        sortStableByFirstMT(vZero.begin(), vZero.end());
    };
    beforeGrowth();
    filler.growComponents(vFilled);
    for (const std::vector<uint64>& v : vBridgesOf) vBridges.insert(vBridges.end(), v.begin(), v.end());
    sortUniqueMT(vBridges);
    keepListed(vCodes, vFilled, false);
    tightenFilling(unionOf(vBorder, vThick), vCloud, vFilled);
    peelFilling(vCodes, vBridges, vFilled);

    const std::vector<uint64> vAll = unionOf(vCodes, codesOf(vFilled));
    RemoveDecider_RCD(&vAll, pCalc).pruneLayered(vCloud, vThick, vKept, vDoomed, false, false, 0);
    keepListed(vDoomed, vCloud, false);
    vCloud.insert(vCloud.end(), vFilled.begin(), vFilled.end());
}

// Where the object stood or was cut off stays open: there is no surface to be found.
void GapCloser::growFar(std::vector<RCDPoint>& vCloud) const {
    constexpr int farSteps = 60;
    if (numGrowSteps >= farSteps) return;
    sortStableByFirstMT(vCloud.begin(), vCloud.end());
    const std::vector<uint64> vCodes = codesOf(vCloud);
    std::vector<uint64> vArea, vBorder;
    RemoveDecider_RCD(&vCodes, pCalc).classify(vArea, vBorder);
    if (vBorder.empty()) return;
    GapCloser far = *this;
    far.numGrowSteps = farSteps;
    far.bLeaveBases = true;
    far.beforeGrowth = [] {};
    far.fillInsideBorders(vCodes, vCloud);
}

// Large fields grow on after some steps only where that closes something.
void GapCloser::limitGrowth(Filler& filler, const std::vector<RCDPoint>& vCloud,
                            const std::vector<uint64>& vThick) const {
    constexpr int numFreeSteps = 4;
    if (numGrowSteps <= numFreeSteps || !GrowthChoice::isPossible(*pCalc)) return;
    filler.numFreeSteps = numFreeSteps;
    const auto pChoice = std::make_shared<GrowthChoice>(filler, vCloud, bLeaveBases);
    const auto pThick = std::make_shared<CellBlocks_RCD>(vThick);
    filler.chooseGrowth = [&vThick, pChoice, pThick](const Component& component, const std::vector<uint64>& vCrossed) {
        const std::vector<uint64> vOwnThick = thickAround(component, vThick, *pThick);
        return pChoice->find(component, unionOf(component.vCellRCD, vOwnThick),
                             unionOf(component.vBorderRCD, vOwnThick), vCrossed);
    };
}

// Those of the candidates without which rims are a cell wide.
std::vector<uint64> GapCloser::thickCellsOf(const std::vector<uint64>& vCodes, const std::vector<RCDPoint>& vCloud,
                                            const std::vector<uint64>& vCandidates) const {
    constexpr int untilNothingGoes = std::numeric_limits<int>::max();
    std::vector<uint64> vKept, vThick;
    RemoveDecider_RCD(&vCodes, pCalc).pruneLayered(vCloud, vCandidates, vKept, vThick, false, false, untilNothingGoes);
    return vThick;
}

// Cells that seemed to make a rim thick can be what closes the hole together with others.
void GapCloser::closeSmallHoles(std::vector<uint64>& vCodes, std::vector<uint64>& vThick,
                                std::vector<RCDPoint>& vCloud) const {
    const auto mostCells = std::min(widestSmallHole, 2 * static_cast<std::uint32_t>(numGrowSteps));
    const std::vector<uint64> vCore = difference(vCodes, vThick);
    std::vector<uint64> vArea, vBorder;
    RemoveDecider_RCD(&vCore, pCalc).classify(vArea, vBorder);
    std::vector<RCDPoint> vFilled = crossSmallHoles(vBorder, vCloud, *pCalc, mostCells);
    tightenFilling(unionOf(vBorder, vThick), vCloud, vFilled);
    peelFilling(vCodes, {}, vFilled);
    if (vFilled.empty()) return;
    vCodes = unionOf(vCodes, codesOf(vFilled));
    vCloud.insert(vCloud.end(), vFilled.begin(), vFilled.end());
    sortStableByFirstMT(vCloud.begin(), vCloud.end());
    vThick = thickCellsOf(vCodes, vCloud, vThick);
}

// What has no surface all round goes, down to the cells that hold it. Those are the ones
// around the same gap: others would also hold what hangs in the open where it happens to reach them.
void GapCloser::peelFilling(const std::vector<uint64>& vCells, const std::vector<uint64>& vBridges,
                            std::vector<RCDPoint>& vFilled) const {
    const std::vector<uint64> vCandidates = codesOf(vFilled), vAll = unionOf(vCells, vCandidates);
    RemoveDecider_RCD decider(&vAll, pCalc);
    std::vector<uint64> vKept, vDoomed;
    decider.prune(vFilled, intersection(vCandidates, vBridges), vKept, vDoomed, false, false);
    decider.prune(vFilled, difference(vCandidates, vBridges), vKept, vDoomed, true, false);
    keepListed(vDoomed, vFilled, false);
}

// Where the filling meets the cloud its surface can leave out a single cell, and peeling would go
// on from there. Around an empty pocket it would stay two cells thick.
void GapCloser::tightenFilling(const std::vector<uint64>& vSeam, const std::vector<RCDPoint>& vCloud,
                               std::vector<RCDPoint>& vRCD2ZeroPoint) const {
    const std::vector<uint64> vAll = unionOf(codesOf(vCloud), codesOf(vRCD2ZeroPoint));
    const CellBlocks_RCD all(vAll);
    std::vector<uint64> vAdded = findPlugs(emptyAtSeam(vRCD2ZeroPoint, vSeam, all, *pCalc), all, *pCalc);
    const std::vector<uint64> vPockets = emptyPockets(vRCD2ZeroPoint, CellBlocks_RCD(unionOf(vAll, vAdded)));
    vAdded.insert(vAdded.end(), vPockets.begin(), vPockets.end());
    addCells(vAdded, all, vCloud, *pCalc, vRCD2ZeroPoint);
}

}  // namespace QUOR_ZEF
