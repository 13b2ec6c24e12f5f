#include "refine/Manifold.h"

#include <algorithm>
#include <memory>
#include <tuple>

#include "frame/DisjointSets.h"
#include "frame/tools.h"
#include "geometry/freeFunctions.h"
#include "refine/Patches.h"
#include "refine/chambers.h"
#include "refine/defects.h"
#include "refine/edgePairs.h"
#include "refine/oddLoops.h"
#include "refine/outsides.h"
#include "refine/spuriousSheets.h"
#include "refine/triangleSides.h"

namespace QUOR_ZEF {

namespace {

constexpr std::uint32_t none = Patches::none;
constexpr int maxRings = 3;                    // of triangles around what cannot be mended
constexpr std::uint32_t maxFaultyBorder = 60;  // edges
constexpr std::uint32_t maxLoosePiece = 20;    // triangles of what is cut loose and goes,
constexpr std::uint32_t looseFactor = 10;      // and how much larger the rest must be

using VertexPair = std::pair<std::uint32_t, std::uint32_t>;

class ManifoldMaker {
public:
    ManifoldMaker(FlatMesh& mesh_, const ManifoldOptions& options_, ManifoldReport& report_)
        : mesh(mesh_), options(options_), report(report_) {}

    void run() {
        vSides = sortSides(mesh.vTriples);
        removeDuplicates();
        pPatches = std::make_unique<Patches>(mesh.vTriples, vSides);
        removeSheets();
        closeLoops();
        joinPatches();
        for (int numRings = 1; numRings <= maxRings && renewDefectsWithin(numRings); ++numRings) {
        }
        removeLoosePieces();
        report.numSeamEdges = pPatches->numSeamEdges;
        report.numNonManifoldEdges = pPatches->vManySides.size();
        splitVertices();
        vFlip = std::move(pPatches->vFlip);
        pPatches.reset();
        const ComponentCounts counts = faceOutward(mesh, sortSides(mesh.vTriples), vFlip);
        report.numComponents = counts.numComponents;
        report.numClosedComponents = counts.numClosed;
        reverseTriangles();
    }

private:
    FlatMesh& mesh;
    const ManifoldOptions options;
    ManifoldReport& report;
    std::vector<EdgeSide> vSides;  // these two as the triangles are now
    std::unique_ptr<Patches> pPatches;
    std::vector<std::uint8_t> vFlip;

    void followTriangles() {
        pPatches.reset();
        vSides = sortSides(mesh.vTriples);
        pPatches = std::make_unique<Patches>(mesh.vTriples, vSides);
    }

    void removeDuplicates() {
        const std::vector<std::uint32_t> vDuplicates = findDuplicates(mesh.vTriples, vSides);
        report.numRemovedDuplicates = vDuplicates.size();
        if (vDuplicates.empty()) return;
        std::vector<bool> vDead(mesh.numTriangles());
        for (const std::uint32_t t : vDuplicates) vDead[t] = true;
        removeTriangles(mesh.vTriples, vDead);
        vSides = sortSides(mesh.vTriples);
    }

    void removeSheets() {
        if (pPatches->vManySides.empty()) return;
        const SpuriousSheets sheets = findSpuriousSheets(vSides, *pPatches);
        report.numRemovedSheets = sheets.numSheets;
        report.numRemovedSheetTriangles = sheets.numTriangles;
        if (sheets.numSheets == 0) return;
        removeTriangles(mesh.vTriples, sheets.vDead);
        followTriangles();
    }

    void closeLoops() {
        const std::size_t numBefore = mesh.numTriangles();
        report.numClosedLoops = closeOddLoops(mesh, vSides, *pPatches, options.fillHoles);
        report.numAddedTriangles = mesh.numTriangles() - numBefore;
        if (report.numClosedLoops > 0) followTriangles();
    }

    void joinPatches() {
        orientByChambers(mesh, vSides, *pPatches);
        joinPairs(mesh, vSides, *pPatches);
        cutCrowdedEdges();
    }

    // Edges, by their vertices, that have triangles to join and leave one alone; and
    // short borders that meet them, which come of the same fault.
    std::vector<VertexPair> findDefects() const {
        std::vector<VertexPair> vDefects, vBorders;
        forEachEdge(vSides, [&](std::span<const EdgeSide> edge) {
            const auto isAlone = [&](const EdgeSide& entry) { return pPatches->vPartner[entry.second] == none; };
            if (edge.size() > maxCrowd || std::none_of(edge.begin(), edge.end(), isAlone)) return;
            const VertexPair ends(lowerVertex(edge[0]), static_cast<std::uint32_t>(edge[0].first & none));
            (edge.size() == 1 ? vBorders : vDefects).push_back(ends);
        });
        if (vDefects.empty() || vBorders.empty()) return vDefects;
        DisjointSets sets(mesh.vVertices.size());
        for (const VertexPair& ends : vDefects) sets.join(ends.first, ends.second);
        for (const VertexPair& ends : vBorders) sets.join(ends.first, ends.second);
        std::vector<std::uint32_t> vNumBorders(mesh.vVertices.size());
        std::vector<bool> vFaulty(mesh.vVertices.size());
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
        const RenewedDefects renewed = renewDefects(mesh, vSides, vDefects, numRings);
        if (renewed.numPlaces == 0) return true;
        report.numRenewedPlaces += renewed.numPlaces;
        report.numRenewedTriangles += renewed.numRemoved;
        report.numAddedTriangles += renewed.numAdded;
        followTriangles();
        joinPatches();
        return true;
    }

    // What hangs together with something much larger at single vertices, or was cut
    // loose from it.
    void removeLoosePieces() {
        DisjointSets pieces(mesh.numTriangles());
        for (std::uint32_t side = 0; side < mesh.vTriples.size(); ++side)
            if (pPatches->vPartner[side] != none) pieces.join(side / 3, pPatches->vPartner[side] / 3);
        std::vector<std::uint32_t> vSize(mesh.numTriangles());
        for (std::uint32_t t = 0; t < vSize.size(); ++t) ++vSize[pieces.find(t)];
        const auto forEachCorner = [&](auto&& f) {
            for (std::uint32_t corner = 0; corner < mesh.vTriples.size(); ++corner)
                f(pieces.find(corner / 3), mesh.vTriples[corner]);
        };
        std::vector<std::uint32_t> vLargest(mesh.vVertices.size());  // at each vertex
        forEachCorner([&](std::uint32_t piece, std::uint32_t vertex) {
            vLargest[vertex] = std::max(vLargest[vertex], vSize[piece]);
        });
        std::vector<bool> vLoose(mesh.numTriangles());  // by piece
        forEachCorner([&](std::uint32_t piece, std::uint32_t vertex) {
            if (vSize[piece] <= maxLoosePiece && vLargest[vertex] >= looseFactor * vSize[piece]) vLoose[piece] = true;
        });
        std::vector<bool> vDead(mesh.numTriangles());
        for (std::uint32_t t = 0; t < vDead.size(); ++t) vDead[t] = vLoose[pieces.find(t)];
        const auto numDead = static_cast<std::size_t>(std::count(vDead.begin(), vDead.end(), true));
        if (numDead == 0) return;
        report.numRemovedSheets += static_cast<std::size_t>(std::count(vLoose.begin(), vLoose.end(), true));
        report.numRemovedSheetTriangles += numDead;
        removeTriangles(mesh.vTriples, vDead);
        followTriangles();
        joinPatches();
    }

    // The corners that belong to one vertex afterwards: those that hang together
    // across joined sides. Only those at vertices for which isAsked(vertex).
    template <class IsAsked>
    DisjointSets joinCorners(const IsAsked& isAsked) const {
        const Patches& patches = *pPatches;
        DisjointSets corners(mesh.vTriples.size());
        for (std::uint32_t side = 0; side < mesh.vTriples.size(); ++side) {
            const std::uint32_t other = patches.vPartner[side], next = nextSide(side);
            if (other == none || other < side) continue;
            const bool bSame = patches.haveSameDirection(side, other);
            if (isAsked(mesh.vTriples[side])) corners.join(side, bSame ? other : nextSide(other));
            if (isAsked(mesh.vTriples[next])) corners.join(next, bSame ? nextSide(other) : other);
        }
        return corners;
    }

    // A vertex can meet one edge twice on the way around: then more than two
    // triangles would still share the edge. Once all of them are cut apart, no vertex
    // has more than two of them, which are the ends of its fan.
    void cutCrowdedEdges() {
        Patches& patches = *pPatches;
        if (patches.vManySides.empty()) return;
        std::vector<bool> vAtMany(mesh.vVertices.size());
        for (const std::uint32_t first : patches.vManySides)
            vAtMany[lowerVertex(vSides[first])] = vAtMany[vSides[first].first & none] = true;
        DisjointSets corners = joinCorners([&](std::uint32_t vertex) { return vAtMany[vertex]; });
        std::vector<std::tuple<std::uint32_t, std::uint32_t, std::uint32_t>> vHere;  // corners, side
        for (const std::uint32_t first : patches.vManySides) {
            const auto edge = sidesFrom(vSides, first);
            vHere.clear();
            for (const EdgeSide& entry : edge) {
                const std::uint32_t atA = cornerAt(mesh.vTriples, entry.second, lowerVertex(entry));
                const std::uint32_t atB = atA == entry.second ? nextSide(entry.second) : entry.second;
                vHere.emplace_back(corners.find(atA), corners.find(atB), entry.second);
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
        DisjointSets corners = joinCorners([](std::uint32_t) { return true; });
        const std::size_t numBefore = mesh.vVertices.size();
        std::vector<std::uint8_t> vNumSets(numBefore);  // 2 for more
        std::vector<std::uint32_t> vVertex(mesh.vTriples.size());
        for (std::uint32_t corner = 0; corner < mesh.vTriples.size(); ++corner) {
            const std::uint32_t root = corners.find(corner), vertex = mesh.vTriples[corner];
            if (root != corner) {
                vVertex[corner] = vVertex[root];
                continue;
            }
            if (vNumSets[vertex] == 0) {
                vVertex[corner] = vertex;
            } else {
                vVertex[corner] = static_cast<std::uint32_t>(mesh.vVertices.size());
                mesh.vVertices.push_back(Point3(mesh.vVertices[vertex]));
                if (vNumSets[vertex] == 1) ++report.numSplitVertices;
            }
            vNumSets[vertex] = static_cast<std::uint8_t>(std::min(vNumSets[vertex] + 1, 2));
        }
        report.numAddedVertices = mesh.vVertices.size() - numBefore;
        mesh.vTriples = std::move(vVertex);
    }

    void reverseTriangles() {
        for (std::size_t t = 0; t < vFlip.size(); ++t) {
            if (!vFlip[t]) continue;
            std::swap(mesh.vTriples[3 * t], mesh.vTriples[3 * t + 1]);
            ++report.numReversedTriangles;
        }
    }
};

}  // namespace

void makeManifold(FlatMesh& mesh, const ManifoldOptions& options, ManifoldReport& report) {
    report = ManifoldReport();
    ManifoldMaker(mesh, options, report).run();
}

}  // namespace QUOR_ZEF
