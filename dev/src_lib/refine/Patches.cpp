#include "refine/Patches.h"

namespace QUOR_ZEF {

Patches::Patches(const std::vector<std::uint32_t>& vTriples_, const std::vector<EdgeSide>& vSides)
    : vPatch(vTriples_.size() / 3, none),
      vFlip(vTriples_.size() / 3),
      vPartner(vTriples_.size(), none),
      vTriples(vTriples_) {
    std::uint32_t first = 0;
    forEachEdge(vSides, [&](std::span<const EdgeSide> edge) {
        if (edge.size() == 2) join(edge[0].second, edge[1].second);
        if (edge.size() > 2) vManySides.push_back(first);
        first += static_cast<std::uint32_t>(edge.size());
    });
    for (std::uint32_t t = 0; t < vPatch.size(); ++t)
        if (vPatch[t] == none) flood(t, static_cast<std::uint32_t>(vSize.size()));
    floodOneSidedAgain(vSides);
    cutSeams(vSides);
}

void Patches::cut(std::uint32_t side) {
    if (vPartner[side] == none) return;
    vPartner[vPartner[side]] = none;
    vPartner[side] = none;
}

// Breadth first, so that the seam of a surface with one side is short.
void Patches::flood(std::uint32_t seed, std::uint32_t patch) {
    vQueue.assign(1, seed);
    vPatch[seed] = patch;
    vFlip[seed] = 0;
    std::size_t numFlipped = 0;
    for (std::size_t i = 0; i < vQueue.size(); ++i) {
        const std::uint32_t t = vQueue[i];
        numFlipped += vFlip[t];
        for (std::uint32_t side = 3 * t; side < 3 * t + 3; ++side) {
            const std::uint32_t other = vPartner[side];
            if (other == none || vPatch[other / 3] == patch) continue;
            vPatch[other / 3] = patch;
            vFlip[other / 3] = vFlip[t] ^ (haveSameDirection(side, other) ? 1 : 0);
            vQueue.push_back(other / 3);
        }
    }
    // Most triangles stay as they are.
    if (2 * numFlipped > vQueue.size())
        for (const std::uint32_t t : vQueue) vFlip[t] ^= 1;
    if (patch == vSize.size()) vSize.push_back(static_cast<std::uint32_t>(vQueue.size()));
}

// The seam runs through what makes the surface one-sided, mostly a small place. From
// near that, it could run around all of the surface; from far away, it lies behind it.
void Patches::floodOneSidedAgain(const std::vector<EdgeSide>& vSides) {
    std::vector<std::uint32_t> vFar(vSize.size(), none);
    std::vector<bool> vReached(vPatch.size());
    vQueue.clear();
    const auto reach = [&](std::uint32_t t) {
        if (!vReached[t]) vQueue.push_back(t);
        vReached[t] = true;
    };
    forEachEdge(vSides, [&](std::span<const EdgeSide> edge) {
        if (edge.size() == 2 && clash(edge[0].second, edge[1].second)) reach(edge[0].second / 3);
    });
    if (vQueue.empty()) return;
    for (std::size_t i = 0; i < vQueue.size(); ++i) {
        const std::uint32_t t = vQueue[i];
        vFar[vPatch[t]] = t;
        for (std::uint32_t side = 3 * t; side < 3 * t + 3; ++side)
            if (vPartner[side] != none) reach(vPartner[side] / 3);
    }
    for (std::uint32_t& patch : vPatch)
        if (vFar[patch] != none) patch = none;
    for (std::uint32_t patch = 0; patch < vFar.size(); ++patch)
        if (vFar[patch] != none) flood(vFar[patch], patch);
}

void Patches::cutSeams(const std::vector<EdgeSide>& vSides) {
    forEachEdge(vSides, [&](std::span<const EdgeSide> edge) {
        if (edge.size() != 2 || !clash(edge[0].second, edge[1].second)) return;
        cut(edge[0].second);
        ++numSeamEdges;
    });
}

}  // namespace QUOR_ZEF
