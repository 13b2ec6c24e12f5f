#include "handles/LoopClasses.h"

#include <algorithm>
#include <random>

#include "flat/EdgeTable.h"
#include "frame/Run.h"
#include "store/DisjointSets.h"

namespace QUOR_ZEF {

namespace {

// The triangles of each piece as a tree from its first one on, breadth first.
struct TriangleTree {
    std::vector<std::uint32_t> vReached;  // triangles in order
    std::vector<std::uint32_t> vWay;      // by triangle: its side to where it was reached from, or noSide
    std::vector<bool> vCrossed;           // by side: the tree runs across it
};

TriangleTree growTree(const std::vector<std::uint32_t>& vOpposite) {
    const std::size_t numTriangles = vOpposite.size() / 3;
    TriangleTree tree{{}, std::vector<std::uint32_t>(numTriangles, noSide), std::vector<bool>(vOpposite.size())};
    std::vector<bool> vMet(numTriangles);
    tree.vReached.reserve(numTriangles);
    for (std::uint32_t first = 0; first < numTriangles; ++first) {
        pollRun(first);
        if (vMet[first]) continue;
        vMet[first] = true;
        std::size_t next = tree.vReached.size();
        for (tree.vReached.push_back(first); next < tree.vReached.size(); ++next) {
            pollRun(next);
            const std::uint32_t t = tree.vReached[next];
            for (std::uint32_t side = 3 * t; side < 3 * t + 3; ++side) {
                const std::uint32_t other = vOpposite[side];
                if (other == noSide || vMet[other / 3]) continue;
                vMet[other / 3] = true;
                tree.vWay[other / 3] = other;
                tree.vCrossed[side] = tree.vCrossed[other] = true;
                tree.vReached.push_back(other / 3);
            }
        }
    }
    return tree;
}

// The edges that the tree of triangles leaves make a net. Those that a tree of vertices takes of it close no loop; each
// one left over closes one more, and none of these loops parts the mesh, nor do some of them together.
// What it has looked at counts as crossed then.
std::vector<std::uint32_t> findLeftOver(const TriangleMesh& mesh, const std::vector<std::uint32_t>& vOpposite,
                                        TriangleTree& tree) {
    DisjointSets vertices(mesh.vertices.size());
    const auto joinEnds = [&](std::uint32_t side) {
        const std::uint32_t a = vertices.find(mesh.indices[side]), b = vertices.find(mesh.indices[nextSide(side)]);
        if (a != b) vertices.join(a, b);
        return a != b;
    };
    std::vector<std::uint32_t> vLeftOver;
    for (std::uint32_t side = 0; side < vOpposite.size(); ++side) {
        pollRun(side);
        if (vOpposite[side] == noSide) joinEnds(side);
    }
    // The farthest first, so that what is left over lies as near to the first triangle as can be.
    for (std::size_t i = tree.vReached.size(); i-- > 0;) {
        pollRun(i);
        const std::uint32_t t = tree.vReached[i];
        for (std::uint32_t side = 3 * t; side < 3 * t + 3; ++side) {
            const std::uint32_t other = vOpposite[side];
            if (other == noSide || tree.vCrossed[side]) continue;
            tree.vCrossed[other] = true;
            if (!joinEnds(side)) vLeftOver.push_back(side);
        }
    }
    return vLeftOver;
}

}  // namespace

std::vector<std::uint32_t> findOpposites(const TriangleMesh& mesh) {
    const EdgeTable edges(mesh.indices, mesh.vertices.size());
    std::vector<std::uint32_t> vOpposite(mesh.indices.size(), noSide);
    edges.forEachEdge([&](const Edge& edge) {
        pollRun(edge.low);
        if (edge.size() != 2) return;
        vOpposite[edge[0]] = edge[1];
        vOpposite[edge[1]] = edge[0];
    });
    return vOpposite;
}

// Each edge left over belongs to a ring of triangles: across it, and back along the tree. What crosses that ring an odd
// number of times parts nothing. So an edge gets the numbers of the rings that run across it.
LoopClasses::LoopClasses(const TriangleMesh& mesh, const std::vector<std::uint32_t>& vOpposite) {
    TriangleTree tree = growTree(vOpposite);
    const std::vector<std::uint32_t> vLeftOver = findLeftOver(mesh, vOpposite, tree);
    numLeftOver = vLeftOver.size();
    vBears.assign(vOpposite.size(), false);
    if (vLeftOver.empty()) return;
    std::mt19937_64 numbers;
    std::vector<uint64> vRings(mesh.numTriangles());  // that end at the triangle, or beyond it
    const auto enter = [&](std::uint32_t side, uint64 rings) {
        for (const std::uint32_t s : {side, vOpposite[side]}) {
            vBears[s] = true;
            vSides.emplace_back(s, rings);
        }
    };
    for (const std::uint32_t side : vLeftOver) {
        const uint64 ring = numbers();
        enter(side, ring);
        vRings[side / 3] ^= ring;
        vRings[vOpposite[side] / 3] ^= ring;
    }
    for (std::size_t i = tree.vReached.size(); i-- > 0;) {
        pollRun(i);
        const std::uint32_t t = tree.vReached[i], way = tree.vWay[t];
        if (way == noSide || vRings[t] == 0) continue;
        enter(way, vRings[t]);
        vRings[vOpposite[way] / 3] ^= vRings[t];
    }
    std::ranges::sort(vSides);
}

uint64 LoopClasses::find(std::uint32_t side) const {
    return std::ranges::lower_bound(vSides, side, {}, &std::pair<std::uint32_t, uint64>::first)->second;
}

std::vector<std::uint32_t> LoopClasses::verticesToMeet(const TriangleMesh& mesh) const {
    std::vector<std::uint32_t> vVertices;
    vVertices.reserve(vSides.size());
    for (const auto& [side, rings] : vSides)
        vVertices.push_back(std::min(mesh.indices[side], mesh.indices[nextSide(side)]));
    std::ranges::sort(vVertices);
    vVertices.erase(std::unique(vVertices.begin(), vVertices.end()), vVertices.end());
    return vVertices;
}

}  // namespace QUOR_ZEF
