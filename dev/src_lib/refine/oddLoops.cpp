#include "refine/oddLoops.h"

#include <algorithm>

#include "refine/LoopFiller.h"
#include "refine/ShortLoops.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t maxLoop = 12;        // edges
constexpr std::size_t maxBorderLoop = 8;   // of borders only
constexpr std::uint32_t patchFactor = 10;  // triangles of the patch for each edge of those

constexpr std::uint32_t none = Patches::none;

struct OddEdges {
    std::vector<std::pair<std::uint32_t, std::uint32_t>> vEnds;
    std::vector<std::uint32_t> vBorderSide;  // of the only triangle, else none
};

OddEdges findOddEdges(const std::vector<EdgeSide>& vSides) {
    OddEdges odd;
    forEachEdge(vSides, [&](std::span<const EdgeSide> edge) {
        if (edge.size() % 2 == 0) return;
        odd.vEnds.emplace_back(lowerVertex(edge[0]), static_cast<std::uint32_t>(edge[0].first & none));
        odd.vBorderSide.push_back(edge.size() == 1 ? edge[0].second : none);
    });
    return odd;
}

// Whether a filling is a repair. The whole outline of a small patch is no hole, and
// a filling that no orientation of a patch fits would make a surface of one side.
bool isMendable(const ShortLoops& loops, const OddEdges& odd, const FlatMesh& mesh, const Patches& patches) {
    const std::size_t n = loops.vLoop.size();
    std::size_t numBorder = 0;
    std::vector<std::pair<std::uint32_t, bool>> vAlong;  // patch, whether it runs along the loop
    for (std::size_t i = 0; i < n; ++i) {
        const std::uint32_t side = odd.vBorderSide[loops.vLoopEdges[i]];
        if (side == none) continue;
        const std::uint32_t patch = patches.patchAt(side);
        if (patches.vSize[patch] >= patchFactor * n) ++numBorder;
        vAlong.emplace_back(patch, (mesh.vTriples[side] == loops.vLoop[i]) != (patches.vFlip[side / 3] != 0));
    }
    if (!vAlong.empty() && (n > maxBorderLoop || numBorder < n)) return false;
    std::sort(vAlong.begin(), vAlong.end());
    vAlong.erase(std::unique(vAlong.begin(), vAlong.end()), vAlong.end());
    const auto samePatch = [](const auto& a, const auto& b) { return a.first == b.first; };
    return std::adjacent_find(vAlong.begin(), vAlong.end(), samePatch) == vAlong.end();
}

}  // namespace

std::size_t closeOddLoops(FlatMesh& mesh, const std::vector<EdgeSide>& vSides, const Patches& patches) {
    const OddEdges odd = findOddEdges(vSides);
    if (odd.vEnds.empty()) return 0;
    ShortLoops loops(odd.vEnds);
    const std::vector<bool> vDead(mesh.numTriangles());
    LoopFiller filler(mesh, vSides, vDead);
    std::vector<std::uint32_t> vNew;
    std::size_t numClosed = 0;
    for (std::uint32_t edge = 0; edge < odd.vEnds.size(); ++edge) {
        if (!loops.find(edge, maxLoop) || !isMendable(loops, odd, mesh, patches)) continue;
        if (!filler.fill(loops.vLoop, vNew)) continue;
        loops.useUp();
        ++numClosed;
    }
    mesh.vTriples.insert(mesh.vTriples.end(), vNew.begin(), vNew.end());
    return numClosed;
}

}  // namespace QUOR_ZEF
