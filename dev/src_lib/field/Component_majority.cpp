#include <algorithm>
#include <functional>
#include <numeric>
#include <queue>

#include "field/Component.h"
#include "frame/Run.h"
#include "frame/tools.h"
#include "parallel/parallelTransform.h"

namespace QUOR_ZEF {

namespace {

constexpr std::uint32_t npos = FacetIndex::npos;
constexpr double fullWeight = 10.0;

}  // namespace

void Component::gatherCubeNeighbours(const std::vector<Facet*>& vList, int lowerIndex, int upperIndex) {
    constexpr std::size_t minChunk = 1000;
    cube.vRowOfFacet.assign(vVisibleFacets.size(), npos);
    for (std::size_t i = 0; i < vList.size(); ++i) cube.vRowOfFacet[numberOf(vList[i])] = static_cast<std::uint32_t>(i);
    cube.vCounts.assign(vList.size(), {});
    cube.vFirst.assign(vList.size() + 1, 0);
    cube.vBeside.assign(vVisibleFacets.size(), 0);
    const auto vParts = parallelChunkResults<std::vector<std::uint32_t>>(
        vList.size(), minChunk, [&](std::size_t begin, std::size_t end) {
            std::vector<std::uint32_t> vRows;
            for (std::size_t i = begin; i < end; ++i) {
                const std::size_t oldSize = vRows.size();
                for (std::size_t edge = 0; edge < 4; ++edge) {
                    const int label = edgeNeighbour(vList[i], edge).component;
                    if (label == lowerIndex || label == upperIndex) cube.vBeside[numberOf(vList[i])] = 1;
                }
                facetIndex.forEachAround(vList[i]->rcd, false, [&](std::uint32_t cell) {
                    if (!facetIndex.isExposed(cell, vList[i]->dir)) return;
                    const std::uint32_t number = facetIndex.facetOf(cell, vList[i]->dir);
                    const int label = vVisibleFacets[number].component;
                    cube.vCounts[i][0] = static_cast<std::uint8_t>(cube.vCounts[i][0] + (label == lowerIndex));
                    cube.vCounts[i][1] = static_cast<std::uint8_t>(cube.vCounts[i][1] + (label == upperIndex));
                    if (cube.vRowOfFacet[number] != npos) vRows.push_back(cube.vRowOfFacet[number]);
                });
                cube.vFirst[i + 1] = static_cast<std::uint32_t>(vRows.size() - oldSize);
            }
            return vRows;
        });
    std::partial_sum(cube.vFirst.begin(), cube.vFirst.end(), cube.vFirst.begin());
    cube.vRows.reserve(cube.vFirst.back());
    for (const auto& vPart : vParts) cube.vRows.insert(cube.vRows.end(), vPart.begin(), vPart.end());
}

void Component::assignSide(Facet* pFacet, const std::array<int, 2>& labels, std::size_t side) {
    pFacet->component = labels[side];
    if (cube.vRowOfFacet.empty()) return;
    for (std::size_t edge = 0; edge < 4; ++edge) cube.vBeside[numberOf(&edgeNeighbour(pFacet, edge))] = 1;
    const std::uint32_t row = cube.vRowOfFacet[numberOf(pFacet)];
    for (std::uint32_t i = cube.vFirst[row]; i < cube.vFirst[row + 1]; ++i) ++cube.vCounts[cube.vRows[i]][side];
}

// Sweeps over the unlabelled facets of a list, in its order. What a sweep does with a facet goes by
// its counts alone, so after the first sweep only those facets get a turn whose counts have
// changed since their last one. Facets that see no label are deferred: they come last, if at all.
class Component::MajoritySweeps {
public:
    MajoritySweeps(Component& ofComponent, const std::array<int, 2>& givenLabels, int givenMinCount, bool bGivenResolve)
        : component(ofComponent),
          labels(givenLabels),
          minCount(givenMinCount),
          bResolve(bGivenResolve),
          vRank(ofComponent.cube.vCounts.size(), npos),
          vWaiting(vRank.size()) {}

    // Both return the number of facets labelled.
    int first(const std::vector<Facet*>& vList);
    int next(bool bGivenWithDeferred);
    std::size_t numKept() const { return numNotDeferred; }
    // What isn't labelled, deferred ones last.
    void getList(std::vector<Facet*>& vList) const;

private:
    static constexpr std::uint32_t firstDeferred = 1u << 31;
    static constexpr int none = -1;

    std::uint32_t rowOf(const Facet* pFacet) const { return component.cube.vRowOfFacet[component.numberOf(pFacet)]; }
    bool seesNone(std::uint32_t row) const {
        return component.cube.vCounts[row][0] == 0 && component.cube.vCounts[row][1] == 0;
    }
    int sideFor(std::uint32_t row) const;
    void assign(std::uint32_t row, int side);
    void noteChange(std::uint32_t row);
    void enter(std::uint32_t row);

    Component& component;
    const std::array<int, 2> labels;
    const int minCount;
    const bool bResolve;
    std::vector<Facet*> vFacets;        // by row
    std::vector<std::uint32_t> vRank;   // by row, its place in the order; npos if it isn't in the list
    std::vector<bool> vWaiting;         // by row, true if it is to have a turn
    std::vector<std::uint32_t> vLater;  // rows to have one in another sweep
    std::priority_queue<std::pair<std::uint32_t, std::uint32_t>, std::vector<std::pair<std::uint32_t, std::uint32_t>>,
                        std::greater<>>
        turns;                 // rank and row of those in this sweep
    std::int64_t latest = -1;  // rank of the latest turn
    std::uint32_t nextRank = 0;
    std::size_t numNotDeferred = 0;
    bool bWithDeferred = false;
};

// The side whose label the row gets as things stand, none if it stays.
int Component::MajoritySweeps::sideFor(std::uint32_t row) const {
    const auto [numLower, numUpper] = component.cube.vCounts[row];
    const bool bUpper = numUpper > numLower || (numUpper == numLower && labels[1] < labels[0]);
    const int bestCount = bUpper ? numUpper : numLower;
    ASSEX(bestCount!=-1);
    const bool bBoth = numLower > 0 && numUpper > 0;
    const int needed = bBoth ? std::max(minCount, 2) : minCount;
    return (bBoth && !bResolve) || bestCount < needed ? none : int{bUpper};
}

void Component::MajoritySweeps::assign(std::uint32_t row, int side) {
    component.assignSide(vFacets[row], labels, static_cast<std::size_t>(side));
    vRank[row] = npos;
    const CubeNeighbours& around = component.cube;
    for (std::uint32_t i = around.vFirst[row]; i < around.vFirst[row + 1]; ++i) noteChange(around.vRows[i]);
}

void Component::MajoritySweeps::noteChange(std::uint32_t row) {
    if (vRank[row] == npos || vWaiting[row]) return;
    vWaiting[row] = true;
    enter(row);
}

// A row that comes later in this sweep gets its turn there.
void Component::MajoritySweeps::enter(std::uint32_t row) {
    const bool bLeftOut = vRank[row] >= firstDeferred && !bWithDeferred;
    if (bLeftOut || vRank[row] <= latest) {
        vLater.push_back(row);
    } else {
        turns.emplace(vRank[row], row);
    }
}

int Component::MajoritySweeps::first(const std::vector<Facet*>& vList) {
    vFacets.assign(vRank.size(), nullptr);
    for (Facet* const pFacet : vList) {
        if (pFacet->component == labels[0] || pFacet->component == labels[1]) continue;
        vFacets[rowOf(pFacet)] = pFacet;
        vRank[rowOf(pFacet)] = nextRank++;
        vWaiting[rowOf(pFacet)] = true;
    }
    int numAssigned = 0;
    for (Facet* const pFacet : vList) {
        const std::uint32_t row = rowOf(pFacet);
        if (vRank[row] == npos) continue;
        vWaiting[row] = false;
        latest = vRank[row];
        const int side = seesNone(row) ? none : sideFor(row);
        if (seesNone(row)) {
            vRank[row] += firstDeferred;
        } else if (side == none) {
            ++numNotDeferred;
        } else {
            assign(row, side);
            ++numAssigned;
        }
    }
    return numAssigned;
}

int Component::MajoritySweeps::next(bool bGivenWithDeferred) {
    bWithDeferred = bGivenWithDeferred;
    latest = -1;
    std::vector<std::uint32_t> vRows;
    vRows.swap(vLater);
    for (const std::uint32_t row : vRows) enter(row);
    int numAssigned = 0;
    while (!turns.empty()) {
        const auto [rank, row] = turns.top();
        turns.pop();
        vWaiting[row] = false;
        latest = rank;
        const bool bWasDeferred = rank >= firstDeferred;
        const int side = sideFor(row);
        if (side != none) {
            numNotDeferred -= !bWasDeferred;
            assign(row, side);
            ++numAssigned;
        } else if (bWasDeferred) {
            vRank[row] = nextRank++;
            ++numNotDeferred;
        }
    }
    return numAssigned;
}

void Component::MajoritySweeps::getList(std::vector<Facet*>& vList) const {
    // No rank is there twice.
    std::vector<Facet*> vKept(nextRank), vDeferred(nextRank);
    for (std::uint32_t row = 0; row < vRank.size(); ++row) {
        if (vRank[row] == npos) continue;
        (vRank[row] < firstDeferred ? vKept[vRank[row]] : vDeferred[vRank[row] - firstDeferred]) = vFacets[row];
    }
    vList.clear();
    for (const std::vector<Facet*>* const pv : {&vKept, &vDeferred}) {
        std::copy_if(pv->begin(), pv->end(), std::back_inserter(vList), [](const Facet* p) { return p != nullptr; });
    }
}

void Component::cc_colorize_27(std::vector<Facet*>& vList, int lowerIndex, int upperIndex, int minCount,
                               bool bResolve) {
    if (cube.vRowOfFacet.empty()) gatherCubeNeighbours(vList, lowerIndex, upperIndex);
    // The older entries end sweeping by how much is left in all; else what lies elsewhere has no say.
    const bool bByNumbers = getRun() == nullptr;
    for (;;) {
        MajoritySweeps sweeps(*this, {lowerIndex, upperIndex}, minCount, bResolve);
        int n = sweeps.first(vList);
        auto r = static_cast<int64>(sweeps.numKept());
        while (n != 0 && (!bByNumbers || minCount < 5 || r < 100001 || r / n < 20001)) {
            n = sweeps.next(!bByNumbers || r < 2000 || r / n >= 1001);
            r = static_cast<int64>(sweeps.numKept());
        }
        // Sweeping a long list for few facets costs more than a front along their edges.
        sweeps.getList(vList);
        const int m = cc_colorize_w(vList, lowerIndex, upperIndex, fullWeight);
        if (m == 0) return;
        if (bByNumbers && minCount > 5 && r > 100000 && r / m > 50000) return;
    }
}

}  // namespace QUOR_ZEF
