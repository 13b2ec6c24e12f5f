#include "mend/Patches.h"

#include <algorithm>
#include <utility>

#include "mend/shortSeams.h"
#include "parallel/parallelTransform.h"

namespace QUOR_ZEF {

Patches::Patches(const TriangleMesh& mesh_, const std::vector<bool>& vDead_, const EdgeTable& edges_)
    : vPartner(mesh_.indices.size(), none),
      mesh(mesh_),
      vTriples(mesh_.indices),
      vDead(vDead_),
      edges(edges_),
      vSame(vTriples.size()) {
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
    for (const VertexPair& ends : vSeams) {
        joinIfPair(edges.at(ends));
        if (edges.at(ends).size() == 2) settle(edges.at(ends)[0]);
    }
    for (const VertexPair& ends : vTouched) {
        separate(edges.at(ends));
        joinIfPair(edges.at(ends));
    }
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
    if (!vClashes.empty()) shortenSeams();
    unsettleAll();
    for (const Edge& edge : edgesOfClashes()) {
        cut(edge[0]);
        vSeams.push_back(edge.ends());
    }
}

// Breadth first, and across seams only where nothing else leads there. Most triangles
// stay as they are.
void Patches::flood(std::uint32_t seed, std::uint32_t patch) {
    vQueue.assign(1, seed);
    vLater.clear();
    vPatch[seed] = patch;
    vFlip[seed] = 0;
    std::size_t numFlipped = 0, numCrossed = 0;
    for (std::size_t i = 0; i < vQueue.size(); ++i) {
        const std::uint32_t t = vQueue[i];
        numFlipped += vFlip[t];
        for (std::uint32_t side = 3 * t; side < 3 * t + 3; ++side) {
            if (vPartner[side] == none) continue;
            if ((vSame[side] & isSettled) != 0)
                vLater.push_back(side);
            else
                cross(side, patch);
        }
        while (i + 1 == vQueue.size() && numCrossed < vLater.size()) cross(vLater[numCrossed++], patch);
    }
    if (patch == vSize.size()) {
        vSize.push_back(static_cast<std::uint32_t>(vQueue.size()));
        vTurned.push_back(0);
    }
    vTurned[patch] = 2 * numFlipped > vQueue.size();
}

void Patches::cross(std::uint32_t side, std::uint32_t patch) {
    const std::uint32_t other = vPartner[side] / 3;
    const std::uint8_t flip = vFlip[side / 3] ^ (vSame[side] & JoinedSides::isSame);
    if (vPatch[other] == patch) {
        if (vFlip[other] != flip) vClashes.push_back(side);
        return;
    }
    vPatch[other] = patch;
    vFlip[other] = flip;
    vQueue.push_back(other);
}

void Patches::settle(std::uint32_t side) {
    vSettled.push_back(side);
    vSame[side] |= isSettled;
    vSame[vPartner[side]] |= isSettled;
}

void Patches::unsettleAll() {
    for (const std::uint32_t side : vSettled) {
        vSame[side] &= JoinedSides::isSame;
        if (vPartner[side] != none) vSame[vPartner[side]] &= JoinedSides::isSame;
    }
    vSettled.clear();
}

// Then the patches that have seams are flooded once more, so that their triangles are turned as if nothing else were
// cut.
void Patches::shortenSeams() {
    std::vector<std::uint32_t> vOpen;
    for (const Edge& edge : edgesOfClashes())
        if ((vSame[edge[0]] & isSettled) == 0) vOpen.push_back(edge[0]);
    if (vOpen.empty()) return;
    std::vector<std::uint32_t> vSeed(vSize.size(), none);  // of each patch that has seams
    for (const std::uint32_t side : vClashes) vSeed[patchAt(side)] = side / 3;
    const std::vector<std::uint32_t> vLeft =
        QUOR_ZEF::shortenSeams(mesh, {vPartner, vSame, vFlip}, std::exchange(vClashes, {}), vOpen);
    unsettleAll();
    for (const std::uint32_t side : vLeft) settle(side);
    for (std::uint32_t t = static_cast<std::uint32_t>(vPatch.size()); t-- > 0;) {
        if (vPatch[t] == none || vSeed[vPatch[t]] == none) continue;
        vSeed[vPatch[t]] = t;
        vPatch[t] = none;
    }
    for (std::uint32_t patch = 0; patch < vSeed.size(); ++patch)
        if (vSeed[patch] != none) flood(vSeed[patch], patch);
}

// Each once, in order.
std::vector<Edge> Patches::edgesOfClashes() const {
    std::vector<VertexPair> vEnds;
    vEnds.reserve(vClashes.size());
    for (const std::uint32_t side : vClashes) vEnds.emplace_back(std::minmax(vTriples[side], vTriples[nextSide(side)]));
    std::sort(vEnds.begin(), vEnds.end());
    vEnds.erase(std::unique(vEnds.begin(), vEnds.end()), vEnds.end());
    std::vector<Edge> vEdges;
    vEdges.reserve(vEnds.size());
    for (const VertexPair& ends : vEnds) vEdges.push_back(edges.at(ends));
    return vEdges;
}

}  // namespace QUOR_ZEF
