#include "mend/defects.h"

#include <algorithm>
#include <array>
#include <span>

#include "frame/Progress.h"
#include "mend/FillRefiner.h"
#include "mend/LoopFiller.h"
#include "mend/ShortLoops.h"
#include "store/DisjointSets.h"

namespace QUOR_ZEF {

namespace {

constexpr std::uint32_t unseen = 0xffffffffu;
constexpr std::size_t maxPlace = 3000;  // triangles
constexpr std::size_t maxIsland = 30;   // triangles
constexpr double maxDeviation = 0.3;    // mean edges of a place between it and its filling,
constexpr double maxStray = 5.0;        // and between the first filling and it

class DefectRenewer {
public:
    DefectRenewer(TriangleMesh& mesh_, const std::vector<bool>& vGone_, const EdgeTable& edges_)
        : mesh(mesh_),
          vGone(vGone_),
          edges(edges_),
          vMarked(mesh_.vertices.size()),
          vDead(vGone_),
          places(mesh_.vertices.size()) {}

    RenewedDefects renew(const std::vector<VertexPair>& vDefectEdges, int numRings, bool bFillHoles_) {
        bFillHoles = bFillHoles_;
        for (const auto& [a, b] : vDefectEdges) vMarked[a] = vMarked[b] = true;
        for (int ring = 0; ring < numRings; ++ring) grow();
        gatherPlaces();
        gatherRims();
        ShortLoops loops(vRim);
        LoopFiller filler(mesh, edges, vDead);
        OptionalStage stage("MF_renew", vPlaced.size());
        for (std::size_t i = 0, end = 0; i < vPlaced.size(); i = end) {
            for (end = i; end < vPlaced.size() && vPlaced[end].first == vPlaced[i].first;) ++end;
            refill(vPlaced[i].first, {vPlaced.data() + i, end - i}, loops, filler);
            stage.tick(end - i);
        }
        finish();
        return renewed;
    }

private:
    TriangleMesh& mesh;
    const std::vector<bool>& vGone;  // triangles of the mesh that are none any more
    const EdgeTable& edges;
    std::vector<bool> vMarked;                                      // vertices whose triangles go
    std::vector<bool> vDead;                                        // triangles, with those
    DisjointSets places;                                            // of marked vertices
    std::vector<std::pair<std::uint32_t, std::uint32_t>> vPlaced;   // lowest marked vertex of the place, triangle
    std::vector<std::pair<std::uint32_t, std::uint32_t>> vIslands;  // triangle, place
    std::vector<VertexPair> vEdges;                                 // of all these triangles, in order
    std::vector<VertexPair> vRim;                                   // edges that would be odd
    std::vector<std::pair<std::uint32_t, std::uint32_t>> vRimOf;    // place, rim edge
    std::vector<std::uint32_t> vNew;
    bool bFillHoles = true;
    RenewedDefects renewed;

    std::span<const std::uint32_t> cornersOf(std::size_t t) const { return {mesh.indices.data() + 3 * t, 3}; }

    void grow() {
        for (const std::uint32_t t : trianglesAt(mesh.indices, vGone, vMarked))
            for (const std::uint32_t vertex : cornersOf(t)) vMarked[vertex] = true;
    }

    void gatherPlaces() {
        for (const std::uint32_t t : trianglesAt(mesh.indices, vGone, vMarked)) {
            std::uint32_t first = unseen;
            for (const std::uint32_t vertex : cornersOf(t)) {
                if (!vMarked[vertex]) continue;
                if (first == unseen)
                    vPlaced.emplace_back(vertex, t);
                else
                    places.join(first, vertex);
                first = vertex;
            }
        }
        for (const auto& [place, t] : vPlaced) vDead[t] = true;
        // The list grows meanwhile.
        for (std::size_t i = 0, numLeft = vPlaced.size(); numLeft > 0; ++i, --numLeft)
            addIslandsAt(vPlaced[i].first, vPlaced[i].second);
        std::sort(vIslands.begin(), vIslands.end());
        // Places that touch stay or go together.
        gatherEdges();
        for (const VertexPair& ends : vEdges) {
            std::uint32_t first = unseen;
            for (const EdgeSide& entry : edges.at(ends).sides) {
                if (!vDead[entry.side / 3]) continue;
                if (first != unseen) places.join(first, placeOf(entry.side / 3));
                first = placeOf(entry.side / 3);
            }
        }
        for (auto& [place, t] : vPlaced) place = places.find(place);
        std::sort(vPlaced.begin(), vPlaced.end());
    }

    void gatherEdges() {
        for (const auto& [place, t] : vPlaced)
            for (std::uint32_t side = 3 * t; side < 3 * t + 3; ++side)
                vEdges.emplace_back(std::minmax(mesh.indices[side], mesh.indices[nextSide(side)]));
        std::sort(vEdges.begin(), vEdges.end());
        vEdges.erase(std::unique(vEdges.begin(), vEdges.end()), vEdges.end());
    }

    // Small pieces around which there is nothing but places go with them.
    void addIslandsAt(std::uint32_t place, std::uint32_t dead) {
        std::vector<std::uint32_t> vPiece;
        forEachNeighbour(dead, [&](std::uint32_t seed) {
            bool bIsland = !hasBorder(seed);
            vPiece.assign(1, seed);
            for (std::size_t i = 0; i < vPiece.size() && bIsland; ++i)
                forEachNeighbour(vPiece[i], [&](std::uint32_t t) {
                    if (std::find(vPiece.begin(), vPiece.end(), t) != vPiece.end()) return;
                    vPiece.push_back(t);
                    bIsland = bIsland && vPiece.size() <= maxIsland && !hasBorder(t);
                });
            if (!bIsland) return;
            for (const std::uint32_t t : vPiece) {
                vDead[t] = true;
                vIslands.emplace_back(t, place);
                vPlaced.emplace_back(place, t);
            }
        });
    }
    bool hasBorder(std::uint32_t t) const {
        for (std::uint32_t side = 3 * t; side < 3 * t + 3; ++side)
            if (edgeOf(side).size() == 1) return true;
        return false;
    }
    Edge edgeOf(std::uint32_t side) const { return edges.at(mesh.indices[side], mesh.indices[nextSide(side)]); }
    // Live triangles across the edges of one.
    template <class F>
    void forEachNeighbour(std::uint32_t t, F&& f) const {
        for (std::uint32_t side = 3 * t; side < 3 * t + 3; ++side) {
            const Edge edge = edgeOf(side);
            if (edge.size() > maxCrowd) continue;
            for (const EdgeSide& entry : edge.sides)
                if (!vDead[entry.side / 3]) f(entry.side / 3);
        }
    }

    // Edges at which the places would leave an odd number of triangles.
    void gatherRims() {
        for (const VertexPair& ends : vEdges) {
            const Edge edge = edges.at(ends);
            std::size_t numDead = 0;
            std::uint32_t dead = 0;
            for (const EdgeSide& entry : edge.sides) {
                if (!vDead[entry.side / 3]) continue;
                ++numDead;
                dead = entry.side / 3;
            }
            if ((edge.size() - numDead) % 2 == 0) continue;
            vRimOf.emplace_back(placeOf(dead), static_cast<std::uint32_t>(vRim.size()));
            vRim.push_back(ends);
        }
        std::sort(vRimOf.begin(), vRimOf.end());
    }
    std::uint32_t placeOf(std::uint32_t t) {
        const auto island = std::lower_bound(vIslands.begin(), vIslands.end(), std::pair(t, 0u));
        if (island != vIslands.end() && island->first == t) return places.find(island->second);
        const auto corners = cornersOf(t);
        return places.find(*std::find_if(corners.begin(), corners.end(), [&](std::uint32_t v) { return vMarked[v]; }));
    }

    void refill(std::uint32_t place, std::span<const std::pair<std::uint32_t, std::uint32_t>> vTriangles,
                ShortLoops& loops, LoopFiller& filler) {
        const std::size_t numBefore = vNew.size();
        bool bOK = vTriangles.size() <= maxPlace && (bFillHoles || !hasLargeHole(vTriangles));
        auto it = std::lower_bound(vRimOf.begin(), vRimOf.end(), std::pair(place, 0u));
        for (; bOK && it != vRimOf.end() && it->first == place; ++it)
            bOK = loops.isUsedUp(it->second) || fillLoopAt(it->second, loops, filler);
        if (bOK && bendToOld(vTriangles, numBefore)) {
            ++renewed.numPlaces;
            for (const auto& [own, t] : vTriangles) renewed.vRemoved.push_back(t);
            return;
        }
        vNew.resize(numBefore);
        for (const auto& [own, t] : vTriangles) vDead[t] = false;
    }
    // With the place, its rim is filled.
    bool hasLargeHole(std::span<const std::pair<std::uint32_t, std::uint32_t>> vTriangles) const {
        constexpr std::ptrdiff_t manyBorders = 12;
        return std::ranges::count_if(vTriangles, [&](const auto& placed) { return hasBorder(placed.second); }) >
               manyBorders;
    }
    // Whether the new triangles run where the old ones have run, once they are bent there.
    bool bendToOld(std::span<const std::pair<std::uint32_t, std::uint32_t>> vTriangles, std::size_t firstNew) {
        double length = 0.0;
        std::vector<std::uint32_t> vInner;
        for (const auto& [place, t] : vTriangles) {
            const auto corners = cornersOf(t);
            for (std::size_t i = 0; i < 3; ++i) {
                length += (mesh.vertices[corners[i]] - mesh.vertices[corners[(i + 1) % 3]]).length();
                if (vMarked[corners[i]]) vInner.push_back(corners[i]);
            }
        }
        std::sort(vInner.begin(), vInner.end());
        vInner.erase(std::unique(vInner.begin(), vInner.end()), vInner.end());
        const double meanEdge = length / static_cast<double>(3 * vTriangles.size());
        std::vector<std::uint32_t> vFilling(vNew.begin() + static_cast<std::ptrdiff_t>(firstNew), vNew.end());
        if (!runsAlong(vFilling, vInner, maxStray * meanEdge)) return false;
        if (!FillRefiner(mesh).refine(vInner, maxDeviation * meanEdge, vFilling)) return false;
        vNew.resize(firstNew);
        vNew.insert(vNew.end(), vFilling.begin(), vFilling.end());
        return true;
    }
    // Caps that cut off what a place runs around are no filling of it.
    bool runsAlong(const std::vector<std::uint32_t>& vTriples, const std::vector<std::uint32_t>& vInner,
                   double allowed) const {
        const auto isNear = [&](const Point3& p) {
            return std::any_of(vInner.begin(), vInner.end(),
                               [&](std::uint32_t v) { return (mesh.vertices[v] - p).length() <= allowed; });
        };
        for (std::size_t i = 0; i < vTriples.size(); i += 3) {
            const Point3 &a = mesh.vertices[vTriples[i]], &b = mesh.vertices[vTriples[i + 1]],
                         &c = mesh.vertices[vTriples[i + 2]];
            if (!isNear(a + ((b - a) * (1.0 / 3.0)) + ((c - a) * (1.0 / 3.0)))) return false;
        }
        return true;
    }
    bool fillLoopAt(std::uint32_t rimEdge, ShortLoops& loops, LoopFiller& filler) {
        if (!loops.find(rimEdge, LoopFiller::maxLoop) || !filler.fill(loops.vLoop, vNew)) return false;
        loops.useUp();
        return true;
    }

    void finish() {
        if (renewed.numPlaces == 0) return;
        mesh.indices.insert(mesh.indices.end(), vNew.begin(), vNew.end());
        renewed.numAdded = vNew.size() / 3;
    }
};

}  // namespace

RenewedDefects renewDefects(TriangleMesh& mesh, const std::vector<bool>& vDead, const EdgeTable& edges,
                            const std::vector<VertexPair>& vDefectEdges, int numRings, bool bFillHoles) {
    return DefectRenewer(mesh, vDead, edges).renew(vDefectEdges, numRings, bFillHoles);
}

}  // namespace QUOR_ZEF
