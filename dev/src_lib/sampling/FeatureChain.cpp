#include "sampling/FeatureChain.h"

#include <algorithm>
#include <cstdint>

#include "frame/Run.h"
#include "frame/tools.h"
#include "geometry/freeFunctions.h"
#include "parallel/sortMT.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t noEdge = ~std::size_t{0};

Vector3 directionOf(const FeatureRecord& record) {
    return normalize(*record.pTrg - *record.pSrc);
}

// Border edges join border edges only.
bool mayFollow(double ownValue, double otherValue) {
    constexpr double mostDegrees = 360.0;
    if (otherValue > mostDegrees && !(ownValue > mostDegrees)) return false;
    return !(otherValue < mostDegrees) || !(ownValue > mostDegrees);
}

}  // namespace

FeatureChains::FeatureChains(const std::vector<FeatureRecord>& vRecords) {
    vEdges.reserve(vRecords.size());
    for (const FeatureRecord& record : vRecords) vEdges.push_back({record});
    sortEnds();
    vOrder.reserve(vEdges.size());
    for (std::size_t i = vEdges.size(); i-- > 0;) {
        if (!vEdges[i].bChained) makeChain(i);
    }
    std::stable_sort(vChains.begin(), vChains.end(),
                     [](const FeatureChain& a, const FeatureChain& b) { return a.value < b.value; });
}

void FeatureChains::rewrite(std::vector<FeatureRecord>& vRecords) const {
    vRecords.clear();
    vRecords.reserve(vOrder.size());
    for (const FeatureChain& chain : vChains) {
        for (std::size_t i = chain.first; i < chain.first + chain.num; ++i) {
            vRecords.push_back(vEdges[vOrder[i]].record);
        }
    }
}

void FeatureChains::sortEnds() {
    const auto numberOf = [](const Point3* p) { return static_cast<uint64>(reinterpret_cast<std::uintptr_t>(p)); };
    vEnds.reserve(2 * vEdges.size());
    for (const FeatureEdge& edge : vEdges) {
        vEnds.emplace_back(numberOf(edge.record.pSrc), vEnds.size());
        vEnds.emplace_back(numberOf(edge.record.pTrg), vEnds.size());
    }
    sortStableByFirstMT(vEnds.begin(), vEnds.end());
    vFirst.resize(vEnds.size());
    std::size_t first = 0;
    for (std::size_t i = 0; i < vEnds.size(); ++i) {
        if (vEnds[i].first != vEnds[first].first) first = i;
        vFirst[vEnds[i].second] = first;
    }
}

std::span<const FeatureChains::End> FeatureChains::endsAt(std::size_t edge, bool bTarget) const {
    const std::size_t slot = 2 * edge + (bTarget != vEdges[edge].bSwapped ? 1 : 0);
    const std::size_t first = vFirst[slot];
    std::size_t last = first;
    while (last < vEnds.size() && vEnds[last].first == vEnds[first].first) ++last;
    return std::span(vEnds).subspan(first, last - first);
}

void FeatureChains::makeChain(std::size_t seed) {
    vEdges[seed].bChained = true;
    std::vector<std::size_t> vRun{seed};
    while (growBack(vRun)) {
    }
    // From here on the first edge of the chain is the last of the run.
    std::reverse(vRun.begin(), vRun.end());
    while (growFront(vRun)) {
    }
    std::reverse(vRun.begin(), vRun.end());
    double sum = 0.0;
    for (const std::size_t edge : vRun) sum += vEdges[edge].record.value;
    vChains.push_back({vOrder.size(), vRun.size(), sum / static_cast<double>(vRun.size())});
    vOrder.insert(vOrder.end(), vRun.begin(), vRun.end());
}

// Of the edges at an end of the edge the one that bends least against it; chained
// ones count too.
std::size_t FeatureChains::straightest(std::size_t edge, bool bBack) const {
    constexpr double mostBend = 60.0;            // degrees
    constexpr double surelyMoreThanBend = 0.49;  // a smaller cosine
    constexpr std::size_t crowd = 256;
    const FeatureRecord& own = vEdges[edge].record;
    const Point3* const q = bBack ? own.pTrg : own.pSrc;
    const Vector3 direction = directionOf(own);
    const auto ends = endsAt(edge, bBack);
    // Where so many meet there is no crease to follow.
    if (getRun() && ends.size() > crowd) return noEdge;
    std::size_t best = noEdge;
    double bestAngle = 361.0;
    for (const auto& [point, slot] : ends) {
        const std::size_t other = slot / 2;
        const FeatureRecord& candidate = vEdges[other].record;
        if (other == edge || !mayFollow(own.value, candidate.value)) continue;
        Vector3 along = directionOf(candidate);
        if ((bBack ? candidate.pSrc : candidate.pTrg) != q) along *= -1.0;
        if (direction * along < surelyMoreThanBend) continue;
        const double angle = getAngleDeg(direction, along);
        if (angle > mostBend || !(angle < bestAngle)) continue;
        best = other;
        bestAngle = angle;
    }
    return best;
}

void FeatureChains::join(std::size_t next, bool bSwap, std::vector<std::size_t>& vRun) {
    FeatureEdge& edge = vEdges[next];
    if (bSwap) std::swap(edge.record.pSrc, edge.record.pTrg);
    edge.bSwapped = bSwap;
    edge.bChained = true;
    vRun.push_back(next);
}

bool FeatureChains::growBack(std::vector<std::size_t>& vRun) {
    const FeatureRecord* const pPrevFE = &vEdges[vRun.back()].record;
    const std::size_t next = straightest(vRun.back(), true);
    if (next == noEdge || vEdges[next].bChained) return false;
    join(next, vEdges[next].record.pSrc != pPrevFE->pTrg, vRun);
    const Point3* const q = vEdges[next].record.pSrc;
    ASSEX(pPrevFE->pTrg==q);
    return true;
}

bool FeatureChains::growFront(std::vector<std::size_t>& vRun) {
    const FeatureRecord* const pNextFE = &vEdges[vRun.back()].record;
    const std::size_t previous = straightest(vRun.back(), false);
    if (previous == noEdge || vEdges[previous].bChained) return false;
    join(previous, vEdges[previous].record.pTrg != pNextFE->pSrc, vRun);
    const Point3* const q = vEdges[previous].record.pTrg;
    ASSEX(pNextFE->pSrc==q);
    return true;
}

}  // namespace QUOR_ZEF
