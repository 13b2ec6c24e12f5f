#include "mend/Patches.h"

#include <algorithm>

#include "parallel/parallelTransform.h"

namespace QUOR_ZEF {

Patches::Patches(const std::vector<std::uint32_t>& vTriples_, const std::vector<bool>& vDead_, const EdgeTable& edges_)
    : vPartner(vTriples_.size(), none), vTriples(vTriples_), vDead(vDead_), edges(edges_), vSame(vTriples_.size()) {
    constexpr std::size_t minChunk = 10'000;
    parallelChunks(edges.numVertices(), minChunk, [&](std::size_t begin, std::size_t end) {
        edges.forEachEdge(begin, end, [&](const Edge& edge) { joinIfPair(edge); });
    });
    findPatches();
}

void Patches::follow(const std::vector<std::uint32_t>& vKilled, const std::vector<VertexPair>& vTouched) {
    vPartner.resize(vTriples.size(), none);
    vSame.resize(vTriples.size());
    const auto separate = [&](const Edge& edge) {
        for (const EdgeSide& entry : edge.sides) vPartner[entry.side] = none;
    };
    for (const std::uint32_t t : vKilled) std::fill_n(vPartner.begin() + std::ptrdiff_t{3} * t, 3, none);
    for (const VertexPair& ends : vMany) separate(edges.at(ends));
    for (const VertexPair& ends : vTouched) {
        separate(edges.at(ends));
        joinIfPair(edges.at(ends));
    }
    for (const VertexPair& ends : vSeams) joinIfPair(edges.at(ends));
    findPatches();
}

void Patches::cut(std::uint32_t side) {
    if (vPartner[side] == none) return;
    vPartner[vPartner[side]] = none;
    vPartner[side] = none;
}

void Patches::findPatches() {
    vMany.clear();
    for (const VertexPair& ends : edges.oddEdges())
        if (edges.at(ends).size() > 2) vMany.push_back(ends);
    vSeams.clear();
    vSize.clear();
    vTurned.clear();
    vPatch.assign(vTriples.size() / 3, none);
    vFlip.resize(vPatch.size());
    vClashes.clear();
    for (std::uint32_t t = 0; t < vPatch.size(); ++t)
        if (vPatch[t] == none && !vDead[t]) flood(t, static_cast<std::uint32_t>(vSize.size()));
    if (vClashes.empty()) return;
    floodOneSidedAgain();
    for (const Edge& edge : edgesOfClashes()) {
        cut(edge[0]);
        vSeams.push_back(edge.ends());
    }
}

// Breadth first, so that the seam of a surface with one side is short. Most triangles
// stay as they are.
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
            if (other == none) continue;
            const std::uint8_t flip = vFlip[t] ^ vSame[side];
            if (vPatch[other / 3] == patch) {
                if (vFlip[other / 3] != flip) vClashes.push_back(side);
                continue;
            }
            vPatch[other / 3] = patch;
            vFlip[other / 3] = flip;
            vQueue.push_back(other / 3);
        }
    }
    if (patch == vSize.size()) {
        vSize.push_back(static_cast<std::uint32_t>(vQueue.size()));
        vTurned.push_back(0);
    }
    vTurned[patch] = 2 * numFlipped > vQueue.size();
}

// The seam runs through what makes the surface one-sided, mostly a small place. From
// near that, it could run around all of the surface; from far away, it lies behind it.
void Patches::floodOneSidedAgain() {
    std::vector<std::uint32_t> vFar(vSize.size(), none);
    std::vector<bool> vReached(vPatch.size());
    vQueue.clear();
    const auto reach = [&](std::uint32_t t) {
        if (!vReached[t]) vQueue.push_back(t);
        vReached[t] = true;
    };
    for (const Edge& edge : edgesOfClashes()) reach(edge[0] / 3);
    vClashes.clear();
    for (std::size_t i = 0; i < vQueue.size(); ++i) {
        const std::uint32_t t = vQueue[i];
        vFar[vPatch[t]] = t;
        for (std::uint32_t side = 3 * t; side < 3 * t + 3; ++side)
            if (vPartner[side] != none) reach(vPartner[side] / 3);
    }
    for (std::uint32_t& patch : vPatch)
        if (patch != none && vFar[patch] != none) patch = none;
    for (std::uint32_t patch = 0; patch < vFar.size(); ++patch)
        if (vFar[patch] != none) flood(vFar[patch], patch);
}

// Each once, in order.
std::vector<Edge> Patches::edgesOfClashes() const {
    std::vector<VertexPair> vEnds;
    for (const std::uint32_t side : vClashes) vEnds.push_back(std::minmax(vTriples[side], vTriples[nextSide(side)]));
    std::sort(vEnds.begin(), vEnds.end());
    vEnds.erase(std::unique(vEnds.begin(), vEnds.end()), vEnds.end());
    std::vector<Edge> vEdges;
    for (const VertexPair& ends : vEnds) vEdges.push_back(edges.at(ends));
    return vEdges;
}

}  // namespace QUOR_ZEF
