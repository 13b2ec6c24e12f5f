#include <algorithm>
#include <cmath>
#include <numeric>

#include "field/Component.h"
#include "frame/Run.h"
#include "frame/tools.h"
#include "geometry/freeFunctions.h"
#include "geometry/symmetricEigen.h"
#include "grid/cellTopology.h"
#include "parallel/parallelTransform.h"
#include "zef/Vector3.h"

namespace QUOR_ZEF {

namespace {

constexpr int firstGroup = 2;
constexpr double firmWeight = 10.0;  // of an edge to a labelled facet that counts in full
constexpr double noNormal = -1.0;

// Places in a list by falling weight, equal weights in the order of their entry.
class WeightQueue {
public:
    struct Entry {
        double weight;
        std::size_t sequence;
        std::size_t place;
    };

    void push(double weight, std::size_t place) {
        vHeap.push_back({weight, nextSequence++, place});
        std::push_heap(vHeap.begin(), vHeap.end(), later);
    }
    Entry pop() {
        std::pop_heap(vHeap.begin(), vHeap.end(), later);
        const Entry entry = vHeap.back();
        vHeap.pop_back();
        return entry;
    }
    bool empty() const { return vHeap.empty(); }

private:
    static bool later(const Entry& a, const Entry& b) {
        return a.weight != b.weight ? a.weight < b.weight : a.sequence > b.sequence;
    }

    std::vector<Entry> vHeap;
    std::size_t nextSequence = 0;
};

// Appends the samples in the 5x5x5 block around a cell, without its own, by ascending code.
void collectBlockSamples(const Component::CodePoints& vRCDPoint, uint64 rcd, std::vector<Point3>& vOut) {
    auto first = vRCDPoint.begin();
    for (uint64 dx = 0; dx < 5; ++dx) {
        for (uint64 dy = 0; dy < 5; ++dy) {
            const uint64 low = rcd + dx * stepX_RCD + dy * stepY_RCD - 2 * (stepX_RCD + stepY_RCD + stepZ_RCD);
            first = std::lower_bound(first, vRCDPoint.end(), low,
                                     [](const auto& sample, uint64 code) { return sample.first < code; });
            for (; first != vRCDPoint.end() && first->first <= low + 4 * stepZ_RCD; ++first) {
                if (first->first != rcd) vOut.push_back(first->second);
            }
        }
    }
}

// How far a face stands across the surface that its surroundings lie on: 5 if
// perpendicular to it, 0 if parallel; noNormal if they lie on no surface.
double acrossSurface(const Component::CodePoints& vRCDPoint, const Facet& f) {
    std::vector<Point3> vSamples;
    vSamples.reserve(124);
    collectBlockSamples(vRCDPoint, f.rcd, vSamples);
    std::vector<Point3*> vPoints(vSamples.size());
    std::transform(vSamples.begin(), vSamples.end(), vPoints.begin(), [](Point3& p) { return &p; });
    Vector3 normal;
    Point3 centroid;
    if (!estimateNNV(vPoints, normal, centroid)) return noNormal;
    const Vector3 axis(f.dir / 2 == 0 ? 1.0 : 0.0, f.dir / 2 == 1 ? 1.0 : 0.0, f.dir / 2 == 2 ? 1.0 : 0.0);
    return (1.0 - std::abs(getAngleDeg(normal, axis) - 90.0) / 90.0) * 5.0;
}

double thinWeight(int numOthers, double across) {
    if (numOthers == 0) return 0.0;
    return across != noNormal ? across : 0.5 * numOthers;
}

}  // namespace

const Facet& Component::edgeNeighbour(const Facet* pFacet, std::size_t edge) const {
    if (vEdgeNeighbours.empty()) return vVisibleFacets[facetIndex.neighbour(*pFacet, static_cast<int>(edge))];
    return vVisibleFacets[vEdgeNeighbours[numberOf(pFacet)][edge]];
}

void Component::cc_createFacets() {
    facetIndex = FacetIndex(vCellRCD);
    pollRun(0);
    vVisibleFacets.clear();
    vVisibleFacets.reserve(facetIndex.numFacets());
    auto border = vBorderRCD.begin();
    for (std::uint32_t cell = 0; cell < vCellRCD.size(); ++cell) {
        pollRun(cell);
        while (border != vBorderRCD.end() && *border < vCellRCD[cell]) ++border;
        const bool bBorder = border != vBorderRCD.end() && *border == vCellRCD[cell];
        for (int dir = 0; dir < numDirs; ++dir) {
            if (!facetIndex.isExposed(cell, dir)) continue;
            vVisibleFacets.push_back({vCellRCD[cell], dir, -1, bBorder ? FACET_STATE_BORDER : FACET_STATE_AREA});
        }
    }
}

void Component::cc_labelSides() {
    constexpr int mostFloods = 4;
    cc_createFacets();
    int endLabel = cc_createFacetComponents();
    for (int i = 1; bStopAtRims && i < mostFloods && stopAtLeaks(endLabel); ++i) {
        for (Facet& f : vVisibleFacets) f.component = -1;
        endLabel = cc_createFacetComponents();
    }
    const std::vector<std::pair<int, int>> vCountGroup = countGroups(endLabel);
    if (vCountGroup.size() < 2) {
        showDetail("vCountGroup.size()=", vCountGroup.size(), ", numRCD=", vCellRCD.size());
        for (Facet& f : vVisibleFacets) f.component = -1;
    } else {
        cc_colorizeRest(vCountGroup[0].second, vCountGroup[1].second);
        pollRun(0);
        nameSides(vCountGroup[0].second, vCountGroup[1].second);
        mendPinholes();
    }
    std::vector<std::array<std::uint32_t, 4>>().swap(vEdgeNeighbours);
}

// With their numbers of facets, which come first, the largest one first.
std::vector<std::pair<int, int>> Component::countGroups(int endLabel) const {
    pollRun(0);
    std::vector<int> vCount(static_cast<std::size_t>(endLabel), 0);
    for (const Facet& f : vVisibleFacets) {
        if (f.component >= 0) ++vCount[static_cast<std::size_t>(f.component)];
    }
    std::vector<std::pair<int, int>> vCountGroup;
    for (int label = 0; label < endLabel; ++label) {
        const int count = vCount[static_cast<std::size_t>(label)];
        if (count > 0) vCountGroup.emplace_back(count, label);
    }
    std::sort(vCountGroup.rbegin(), vCountGroup.rend());
    return vCountGroup;
}

// By facet number: the opposite facet of the same cell, if the cell is a thin wall
// between them, else FacetIndex::npos.
std::vector<std::uint32_t> Component::findThinWalls() const {
    constexpr std::size_t minChunk = 10000;
    std::vector<std::uint32_t> vThinWall(vVisibleFacets.size(), FacetIndex::npos);
    parallelChunks(vCellRCD.size(), minChunk, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            const auto cell = static_cast<std::uint32_t>(i);
            for (int dir = 0; dir < numDirs; ++dir) {
                // A solid cell behind has no opposite face.
                if (!facetIndex.isExposed(cell, dir) || !facetIndex.isExposed(cell, dir ^ 1)) continue;
                if (oppStateOfBlock(facetIndex.maskOf(cell), dir) != OS_SEPARATED) continue;
                vThinWall[facetIndex.facetOf(cell, dir)] = facetIndex.facetOf(cell, dir ^ 1);
            }
        }
    });
    return vThinWall;
}

int Component::cc_createFacetComponents() {
    if (vEdgeNeighbours.empty()) vEdgeNeighbours = facetIndex.getNeighbours(vCellRCD);
    pollRun(0);
    const std::vector<std::uint32_t> vThinWall = findThinWalls();
    std::vector<std::uint32_t> vQueue;
    int group = firstGroup;
    for (std::uint32_t i = 0; i < vVisibleFacets.size(); ++i) {
        const Facet& f = vVisibleFacets[i];
        if (f.component >= 0 || f.state == FACET_STATE_BORDER) continue;
        ASSEX(f.state==FACET_STATE_AREA);
        flood(i, group, vThinWall, vQueue);
        ++group;
    }
    return group;
}

// A cell beside a hole need not be a border cell. There a flood can run round the rim to the other side of the surface,
// before the one of that side has come, and the field would make a dent beside the hole. The cells where that has
// happened count as border cells from now on. False if there are none.
bool Component::stopAtLeaks(int endLabel) {
    const std::vector<std::pair<int, int>> vCountGroup = countGroups(endLabel);
    if (vCountGroup.size() < 2) return false;
    const std::array<int, 2> sides = {vCountGroup[0].second, vCountGroup[1].second};
    bool bFound = false;
    for (std::uint32_t cell = 0; cell < vCellRCD.size(); ++cell) {
        pollRun(cell);
        if (!isLeak(cell, sides) || !isOnSheet(vCellRCD[cell])) continue;
        bFound = true;
        for (std::uint32_t i = facetIndex.firstFacet(cell); i < facetIndex.firstFacet(cell + 1); ++i)
            vVisibleFacets[i].state = FACET_STATE_BORDER;
    }
    return bFound;
}

// Whether opposite faces of the cell have the label of one side, and such a face beside it that of the other. Where a
// wedge of a body gets as thin as a cell, its outside is on both faces by right; but the inside begins in other layers.
bool Component::isLeak(std::uint32_t cell, const std::array<int, 2>& sides) const {
    for (int dir = 0; dir < numDirs; dir += 2) {
        if (!facetIndex.isExposed(cell, dir) || !facetIndex.isExposed(cell, dir ^ 1)) continue;
        const int label = vVisibleFacets[facetIndex.facetOf(cell, dir)].component;
        if (label != vVisibleFacets[facetIndex.facetOf(cell, dir ^ 1)].component) continue;
        if (label != sides[0] && label != sides[1]) continue;
        if (hasLabelBeside(cell, dir, label == sides[0] ? sides[1] : sides[0])) return true;
    }
    return false;
}

// Among the faces that look along the direction or against it, of cells around in the same layer.
bool Component::hasLabelBeside(std::uint32_t cell, int dir, int label) const {
    const auto layerOf = [&](std::uint32_t c) {
        const GridCoords at = unpackRCD(vCellRCD[c]);
        return dir / 2 == 0 ? at.x : dir / 2 == 1 ? at.y : at.z;
    };
    bool bFound = false;
    facetIndex.forEachAround(vCellRCD[cell], false, [&](std::uint32_t beside) {
        if (layerOf(beside) != layerOf(cell)) return;
        for (const int way : {dir, dir ^ 1})
            bFound = bFound || (facetIndex.isExposed(beside, way) &&
                                vVisibleFacets[facetIndex.facetOf(beside, way)].component == label);
    });
    return bFound;
}

// Whether the cells around lie near one plane. Those of a thin rod or tube do not, and there one label may be right all
// around it.
bool Component::isOnSheet(uint64 rcd) const {
    constexpr uint64 reach = 2;
    constexpr double mostScatter = 0.3;  // squared cells across the plane
    const GridCoords at = unpackRCD(rcd);
    ProductSums sums;
    Vector3 sum;
    double num = 0.0;
    for (uint64 x = 0; x <= 2 * reach; ++x) {
        for (uint64 y = 0; y <= 2 * reach; ++y) {
            for (uint64 z = 0; z <= 2 * reach; ++z) {
                const uint64 beside = packRCD(at.x + x - reach, at.y + y - reach, at.z + z - reach);
                if (facetIndex.cellOf(beside) == FacetIndex::npos) continue;
                const Vector3 way(static_cast<double>(x), static_cast<double>(y), static_cast<double>(z));
                sums.add(way);
                sum += way;
                num += 1.0;
            }
        }
    }
    sums.centre(sum, num);
    return getEigen(sums).values[0] <= mostScatter * num;
}

// The seed gets the label only when the flood comes back to it. vQueue: scratch.
void Component::flood(std::uint32_t seed, int group, const std::vector<std::uint32_t>& vThinWall,
                      std::vector<std::uint32_t>& vQueue) {
    vQueue.assign(1, seed);
    for (std::size_t next = 0; next < vQueue.size(); ++next) {
        pollRun(next + 1);
        const Facet* const pCurFacet = &vVisibleFacets[vQueue[next]];
        ASSEX(pCurFacet->state==FACET_STATE_AREA);
        for (const std::uint32_t number : vEdgeNeighbours[vQueue[next]]) {
            Facet& n = vVisibleFacets[number];
            if (n.state != FACET_STATE_AREA || n.component >= 0 || n.component == -group) continue;
            n.component = group;
            vQueue.push_back(number);
            if (vThinWall[number] == FacetIndex::npos) continue;
            // Both faces are of one cell, so this one is interior too.
            Facet& opposite = vVisibleFacets[vThinWall[number]];
            if (opposite.component == -1) opposite.component = -group;
        }
    }
}

// The larger side, first, is the upper one unless the other has more faces up.
void Component::nameSides(int lowerIndex, int upperIndex) {
    constexpr int dirUp = 5;
    int numUpFirst = 0, numUpSecond = 0;
    for (const Facet& f : vVisibleFacets) {
        if (f.dir != dirUp) continue;
        numUpFirst += f.component == lowerIndex;
        numUpSecond += f.component == upperIndex;
    }
    const int nameOfFirst = numUpSecond > numUpFirst ? 0 : 1;
    for (Facet& f : vVisibleFacets) {
        if (f.component == lowerIndex) {
            f.component = nameOfFirst;
        } else {
            f.component = f.component == upperIndex ? 1 - nameOfFirst : -1;
        }
    }
}

// An unlabelled facet takes the label on which its labelled neighbours agree. What is
// labelled here counts for the facets behind it.
void Component::mendPinholes() {
    for (Facet& f : vVisibleFacets) {
        if (f.component != -1) continue;
        int label = -1;
        bool bAgree = true;
        for (std::size_t edge = 0; edge < 4; ++edge) {
            const int other = edgeNeighbour(&f, edge).component;
            if (other < 0) continue;
            bAgree = bAgree && (label < 0 || label == other);
            label = other;
        }
        if (bAgree) f.component = label;
    }
}

void Component::cc_colorizeRest(int lowerIndex, int upperIndex) {
    std::vector<Facet*> vList;
    for (Facet& f : vVisibleFacets) {
        if (f.component != lowerIndex && f.component != upperIndex) vList.push_back(&f);
    }
    std::vector<Facet*> vCopy = vList;
    constexpr int maxCount = 8;  // facets beside one in its plane
    for (int minCount = maxCount; minCount >= 1; --minCount) {
        cc_colorize_27(vList, lowerIndex, upperIndex, minCount, false);
    }
    for (double minWeight = firmWeight; minWeight >= 1.0; minWeight -= 1.0) {
        cc_colorize_w(vList, lowerIndex, upperIndex, minWeight);
    }
    for (int minCount = maxCount; minCount >= 1; --minCount) {
        cc_colorize_27(vList, lowerIndex, upperIndex, minCount, true);
    }
    cube = {};
    cc_makeThinBorder(vCopy);
}

std::pair<int, double> Component::cc_getWeight(const Facet* pFacet, int lowerIndex, int upperIndex) const {
    constexpr std::pair<int, double> open{-99, 0.0};
    double lower = 0.0, upper = 0.0;
    for (std::size_t edge = 0; edge < 4; ++edge) {
        const Facet& n = edgeNeighbour(pFacet, edge);
        if ((n.component != lowerIndex && n.component != upperIndex) || n.rcd == pFacet->rcd) continue;
        const bool bWeak = n.dir != pFacet->dir && n.state == FACET_STATE_BORDER;
        (n.component == lowerIndex ? lower : upper) += bWeak ? 1.0 : firmWeight;
    }
    if (lower > 0.0 && upper > 0.0 && (lower >= firmWeight) == (upper >= firmWeight)) return open;
    if (lower > upper) return {lowerIndex, lower};
    if (upper > lower) return {upperIndex, upper};
    return open;
}

int Component::cc_colorize_w(std::vector<Facet*>& vList, int lowerIndex, int upperIndex, double minWeight) {
    int numAssigned = 0;
    WeightQueue queue;
    constexpr std::size_t minChunk = 5000;
    std::vector<std::size_t> vWeightless;  // what would come last, in the order of the list
    std::vector<double> vWeights(vList.size());
    parallelChunks(vList.size(), minChunk, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            if (vList[i]->component != -1 || !mayHaveWeight(vList[i])) continue;
            vWeights[i] = cc_getWeight(vList[i], lowerIndex, upperIndex).second;
        }
    });
    for (std::size_t i = 0; i < vList.size(); ++i) {
        if (vList[i]->component != -1) continue;
        const double weight = vWeights[i];
        if (weight > 0.0) {
            queue.push(weight, i);
        } else {
            vWeightless.push_back(i);
        }
    }
    const auto visit = [&](double weight, std::size_t place) {
        const auto [componentIndexToAssign, freshWeight] = cc_getWeight(vList[place], lowerIndex, upperIndex);
        if (freshWeight == 0.0) return;
        if (weight > freshWeight) {
            queue.push(freshWeight, place);
            return;
        }
        if (freshWeight < minWeight) return;
        ASSEX(componentIndexToAssign==lowerIndex || componentIndexToAssign==upperIndex);
        ASSEX(freshWeight>0 && freshWeight<1.7976931348623158e+308);
        assignSide(vList[place], {lowerIndex, upperIndex}, componentIndexToAssign == upperIndex);
        ++numAssigned;
    };
    while (!queue.empty()) {
        const WeightQueue::Entry entry = queue.pop();
        visit(entry.weight, entry.place);
    }
    for (const std::size_t place : vWeightless)
        if (mayHaveWeight(vList[place])) visit(0.0, place);
    sortFacets(vList);
    return numAssigned;
}

// A long list is sorted by marks, in one pass over all facets.
void Component::sortFacets(std::vector<Facet*>& vList) const {
    constexpr std::size_t facetsPerListed = 50;
    if (std::is_sorted(vList.begin(), vList.end())) return;
    if (vVisibleFacets.size() > facetsPerListed * vList.size()) {
        std::sort(vList.begin(), vList.end());
        return;
    }
    std::vector<Facet*> vMarked(vVisibleFacets.size(), nullptr);
    for (Facet* const pFacet : vList) vMarked[numberOf(pFacet)] = pFacet;
    std::copy_if(vMarked.begin(), vMarked.end(), vList.begin(), [](const Facet* p) { return p != nullptr; });
}

int Component::numOtherLabels(const Facet* pFacet) const {
    if (pFacet->component < 0) return 0;
    int num = 0;
    for (std::size_t edge = 0; edge < 4; ++edge) {
        const int other = edgeNeighbour(pFacet, edge).component;
        num += other >= 0 && other != pFacet->component;
    }
    return num;
}

double Component::cc_getThinWeight(const Facet* pFacet) const {
    const int numOthers = numOtherLabels(pFacet);
    return numOthers == 0 ? 0.0 : thinWeight(numOthers, acrossSurface(*pvRemainingRCDPoint, *pFacet));
}

void Component::cc_makeThinBorder(std::vector<Facet*>& vList) {
    // Labels only go here, so nothing else will touch another one, and how a facet
    // stands to the surface doesn't change.
    std::vector<Facet*> vTouching;
    std::copy_if(vList.begin(), vList.end(), std::back_inserter(vTouching),
                 [&](const Facet* pFacet) { return numOtherLabels(pFacet) > 0; });
    std::vector<double> vAcross;
    parallelTransform(vTouching, vAcross,
                      [&](const Facet* pFacet) { return acrossSurface(*pvRemainingRCDPoint, *pFacet); });
    WeightQueue queue;
    for (std::size_t i = 0; i < vTouching.size(); ++i) {
        const double weight = thinWeight(numOtherLabels(vTouching[i]), vAcross[i]);
        if (weight > 0.0) queue.push(weight, i);
    }
    while (!queue.empty()) {
        const auto [storedWeight, sequence, place] = queue.pop();
        ASSEX(storedWeight>0);
        const double freshWeight = thinWeight(numOtherLabels(vTouching[place]), vAcross[place]);
        if (storedWeight > freshWeight) {
            if (freshWeight > 0.0) queue.push(freshWeight, place);
            continue;
        }
        ASSEX(freshWeight>0);
        vTouching[place]->component = -1;
    }
}

}  // namespace QUOR_ZEF
