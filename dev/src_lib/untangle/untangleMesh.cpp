#include "untangle/untangleMesh.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "check/selfIntersections.h"
#include "flat/VertexFans.h"
#include "frame/Progress.h"
#include "frame/tools.h"
#include "geometry/freeFunctions.h"
#include "store/DisjointSets.h"
#include "untangle/Knot.h"
#include "untangle/TangledSurface.h"

namespace QUOR_ZEF {

namespace {

using Indices = std::vector<std::uint32_t>;

// Triangles of pairs, those together that meet or have neighbours in common; in the order of
// their lowest ones.
std::vector<Indices> listKnots(const TangledSurface& surface, const std::vector<TrianglePair>& vPairs) {
    Indices vTriangles;
    for (const TrianglePair& pair : vPairs) vTriangles.insert(vTriangles.end(), pair.begin(), pair.end());
    std::sort(vTriangles.begin(), vTriangles.end());
    vTriangles.erase(std::unique(vTriangles.begin(), vTriangles.end()), vTriangles.end());
    const auto find = [&](std::uint32_t t) { return std::lower_bound(vTriangles.begin(), vTriangles.end(), t); };
    const auto place = [&](std::uint32_t t) { return static_cast<std::uint32_t>(find(t) - vTriangles.begin()); };
    DisjointSets sets(vTriangles.size());
    for (const TrianglePair& pair : vPairs) sets.join(place(pair[0]), place(pair[1]));
    for (const std::uint32_t t : vTriangles)
        for (const std::uint32_t u : surface.ringOf({t}))
            if (const auto it = find(u); it != vTriangles.end() && *it == u) sets.join(place(t), place(u));
    std::vector<Indices> vBySet(vTriangles.size()), vKnots;
    for (std::uint32_t i = 0; i < vTriangles.size(); ++i) vBySet[sets.find(i)].push_back(vTriangles[i]);
    for (Indices& vKnot : vBySet)
        if (!vKnot.empty()) vKnots.push_back(std::move(vKnot));
    std::sort(vKnots.begin(), vKnots.end());
    return vKnots;
}

bool areFloats(const std::vector<Coords>& vPlaces) {
    const auto isFloat = [](double x) { return nearestFloat(x) == x; };
    return std::ranges::all_of(vPlaces, [&](const Coords& p) { return std::ranges::all_of(p, isFloat); });
}

bool isInside(const TriangleMesh& mesh, std::span<const std::uint32_t> fan, std::uint32_t vertex) {
    Indices vStarts, vEnds;
    for (const std::uint32_t t : fan) {
        const std::uint32_t* const pCorners = &mesh.indices[3 * std::size_t{t}];
        const std::size_t i = pCorners[0] == vertex ? 0 : pCorners[1] == vertex ? 1 : 2;
        vStarts.push_back(pCorners[(i + 1) % 3]);
        vEnds.push_back(pCorners[(i + 2) % 3]);
    }
    std::sort(vStarts.begin(), vStarts.end());
    std::sort(vEnds.begin(), vEnds.end());
    return vStarts == vEnds;
}

// Surfaces that touch in one place have copies of the vertex there, which go a little way back. Those at
// borders are of seams, and stay together.
void partTouching(TriangleMesh& mesh, const std::vector<std::uint32_t>& vSame, bool bFloats) {
    constexpr double share = 0.1;  // of the way to the middle of the neighbours
    const VertexFans fans(mesh.indices, mesh.vertices.size());
    std::vector<bool> vTouches(vSame.size());
    for (std::uint32_t i = 0; i < vSame.size(); ++i)
        if (vSame[i] != i) vTouches[i] = vTouches[vSame[i]] = true;
    std::vector<std::pair<std::uint32_t, Point3>> vMoves;
    for (std::uint32_t i = 0; i < vSame.size(); ++i) {
        if (!vTouches[i] || fans[i].empty() || !isInside(mesh, fans[i], i)) continue;
        const Point3& place = mesh.vertices[i];
        Vector3 sum;
        for (const std::uint32_t t : fans[i])
            for (std::size_t k = 0; k < 3; ++k) sum += mesh.vertices[mesh.indices[3 * std::size_t{t} + k]] - place;
        const Point3 moved = place + sum * (share / (2.0 * static_cast<double>(fans[i].size())));
        vMoves.emplace_back(i, bFloats ? nearestFloats(moved) : moved);
    }
    for (const auto& [vertex, p] : vMoves) mesh.vertices[vertex].set(p);
}

struct Scale {
    double edge;   // the mean one
    bool bFloats;  // whether places are floats
};

std::size_t countTriangles(const std::vector<Indices>& vKnots) {
    std::size_t num = 0;
    for (const Indices& vKnot : vKnots) num += vKnot.size();
    return num;
}

// Returns how many pairs are left.
std::size_t partAll(TangledSurface& surface, std::vector<Indices> vKnots, const Scale& scale) {
    constexpr int mostRounds = 3;
    constexpr double farthest = 0.5, farther = 1.0, anyhow = 2.0;  // mean edges
    const std::vector<Coords> vFirst = surface.places();
    OptionalStage stage("UT_part", countTriangles(vKnots));
    std::size_t numLeft = 0;
    for (int round = 0; round < mostRounds && !vKnots.empty() && !surface.isTired(); ++round) {
        const bool bDrastically = round + 1 == mostRounds;
        const double move = round == 0 ? farthest : bDrastically ? anyhow : farther;
        numLeft = 0;
        std::vector<Indices> vLeft;
        for (const Indices& vKnot : vKnots) {
            Knot knot(surface, vFirst, {move * scale.edge, scale.bFloats, bDrastically});
            const std::size_t num = knot.loosen(vKnot);
            numLeft += num;
            if (num > 0) vLeft.push_back(knot.tangled());
            if (round == 0) stage.tick(vKnot.size());  // the other rounds are short
        }
        vKnots = std::move(vLeft);
    }
    stage.finish();
    if (surface.isTired() && numLeft > 0)
        showWarning("untangle", "too many triangles intersect to part all of them in reasonable time");
    return numLeft;
}

}  // namespace

UntangleReport untangleMesh(TriangleMesh& mesh) {
    // Some ten seconds of one thread; scans have less than one a triangle.
    const std::size_t mostPairs = 5'000'000 + 10 * mesh.numTriangles();
    UntangleReport report;
    OptionalStage finding("UT_find", 1);
    ExactTriangles triangles(mesh);
    const bool bFloats = areFloats(triangles.places.v);
    if (triangles.places.hasSame()) {
        partTouching(mesh, triangles.places.vSame, bFloats);
        triangles = ExactTriangles(mesh);
    }
    std::optional<TriangleGrid> grid;
    std::vector<TrianglePair> vPairs;
    if (!triangles.vCorners.empty()) {
        grid.emplace(triangles.places.v, triangles.vCorners);
        if (isTooCrowded(*grid)) {
            showWarning("untangle", "too many triangles lie in one place; none that intersect were looked for");
            finding.finish();
            OptionalStage("UT_part", 1).finish();
            return report;
        }
        vPairs = findIntersectingPairs(triangles, *grid, mostPairs);
    }
    report.numPairs = report.numPairsLeft = std::min(vPairs.size(), mostPairs);
    finding.finish();
    if (vPairs.size() > mostPairs) showWarning("untangle", "nearly all triangles intersect others; none were parted");
    if (vPairs.empty() || vPairs.size() > mostPairs) {
        OptionalStage("UT_part", 1).finish();
    } else {
        TangledSurface surface(mesh, triangles, *grid);
        const double edge = triangles.places.scaled(meanSideLength(mesh));
        report.numPairsLeft = partAll(surface, listKnots(surface, vPairs), {edge, bFloats});
        surface.writeTo(mesh);
        renumberVertices(mesh, VertexOrder::MESH);
    }
    return report;
}

}  // namespace QUOR_ZEF
