#include "refine/Manifold.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <numeric>
#include <tuple>

#include "frame/tools.h"
#include "geometry/freeFunctions.h"
#include "refine/triangleSides.h"

namespace QUOR_ZEF {

namespace {

constexpr std::uint32_t none = 0xffffffffu;
constexpr std::uint32_t maxSheetTriangles = 20;  // of a sheet that may be removed
constexpr std::uint32_t sheetFactor = 10;        // how much larger its neighbours must be

// Removes the marked triangles; the others keep their order.
void removeTriangles(std::vector<std::uint32_t>& vTriples, const std::vector<bool>& vDead) {
    std::size_t to = 0;
    for (std::size_t side = 0; side < vTriples.size(); ++side)
        if (!vDead[side / 3]) vTriples[to++] = vTriples[side];
    vTriples.resize(to);
}

// Patches are triangles connected across edges of two triangles. Each triangle has
// a flip, so that those of one patch are oriented alike, but for seams.
class Patches {
public:
    std::vector<std::uint32_t> vPatch;      // of each triangle
    std::vector<std::uint32_t> vSize;       // triangles of each patch
    std::vector<std::uint8_t> vFlip;        // of each triangle
    std::vector<std::uint32_t> vPartner;    // of each side: the one it is joined to, or none
    std::vector<std::uint32_t> vManySides;  // first entry, in the sorted sides, of each edge of three or more
    std::size_t numSeamEdges = 0;

    Patches(const std::vector<std::uint32_t>& vTriples_, const std::vector<EdgeSide>& vSides)
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
            if (vPatch[t] == none) flood(t);
        cutSeams(vSides);
    }

    void join(std::uint32_t side, std::uint32_t other) {
        vPartner[side] = other;
        vPartner[other] = side;
    }
    void cut(std::uint32_t side) {
        if (vPartner[side] == none) return;
        vPartner[vPartner[side]] = none;
        vPartner[side] = none;
    }
    // Whether the triangles of the two sides of one edge run through it in one
    // direction as they stand in the input.
    bool haveSameDirection(std::uint32_t side, std::uint32_t other) const { return vTriples[side] == vTriples[other]; }

private:
    const std::vector<std::uint32_t>& vTriples;
    std::vector<std::uint32_t> vQueue;

    // Breadth first, so that the seam of a surface with one side is short.
    void flood(std::uint32_t seed) {
        const auto patch = static_cast<std::uint32_t>(vSize.size());
        vQueue.assign(1, seed);
        vPatch[seed] = patch;
        std::size_t numFlipped = 0;
        for (std::size_t i = 0; i < vQueue.size(); ++i) {
            const std::uint32_t t = vQueue[i];
            numFlipped += vFlip[t];
            for (std::uint32_t side = 3 * t; side < 3 * t + 3; ++side) {
                const std::uint32_t other = vPartner[side];
                if (other == none || vPatch[other / 3] != none) continue;
                vPatch[other / 3] = patch;
                vFlip[other / 3] = vFlip[t] ^ (haveSameDirection(side, other) ? 1 : 0);
                vQueue.push_back(other / 3);
            }
        }
        // Most triangles stay as they are.
        if (2 * numFlipped > vQueue.size())
            for (const std::uint32_t t : vQueue) vFlip[t] ^= 1;
        vSize.push_back(static_cast<std::uint32_t>(vQueue.size()));
    }

    void cutSeams(const std::vector<EdgeSide>& vSides) {
        forEachEdge(vSides, [&](std::span<const EdgeSide> edge) {
            if (edge.size() != 2) return;
            const std::uint32_t side = edge[0].second, other = edge[1].second;
            if (haveSameDirection(side, other) == (vFlip[side / 3] != vFlip[other / 3])) return;
            cut(side);
            ++numSeamEdges;
        });
    }
};

// The sides at one edge of three or more triangles.
std::span<const EdgeSide> sidesFrom(const std::vector<EdgeSide>& vSides, std::size_t first) {
    std::size_t end = first + 1;
    while (end < vSides.size() && vSides[end].first == vSides[first].first) ++end;
    return {vSides.data() + first, end - first};
}

// Finds small sheets that stand on large ones.
class SheetFinder {
public:
    SheetFinder(const std::vector<EdgeSide>& vSides_, const Patches& patches_)
        : vSides(vSides_), patches(patches_), vDegree(patches.vManySides.size()) {
        for (std::uint32_t edge = 0; edge < vDegree.size(); ++edge) {
            const auto sides = sidesFrom(vSides, patches.vManySides[edge]);
            vDegree[edge] = static_cast<std::uint32_t>(sides.size());
            for (const EdgeSide& entry : sides) {
                const std::uint32_t patch = patches.vPatch[entry.second / 3];
                if (patches.vSize[patch] <= maxSheetTriangles) vAtEdge.emplace_back(patches.vSize[patch], patch, edge);
            }
        }
        std::sort(vAtEdge.begin(), vAtEdge.end());
    }

    // By patch; the smallest go first, so that a sheet on a sheet can go before it.
    std::vector<bool> find(std::size_t& numSheets) {
        vGone.resize(patches.vSize.size());
        for (std::size_t i = 0, end = 0; i < vAtEdge.size(); i = end) {
            const std::uint32_t patch = std::get<1>(vAtEdge[i]);
            for (end = i; end < vAtEdge.size() && std::get<1>(vAtEdge[end]) == patch;) ++end;
            bool bGoes = true;
            for (std::size_t k = i; k < end && bGoes; ++k) bGoes = standsOnLargeOnes(patch, std::get<2>(vAtEdge[k]));
            if (!bGoes) continue;
            vGone[patch] = true;
            ++numSheets;
            for (std::size_t k = i; k < end; ++k) --vDegree[std::get<2>(vAtEdge[k])];
        }
        return vGone;
    }

private:
    const std::vector<EdgeSide>& vSides;
    const Patches& patches;
    std::vector<std::uint32_t> vDegree;  // of each edge of many, without what is gone
    std::vector<std::tuple<std::uint32_t, std::uint32_t, std::uint32_t>> vAtEdge;  // size, patch, edge
    std::vector<bool> vGone;

    bool standsOnLargeOnes(std::uint32_t patch, std::uint32_t edge) const {
        if (vDegree[edge] != 3) return false;
        int numOwn = 0;
        for (const EdgeSide& entry : sidesFrom(vSides, patches.vManySides[edge])) {
            const std::uint32_t other = patches.vPatch[entry.second / 3];
            if (vGone[other]) continue;
            if (other == patch) {
                ++numOwn;
            } else if (patches.vSize[other] < sheetFactor * patches.vSize[patch]) {
                return false;
            }
        }
        return numOwn == 1;
    }
};

// Which patches go together, and whether one must be turned for that.
class PatchJoiner {
public:
    explicit PatchJoiner(const std::vector<std::uint32_t>& vSize_)
        : vSize(vSize_), vParent(vSize.size()), vTurned(vSize.size()) {
        std::iota(vParent.begin(), vParent.end(), 0u);
    }
    // Relative to the orientation that the patch had at first.
    bool isTurned(std::uint32_t patch) const {
        bool bTurned = false;
        for (; vParent[patch] != patch; patch = vParent[patch]) bTurned ^= vTurned[patch];
        return bTurned;
    }
    // Orients a and b alike or, with bOpposite, against each other, relative to their
    // first orientation. False if they are bound otherwise already. The smaller one
    // turns, and chains stay short since it is hung below the larger one.
    bool join(std::uint32_t a, std::uint32_t b, bool bOpposite) {
        const bool bTurn = isTurned(a) ^ isTurned(b) ^ bOpposite;
        a = rootOf(a);
        b = rootOf(b);
        if (a == b) return !bTurn;
        if (vSize[a] < vSize[b]) std::swap(a, b);
        vParent[b] = a;
        vTurned[b] = bTurn;
        vSize[a] += vSize[b];
        return true;
    }

private:
    std::vector<std::uint32_t> vSize;
    std::vector<std::uint32_t> vParent;
    std::vector<bool> vTurned;  // against the parent

    std::uint32_t rootOf(std::uint32_t patch) const {
        while (vParent[patch] != patch) patch = vParent[patch];
        return patch;
    }
};

// Two sides of an edge of many that could stay together. Lower ones come first.
struct Candidate {
    int rank;
    double bend;  // radians from flat
    std::uint32_t side, other;
    bool operator<(const Candidate& c) const {
        return std::tie(rank, bend, side, other) < std::tie(c.rank, c.bend, c.side, c.other);
    }
};

// Sorts the triangles at an edge by angle, and lists neighbours as candidates.
class EdgePairer {
public:
    EdgePairer(const FlatMesh& mesh_, const Patches& patches_) : mesh(mesh_), patches(patches_) {}

    void addCandidates(std::span<const EdgeSide> edge, std::vector<Candidate>& vCandidates) {
        sortByAngle(edge);
        const bool bSolid = isSolid();
        for (std::size_t i = 0; i < vTurns.size(); ++i) {
            const bool bLast = i + 1 == vTurns.size();
            const Turn& here = vTurns[i];
            const Turn& next = vTurns[bLast ? 0 : i + 1];
            const double wedge = next.angle - here.angle + (bLast ? 2.0 * M_PI : 0.0);
            const bool bInside = bSolid && !here.bForward;
            vCandidates.push_back({bInside ? 0 : bSolid ? 2 : 1, std::abs(wedge - M_PI), here.side, next.side});
        }
    }

private:
    struct Turn {
        double angle;
        std::uint32_t side;
        bool bForward;  // the normal points to larger angles
    };
    const FlatMesh& mesh;
    const Patches& patches;
    std::vector<Turn> vTurns;

    void sortByAngle(std::span<const EdgeSide> edge) {
        const std::uint32_t a = lowerVertex(edge[0]), b = static_cast<std::uint32_t>(edge[0].first & none);
        const Point3& origin = mesh.vVertices[a];
        const Vector3 axis = normalize(mesh.vVertices[b] - origin);
        Vector3 xAxis, yAxis;
        vTurns.clear();
        for (const auto& [key, side] : edge) {
            const Vector3 arm = mesh.vVertices[mesh.vTriples[previousSide(side)]] - origin;
            if (xAxis.isDegenerate()) {
                Vector3 upright = arm;
                upright -= axis * (arm * axis);
                xAxis = normalize(upright);
                yAxis = cross(axis, xAxis);
            }
            const double angle = std::atan2(arm * yAxis, arm * xAxis);
            const bool bForward = (mesh.vTriples[side] == a) != (patches.vFlip[side / 3] != 0);
            vTurns.push_back({std::isnan(angle) ? 0.0 : angle, side, bForward});
        }
        std::sort(vTurns.begin(), vTurns.end(),
                  [](const Turn& s, const Turn& t) { return std::tie(s.angle, s.side) < std::tie(t.angle, t.side); });
    }

    // Whether the triangles, as they are oriented, bound matter all around.
    bool isSolid() const {
        if (vTurns.size() % 2 != 0) return false;
        for (std::size_t i = 1; i < vTurns.size(); ++i)
            if (vTurns[i].bForward == vTurns[i - 1].bForward) return false;
        return true;
    }
};

class ManifoldMaker {
public:
    ManifoldMaker(FlatMesh& mesh_, ManifoldReport& report_) : mesh(mesh_), report(report_) {}

    void run() {
        vSides = sortSides(mesh.vTriples);
        removeDuplicates();
        {
            auto pPatches = std::make_unique<Patches>(mesh.vTriples, vSides);
            if (removeSheets(*pPatches)) pPatches = std::make_unique<Patches>(mesh.vTriples, vSides);
            Patches& patches = *pPatches;
            report.numSeamEdges = patches.numSeamEdges;
            report.numNonManifoldEdges = patches.vManySides.size();
            joinPatches(patches);
            splitVertices(patches);
            vFlip = std::move(patches.vFlip);
        }
        orientComponents();
        reverseTriangles();
    }

private:
    FlatMesh& mesh;
    ManifoldReport& report;
    std::vector<EdgeSide> vSides;
    std::vector<std::uint8_t> vFlip;

    void remove(const std::vector<bool>& vDead) {
        removeTriangles(mesh.vTriples, vDead);
        vSides = sortSides(mesh.vTriples);
    }

    void removeDuplicates() {
        const std::vector<std::uint32_t> vDuplicates = findDuplicates(mesh.vTriples, vSides);
        report.numRemovedDuplicates = vDuplicates.size();
        if (vDuplicates.empty()) return;
        std::vector<bool> vDead(mesh.numTriangles());
        for (const std::uint32_t t : vDuplicates) vDead[t] = true;
        remove(vDead);
    }

    bool removeSheets(const Patches& patches) {
        const std::vector<bool> vGone = SheetFinder(vSides, patches).find(report.numRemovedSheets);
        if (report.numRemovedSheets == 0) return false;
        std::vector<bool> vDead(mesh.numTriangles());
        for (std::size_t t = 0; t < vDead.size(); ++t) vDead[t] = vGone[patches.vPatch[t]];
        report.numRemovedSheetTriangles = static_cast<std::size_t>(std::count(vDead.begin(), vDead.end(), true));
        remove(vDead);
        return true;
    }

    // The best pairs of the whole mesh come first, since a pair can bind how two
    // patches are turned against each other.
    void joinPatches(Patches& patches) const {
        std::vector<Candidate> vCandidates;
        EdgePairer pairer(mesh, patches);
        for (const std::uint32_t first : patches.vManySides)
            pairer.addCandidates(sidesFrom(vSides, first), vCandidates);
        std::sort(vCandidates.begin(), vCandidates.end());
        PatchJoiner joiner(patches.vSize);
        for (const Candidate& c : vCandidates) {
            if (patches.vPartner[c.side] != none || patches.vPartner[c.other] != none) continue;
            const std::uint32_t t = c.side / 3, other = c.other / 3;
            const bool bClash =
                patches.haveSameDirection(c.side, c.other) != (patches.vFlip[t] != patches.vFlip[other]);
            if (joiner.join(patches.vPatch[t], patches.vPatch[other], bClash)) patches.join(c.side, c.other);
        }
        for (std::size_t t = 0; t < patches.vFlip.size(); ++t)
            if (joiner.isTurned(patches.vPatch[t])) patches.vFlip[t] ^= 1;
    }

    // The corners that belong to one vertex afterwards: those that hang together
    // across joined sides.
    DisjointSets joinCorners(const Patches& patches) const {
        DisjointSets corners(mesh.vTriples.size());
        for (std::uint32_t side = 0; side < mesh.vTriples.size(); ++side) {
            const std::uint32_t other = patches.vPartner[side];
            if (other == none || other < side) continue;
            const bool bSame = patches.haveSameDirection(side, other);
            corners.join(side, bSame ? other : nextSide(other));
            corners.join(nextSide(side), bSame ? nextSide(other) : other);
        }
        return corners;
    }

    // A vertex can meet one edge twice on the way around: then more than two
    // triangles would still share the edge. Once all of them are cut apart, no vertex
    // has more than two of them, which are the ends of its fan.
    bool cutCrowdedEdges(Patches& patches, DisjointSets& corners) const {
        bool bCut = false;
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
                bCut = true;
            }
        }
        return bCut;
    }

    // Each set of corners becomes a vertex; the first set of a vertex keeps it.
    void splitVertices(Patches& patches) {
        DisjointSets corners = joinCorners(patches);
        if (cutCrowdedEdges(patches, corners)) corners = joinCorners(patches);
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

    void orientComponents() {
        vSides = sortSides(mesh.vTriples);
        DisjointSets components(mesh.numTriangles());
        forEachEdge(vSides, [&](std::span<const EdgeSide> edge) {
            ASSEX(edge.size()<=2);
            if (edge.size() == 2) components.join(edge[0].second / 3, edge[1].second / 3);
        });
        std::vector<bool> vOpen(mesh.numTriangles());  // by root, as the other two
        forEachEdge(vSides, [&](std::span<const EdgeSide> edge) {
            if (edge.size() == 1) vOpen[components.find(edge[0].second / 3)] = true;
        });
        std::vector<double> vVolume(mesh.numTriangles());
        std::vector<int64> vExcess(mesh.numTriangles());  // flipped triangles less the others
        for (std::uint32_t t = 0; t < mesh.numTriangles(); ++t) {
            const std::uint32_t root = components.find(t);
            vExcess[root] += vFlip[t] ? 1 : -1;
            vVolume[root] += volumeAt(t, mesh.vVertices[mesh.vTriples[3 * root]]);
        }
        for (std::uint32_t t = 0; t < mesh.numTriangles(); ++t) {
            const std::uint32_t root = components.find(t);
            if (root == t) ++report.numComponents;
            if (root == t && !vOpen[root]) ++report.numClosedComponents;
            const bool bTurn = vOpen[root] ? vExcess[root] > 0 : vVolume[root] < 0.0;
            if (bTurn) vFlip[t] ^= 1;
        }
    }

    // Six times the volume between the triangle, as it will be oriented, and the point.
    double volumeAt(std::uint32_t t, const Point3& origin) const {
        const Vector3 a = mesh.vVertices[mesh.vTriples[3 * t]] - origin;
        const Vector3 b = mesh.vVertices[mesh.vTriples[3 * t + 1]] - origin;
        const Vector3 c = mesh.vVertices[mesh.vTriples[3 * t + 2]] - origin;
        const double volume = a * cross(b, c);
        return vFlip[t] ? -volume : volume;
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

void makeManifold(FlatMesh& mesh, ManifoldReport& report) {
    report = ManifoldReport();
    ManifoldMaker(mesh, report).run();
}

}  // namespace QUOR_ZEF
