#include "mend/oddLoops.h"

#include <algorithm>
#include <utility>

#include "frame/Progress.h"
#include "geometry/freeFunctions.h"
#include "mend/LoopFiller.h"
#include "mend/ShortLoops.h"
#include "store/DisjointSets.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t maxLoop = 12;        // edges
constexpr std::size_t maxPinhole = 8;      // edges of a border, filled whatever its filling looks like
constexpr std::size_t maxBodyHole = 40;    // edges of one that goes on with what is around it, in a closed body
constexpr std::uint32_t patchFactor = 10;  // triangles of the patch for each edge of these
constexpr double trianglesOfHole = 0.2;    // by the square of its edges, where all are of one size
constexpr double maxHoles = 0.05;          // of a body, over its triangles
constexpr double maxBend = 60.0;           // degrees, mean between a filling and what is around it

class OddLoops {
public:
    OddLoops(TriangleMesh& mesh_, const EdgeTable& edges_, const Patches& patches_, std::size_t maxHole_)
        : mesh(mesh_), edges(edges_), patches(patches_), maxHole(maxHole_) {}

    std::size_t close() {
        findOddEdges();
        OptionalStage stage("MF_loops", vEnds.size());
        if (vEnds.empty()) return 0;
        findBodies();
        ShortLoops loops(vEnds);
        const std::vector<bool> vDead(mesh.numTriangles());
        LoopFiller filler(mesh, edges, vDead);
        std::vector<std::uint32_t> vNew;
        std::size_t numClosed = 0;
        for (std::uint32_t edge = 0; edge < vEnds.size(); ++edge) {
            stage.tick();
            if (!loops.find(edge, maxLengthAt(edge)) || !isMendable(loops)) continue;
            const std::size_t numBefore = vNew.size();
            if (!filler.fill(loops.vLoop, vNew)) continue;
            if (vBorderSide[edge] != Patches::none && loops.vLoop.size() > maxPinhole &&
                bendOf(loops, vNew, numBefore) > maxBend) {
                vNew.resize(numBefore);
                continue;
            }
            loops.useUp();
            ++numClosed;
        }
        mesh.indices.insert(mesh.indices.end(), vNew.begin(), vNew.end());
        return numClosed;
    }

private:
    TriangleMesh& mesh;
    const EdgeTable& edges;
    const Patches& patches;
    const std::size_t maxHole;               // edges, where holes are many or large
    std::vector<VertexPair> vEnds;           // of each odd edge
    std::vector<std::uint32_t> vBorderSide;  // the only one there, else Patches::none
    std::vector<bool> vBody;                 // patches that have no large holes

    void findOddEdges() {
        for (const VertexPair& ends : edges.oddEdges()) {
            const Edge edge = edges.at(ends);
            if (edge.size() % 2 == 0) continue;
            vEnds.push_back(ends);
            vBorderSide.push_back(edge.size() == 1 ? edge[0] : Patches::none);
        }
    }

    void findBodies() {
        DisjointSets loops(mesh.vertices.size());
        std::vector<std::uint32_t> vLength(mesh.vertices.size());
        const auto forEachBorder = [&](auto&& f) {
            for (std::size_t i = 0; i < vEnds.size(); ++i)
                if (vBorderSide[i] != Patches::none) f(i);
        };
        forEachBorder([&](std::size_t i) { loops.join(vEnds[i].first, vEnds[i].second); });
        forEachBorder([&](std::size_t i) { ++vLength[loops.find(vEnds[i].first)]; });
        // Each edge of a loop brings the length of it, which makes the square.
        std::vector<double> vHoles(patches.vSize.size());
        forEachBorder([&](std::size_t i) {
            vHoles[patches.patchAt(vBorderSide[i])] += trianglesOfHole * vLength[loops.find(vEnds[i].first)];
        });
        vBody.resize(patches.vSize.size());
        for (std::size_t i = 0; i < vBody.size(); ++i) vBody[i] = vHoles[i] <= maxHoles * patches.vSize[i];
    }
    std::size_t maxLengthAt(std::uint32_t edge) const {
        const std::uint32_t side = vBorderSide[edge];
        // One edge of three triangles at its rim makes no other hole of a hole.
        if (side == Patches::none || maxHole == 0) return maxLoop;
        return vBody[patches.patchAt(side)] ? std::max(maxBodyHole, maxHole) : std::max(maxLoop, maxHole);
    }

    // Whether a filling is a repair. The whole outline of a small patch is no hole, and
    // a filling that no orientation of a patch fits would make a surface of one side.
    bool isMendable(const ShortLoops& loops) const {
        const std::size_t n = loops.vLoop.size();
        std::size_t numLarge = 0, maxBorder = std::max(maxBodyHole, maxHole);
        std::vector<std::pair<std::uint32_t, bool>> vAlong;  // patch, whether it runs along the loop
        for (std::size_t i = 0; i < n; ++i) {
            const std::uint32_t side = vBorderSide[loops.vLoopEdges[i]];
            if (side == Patches::none) continue;
            const std::uint32_t patch = patches.patchAt(side);
            if (patches.vSize[patch] >= patchFactor * n) ++numLarge;
            if (!vBody[patch]) maxBorder = maxHole;
            vAlong.emplace_back(patch, (mesh.indices[side] == loops.vLoop[i]) != patches.isFlipped(side / 3));
        }
        if (vAlong.empty()) return n <= maxLoop;
        if (maxHole == 0 && vAlong.size() == n) return false;
        if (numLarge < n || n > maxBorder) return false;
        std::sort(vAlong.begin(), vAlong.end());
        vAlong.erase(std::unique(vAlong.begin(), vAlong.end()), vAlong.end());
        const auto samePatch = [](const auto& a, const auto& b) { return a.first == b.first; };
        return std::adjacent_find(vAlong.begin(), vAlong.end(), samePatch) == vAlong.end();
    }

    // The end of a pipe would be closed by a lid, at a right angle to it. By the areas of what is around: slivers may
    // look anywhere.
    double bendOf(const ShortLoops& loops, const std::vector<std::uint32_t>& vNew, std::size_t firstNew) const {
        double sum = 0.0, area = 0.0;
        const std::size_t n = loops.vLoop.size();
        for (std::size_t i = 0; i < n; ++i) {
            const std::uint32_t side = vBorderSide[loops.vLoopEdges[i]];
            const double weight = areaAt(side);
            area += weight;
            const std::uint32_t a = loops.vLoop[i], b = loops.vLoop[(i + 1) % n];
            for (std::size_t t = firstNew; t < vNew.size(); t += 3) {
                const auto corner = vNew.begin() + static_cast<std::ptrdiff_t>(t);
                if (std::find(corner, corner + 3, a) == corner + 3 || std::find(corner, corner + 3, b) == corner + 3)
                    continue;
                // The new triangles run along the loop; the old one there should run against it.
                const double angle = getAngleDeg(normalOf(corner[0], corner[1], corner[2]), normalAt(side));
                sum += weight * (mesh.indices[side] == a ? 180.0 - angle : angle);
                break;
            }
        }
        return area > 0.0 ? sum / area : 0.0;
    }
    Vector3 normalOf(std::uint32_t a, std::uint32_t b, std::uint32_t c) const {
        bool bOK = false;
        return triNormal(&mesh.vertices[a], &mesh.vertices[b], &mesh.vertices[c], bOK);
    }
    double areaAt(std::uint32_t side) const {
        const std::uint32_t* corners = mesh.indices.data() + side / 3 * 3;
        return getTriangleArea(mesh.vertices[corners[0]], mesh.vertices[corners[1]], mesh.vertices[corners[2]]);
    }
    Vector3 normalAt(std::uint32_t side) const {
        const std::uint32_t* corners = mesh.indices.data() + side / 3 * 3;
        return normalOf(corners[0], corners[1], corners[2]);
    }
};

}  // namespace

std::size_t closeOddLoops(TriangleMesh& mesh, const EdgeTable& edges, const Patches& patches, std::size_t maxHole) {
    return OddLoops(mesh, edges, patches, maxHole).close();
}

}  // namespace QUOR_ZEF
