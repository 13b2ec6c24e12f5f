#include "mend/Manifold.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <tuple>
#include <utility>

#include "flat/EdgeTable.h"
#include "flat/triangleSides.h"
#include "frame/Progress.h"
#include "frame/tools.h"
#include "geometry/freeFunctions.h"
#include "mend/CornerSets.h"
#include "mend/Patches.h"
#include "mend/chambers.h"
#include "mend/defects.h"
#include "mend/edgePairs.h"
#include "mend/oddLoops.h"
#include "mend/outsides.h"
#include "mend/spuriousSheets.h"
#include "parallel/parallelTransform.h"
#include "store/DisjointSets.h"

namespace QUOR_ZEF {

namespace {

constexpr std::uint32_t none = Patches::none;
constexpr int maxRings = 3;                    // of triangles around what cannot be mended
constexpr std::uint32_t maxFaultyBorder = 60;  // edges
constexpr std::uint32_t maxLoosePiece = 20;    // triangles of what is cut loose and goes,
constexpr std::uint32_t looseFactor = 10;      // and how much larger the rest must be

class ManifoldMaker {
public:
    ManifoldMaker(TriangleMesh& mesh_, const ManifoldOptions& options_, ManifoldReport& report_)
        : mesh(mesh_),
          options(options_),
          report(report_),
          vDead(mesh_.numTriangles()),
          edges(mesh_.indices, mesh_.vertices.size()) {}

    MeshPieces run() {
        stage.tick();
        removeDuplicates();
        stage.tick();
        pPatches = std::make_unique<Patches>(mesh, vDead, edges);
        stage.finish();
        mendPatches(options.exactVertices);
        if (options.exactVertices && !findDefects().empty()) {
            follow({});  // apart again
            mendPatches(false);
        }
        stage = OptionalStage("MF_face", 6);
        removeLoosePieces();
        stage.tick();
        report.numSeamEdges = pPatches->vSeams.size();
        report.numNonManifoldEdges = pPatches->vMany.size();
        splitVertices();
        stage.tick();
        MeshPieces pieces = face();
        stage.finish();
        return pieces;
    }

private:
    TriangleMesh& mesh;
    const ManifoldOptions options;
    ManifoldReport& report;
    OptionalStage stage{"MF_edges", 3};  // the one that runs; before the edges are found
    // Triangles keep their numbers to the end; these three are as they are now.
    std::vector<bool> vDead;
    EdgeTable edges;
    std::unique_ptr<Patches> pPatches;

    std::vector<VertexPair> followInTable(const std::vector<std::uint32_t>& vKilled) {
        const auto firstNew = static_cast<std::uint32_t>(vDead.size());
        vDead.resize(mesh.numTriangles());
        for (const std::uint32_t t : vKilled) vDead[t] = true;
        return edges.follow(vDead, vKilled, firstNew);
    }
    // After triangles have come at the end; these go.
    void follow(const std::vector<std::uint32_t>& vKilled) { pPatches->follow(vKilled, followInTable(vKilled)); }

    void removeDuplicates() {
        const std::vector<std::uint32_t> vDuplicates = findDuplicates(mesh.indices, edges);
        report.numRemovedDuplicates = vDuplicates.size();
        if (!vDuplicates.empty()) followInTable(vDuplicates);
    }

    // bSparing: sheets with vertices of their own stay, if they can be joined.
    void mendPatches(bool bSparing) {
        stage = OptionalStage("MF_mend", 4);
        removeSheets(bSparing);
        stage.tick();
        closeLoops();
        joinPatches();
        stage.finish();
        OptionalStage("MF_renew", 1);
        for (int numRings = 1; numRings <= maxRings && renewDefectsWithin(numRings); ++numRings) {
        }
    }

    void removeSheets(bool bSparing) {
        if (pPatches->vMany.empty()) return;
        const SpuriousSheets sheets = findSpuriousSheets(mesh.indices, edges, *pPatches, bSparing);
        report.numRemovedSheets += sheets.numSheets;
        report.numRemovedSheetTriangles += sheets.vTriangles.size();
        if (sheets.numSheets > 0) follow(sheets.vTriangles);
    }

    void closeLoops() {
        const std::size_t numBefore = mesh.numTriangles();
        const std::size_t numLoops =
            closeOddLoops(mesh, edges, *pPatches, options.fillHoles ? options.maxHoleEdges : 0);
        if (numLoops == 0) return;
        report.numClosedLoops += numLoops;
        report.numAddedTriangles += mesh.numTriangles() - numBefore;
        follow({});
    }

    void joinPatches() {
        orientByChambers(mesh, edges, *pPatches);
        stage.tick();
        joinPairs(mesh, edges, *pPatches);
        stage.tick();
        cutCrowdedEdges();
        stage.tick();
    }

    // Edges that have triangles to join and leave one alone; and short borders that
    // meet them, which come of the same fault.
    std::vector<VertexPair> findDefects() const {
        std::vector<VertexPair> vDefects = pPatches->vSeams, vBorders;
        const auto isAlone = [&](const EdgeSide& entry) { return pPatches->vPartner[entry.side] == none; };
        for (const VertexPair& ends : edges.oddEdges()) {
            const auto sides = edges.at(ends).sides;
            if (sides.size() > maxCrowd || std::none_of(sides.begin(), sides.end(), isAlone)) continue;
            (sides.size() == 1 ? vBorders : vDefects).push_back(ends);
        }
        if (vDefects.empty() || vBorders.empty()) return vDefects;
        DisjointSets sets(mesh.vertices.size());
        for (const VertexPair& ends : vDefects) sets.join(ends.first, ends.second);
        for (const VertexPair& ends : vBorders) sets.join(ends.first, ends.second);
        std::vector<std::uint32_t> vNumBorders(mesh.vertices.size());
        std::vector<bool> vFaulty(mesh.vertices.size());
        for (const VertexPair& ends : vBorders) ++vNumBorders[sets.find(ends.first)];
        for (const VertexPair& ends : vDefects) vFaulty[sets.find(ends.first)] = true;
        for (const VertexPair& ends : vBorders) {
            const std::uint32_t root = sets.find(ends.first);
            if (vFaulty[root] && vNumBorders[root] <= maxFaultyBorder) vDefects.push_back(ends);
        }
        return vDefects;
    }

    // False if there is nothing to renew.
    bool renewDefectsWithin(int numRings) {
        const std::vector<VertexPair> vDefects = findDefects();
        if (vDefects.empty()) return false;
        const RenewedDefects renewed = renewDefects(mesh, vDead, edges, vDefects, numRings, options.fillHoles);
        if (renewed.numPlaces == 0) return true;
        report.numRenewedPlaces += renewed.numPlaces;
        report.numRenewedTriangles += renewed.vRemoved.size();
        report.numAddedTriangles += renewed.numAdded;
        follow(renewed.vRemoved);
        joinPatches();
        return true;
    }

    // Patches that are joined across edges of many; each of them hangs together by itself.
    DisjointSets joinedPatches() const {
        DisjointSets pieces(pPatches->vSize.size());
        for (const VertexPair& ends : pPatches->vMany)
            for (const EdgeSide& entry : edges.at(ends).sides)
                if (const std::uint32_t other = pPatches->vPartner[entry.side]; other != none)
                    pieces.join(pPatches->patchAt(entry.side), pPatches->patchAt(other));
        return pieces;
    }

    // What hangs together with something much larger at single vertices, or was cut
    // loose from it.
    void removeLoosePieces() {
        const Patches& patches = *pPatches;
        DisjointSets pieces = joinedPatches();
        std::vector<std::uint32_t> vSize(patches.vSize.size());  // by piece
        for (std::uint32_t i = 0; i < vSize.size(); ++i) vSize[pieces.find(i)] += patches.vSize[i];
        const auto pieceOf = [&](std::uint32_t t) { return pieces.find(patches.vPatch[t]); };
        const auto forEachCorner = [&](const std::vector<std::uint32_t>& vTriangles, auto&& f) {
            for (const std::uint32_t t : vTriangles)
                for (std::uint32_t corner = 3 * t; corner < 3 * t + 3; ++corner) f(pieceOf(t), mesh.indices[corner]);
        };
        const std::vector<std::uint32_t> vSmall = trianglesOfSmall(pieces, vSize);
        if (vSmall.empty()) return;
        std::vector<bool> vMarked(mesh.vertices.size());
        forEachCorner(vSmall, [&](std::uint32_t, std::uint32_t vertex) { vMarked[vertex] = true; });
        std::vector<std::uint32_t> vLargest(mesh.vertices.size());  // at each of these vertices
        forEachCorner(trianglesAt(mesh.indices, vDead, vMarked), [&](std::uint32_t piece, std::uint32_t vertex) {
            vLargest[vertex] = std::max(vLargest[vertex], vSize[piece]);
        });
        std::vector<bool> vLoose(vSize.size());  // by piece
        forEachCorner(vSmall, [&](std::uint32_t piece, std::uint32_t vertex) {
            if (vLargest[vertex] >= looseFactor * vSize[piece]) vLoose[piece] = true;
        });
        std::vector<std::uint32_t> vKilled;
        std::copy_if(vSmall.begin(), vSmall.end(), std::back_inserter(vKilled),
                     [&](std::uint32_t t) { return vLoose[pieceOf(t)]; });
        if (vKilled.empty()) return;
        report.numRemovedSheets += static_cast<std::size_t>(std::count(vLoose.begin(), vLoose.end(), true));
        report.numRemovedSheetTriangles += vKilled.size();
        follow(vKilled);
        joinPatches();
    }
    std::vector<std::uint32_t> trianglesOfSmall(DisjointSets& pieces, const std::vector<std::uint32_t>& vSize) const {
        std::vector<bool> vSmall(vSize.size());  // by patch
        for (std::uint32_t i = 0; i < vSize.size(); ++i) vSmall[i] = vSize[pieces.find(i)] <= maxLoosePiece;
        std::vector<std::uint32_t> vTriangles;
        if (std::find(vSmall.begin(), vSmall.end(), true) == vSmall.end()) return vTriangles;
        for (std::uint32_t t = 0; t < vDead.size(); ++t)
            if (!vDead[t] && vSmall[pPatches->vPatch[t]]) vTriangles.push_back(t);
        return vTriangles;
    }

    // The corners that belong to one vertex afterwards, at the marked vertices.
    CornerSets joinCorners(const std::vector<bool>& vMarked) const {
        return CornerSets(mesh.indices, *pPatches, trianglesAt(mesh.indices, vDead, vMarked), vMarked);
    }

    // A vertex can meet one edge twice on the way around: then more than two
    // triangles would still share the edge. Once all of them are cut apart, no vertex
    // has more than two of them, which are the ends of its fan.
    void cutCrowdedEdges() {
        Patches& patches = *pPatches;
        if (patches.vMany.empty()) return;
        std::vector<bool> vAtMany(mesh.vertices.size());
        for (const auto& [low, high] : patches.vMany) vAtMany[low] = vAtMany[high] = true;
        CornerSets corners = joinCorners(vAtMany);
        std::vector<std::tuple<std::uint32_t, std::uint32_t, std::uint32_t>> vHere;  // corners, side
        for (const VertexPair& ends : patches.vMany) {
            vHere.clear();
            for (const EdgeSide& entry : edges.at(ends).sides) {
                const std::uint32_t atA = cornerAt(mesh.indices, entry.side, ends.first);
                const std::uint32_t atB = atA == entry.side ? nextSide(entry.side) : entry.side;
                vHere.emplace_back(corners.find(atA), corners.find(atB), entry.side);
            }
            std::sort(vHere.begin(), vHere.end());
            for (std::size_t i = 0, end = 0; i < vHere.size(); i = end) {
                for (end = i + 1; end < vHere.size() && std::get<0>(vHere[end]) == std::get<0>(vHere[i]) &&
                                  std::get<1>(vHere[end]) == std::get<1>(vHere[i]);)
                    ++end;
                if (end - i <= 2) continue;
                for (std::size_t k = i; k < end; ++k) patches.cut(std::get<2>(vHere[k]));
            }
        }
    }

    // Each set of corners becomes a vertex; the first set of a vertex keeps it.
    void splitVertices() {
        CornerSets corners = joinCorners(findSplitVertices());
        const std::size_t numBefore = mesh.vertices.size();
        std::vector<std::uint8_t> vNumSets(numBefore);                // 2 for more
        std::vector<std::pair<std::uint32_t, std::uint32_t>> vMoved;  // first corner of a set, its vertex
        std::vector<std::pair<std::uint32_t, std::uint32_t>> vNewVertex;
        for (const std::uint32_t corner : corners.corners()) {
            const std::uint32_t root = corners.find(corner), vertex = mesh.indices[corner];
            if (root != corner) {
                const auto moved = std::lower_bound(vMoved.begin(), vMoved.end(), std::pair(root, 0u));
                if (moved != vMoved.end() && moved->first == root) vNewVertex.emplace_back(corner, moved->second);
                continue;
            }
            if (vNumSets[vertex] > 0) {
                vMoved.emplace_back(corner, static_cast<std::uint32_t>(mesh.vertices.size()));
                vNewVertex.push_back(vMoved.back());
                const Point3 copied = mesh.vertices[vertex];
                mesh.vertices.push_back(copied);
                if (vNumSets[vertex] == 1) ++report.numSplitVertices;
            }
            vNumSets[vertex] = static_cast<std::uint8_t>(std::min(vNumSets[vertex] + 1, 2));
        }
        report.numAddedVertices = mesh.vertices.size() - numBefore;
        for (const auto& [corner, vertex] : vNewVertex) mesh.indices[corner] = vertex;
    }

    // Those whose triangles do not all hang together.
    std::vector<bool> findSplitVertices() const {
        struct Fan {
            std::uint32_t first = 0, num = 0;  // corners
        };
        std::vector<Fan> vFans(mesh.vertices.size());
        for (std::uint32_t corner = 0; corner < mesh.indices.size(); ++corner) {
            if (vDead[corner / 3]) continue;
            Fan& fan = vFans[mesh.indices[corner]];
            if (fan.num++ == 0) fan.first = corner;
        }
        constexpr std::size_t minChunk = 10'000;
        const auto vChunks = parallelChunkResults<std::vector<std::size_t>>(
            vFans.size(), minChunk, [&](std::size_t begin, std::size_t end) {
                std::vector<std::size_t> vHere;
                for (std::size_t v = begin; v < end; ++v)
                    if (vFans[v].num > 1 && numJoinedTo(vFans[v].first) != vFans[v].num) vHere.push_back(v);
                return vHere;
            });
        std::vector<bool> vSplit(mesh.vertices.size());
        for (const std::vector<std::size_t>& vHere : vChunks)
            for (const std::size_t v : vHere) vSplit[v] = true;
        return vSplit;
    }
    // The corners of one vertex that hang together with this one, itself included.
    std::uint32_t numJoinedTo(std::uint32_t first) const {
        std::uint32_t num = 1;
        for (const std::uint32_t start : {first, previousSide(first)}) {
            std::uint32_t other = pPatches->vPartner[start];
            while (other != none) {
                const std::uint32_t corner = cornerAt(mesh.indices, other, mesh.indices[first]);
                if (corner == first) return num;  // all around
                ++num;
                other = pPatches->vPartner[other == corner ? previousSide(corner) : corner];
            }
        }
        return num;
    }

    MeshPieces face() {
        std::vector<std::uint8_t> vFlip(vDead.size());
        for (std::uint32_t t = 0; t < vFlip.size(); ++t) vFlip[t] = !vDead[t] && pPatches->isFlipped(t);
        MeshComponents components = findComponents();
        pPatches.reset();
        stage.tick();
        report.numComponents = components.num;
        MeshPieces pieces{{}, faceOutward(mesh, components, vFlip)};
        report.numClosedComponents =
            static_cast<std::size_t>(std::count(pieces.vKind.begin(), pieces.vKind.end(), PieceKind::CLOSED));
        stage.tick();
        for (std::size_t t = 0; t < vFlip.size(); ++t) {
            if (!vFlip[t] || vDead[t]) continue;
            std::swap(mesh.indices[3 * t], mesh.indices[3 * t + 1]);
            ++report.numReversedTriangles;
        }
        removeTriangles(mesh.indices, vDead);
        pieces.vNumber = std::move(components.vNumber);
        std::erase(pieces.vNumber, none);
        return pieces;
    }

    // Two sides that were cut apart can still share both vertices, and so an edge.
    MeshComponents findComponents() const {
        DisjointSets pieces = joinedPatches();
        MeshComponents components;
        const std::vector<std::pair<VertexPair, std::uint32_t>> vAlone = sidesAlone();
        for (std::size_t i = 0; i < vAlone.size(); ++i) {
            const bool bPair = i + 1 < vAlone.size() && vAlone[i + 1].first == vAlone[i].first;
            if (!bPair) {
                components.vBorder.push_back(vAlone[i].second);
                continue;
            }
            pieces.join(pPatches->patchAt(vAlone[i].second), pPatches->patchAt(vAlone[i + 1].second));
            ++i;
            ASSEX(i+1==vAlone.size() || vAlone[i+1].first!=vAlone[i].first);
        }
        std::vector<std::uint32_t> vNumber(pPatches->vSize.size());  // by patch, whose order is that of triangles
        for (std::uint32_t i = 0; i < vNumber.size(); ++i) {
            const std::uint32_t root = pieces.find(i);
            vNumber[i] = root == i ? components.num++ : vNumber[root];
        }
        components.vNumber.resize(vDead.size(), none);
        for (std::size_t t = 0; t < vDead.size(); ++t)
            if (!vDead[t]) components.vNumber[t] = vNumber[pPatches->vPatch[t]];
        return components;
    }
    // Ends, side, in order.
    std::vector<std::pair<VertexPair, std::uint32_t>> sidesAlone() const {
        std::vector<std::pair<VertexPair, std::uint32_t>> vAlone;
        for (std::uint32_t side = 0; side < mesh.indices.size(); ++side) {
            if (pPatches->vPartner[side] != none || vDead[side / 3]) continue;
            vAlone.emplace_back(std::minmax(mesh.indices[side], mesh.indices[nextSide(side)]), side);
        }
        std::sort(vAlone.begin(), vAlone.end());
        return vAlone;
    }
};

}  // namespace

MeshPieces makeManifold(TriangleMesh& mesh, const ManifoldOptions& options, ManifoldReport& report) {
    report = ManifoldReport();
    return ManifoldMaker(mesh, options, report).run();
}

}  // namespace QUOR_ZEF
