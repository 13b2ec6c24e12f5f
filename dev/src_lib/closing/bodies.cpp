#include "closing/bodies.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>
#include <vector>

#include "flat/triangleSides.h"
#include "geometry/freeFunctions.h"
#include "store/DisjointSets.h"

namespace QUOR_ZEF {

namespace {

struct Body {
    std::uint32_t vertex = 0;      // its lowest one
    std::size_t numTriangles = 0;  // none: a vertex that nothing uses
    double area = 0.0, patchArea = 0.0, volume = 0.0;
    int depth = 0;  // bodies that it is in
    bool bSheet = false;
};

// Of the corners of a triangle, seen along z: on which side of the edge the place is.
double sideOf(const Point3& p, const Point3& a, const Point3& b) {
    return (b.px - a.px) * (p.py - a.py) - (b.py - a.py) * (p.px - a.px);
}

// 1 where the triangle is above the place and looks up, -1 where it looks down. What is exactly at
// an edge belongs to one of its triangles.
int crossingAbove(const Point3& p, const std::array<const Point3*, 3>& corners) {
    int windings = 0;
    for (std::size_t i = 0; i < 3; ++i) {
        const Point3 *pA = corners[i], *pB = corners[(i + 1) % 3];
        if ((pA->py > p.py) == (pB->py > p.py)) continue;
        const bool bUp = pB->py > p.py;
        if (!bUp) std::swap(pA, pB);
        if (sideOf(p, *pA, *pB) > 0.0) windings += bUp ? 1 : -1;
    }
    if (windings == 0) return 0;
    const Vector3 normal = cross(*corners[1] - *corners[0], *corners[2] - *corners[0]);
    const double below = normal * (p - *corners[0]);
    return (windings > 0 ? below < 0.0 : below > 0.0) ? windings : 0;
}

class Bodies {
public:
    explicit Bodies(TriangleMesh& mesh_) : mesh(mesh_), sets(mesh.vertices.size()) {
        for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
            sets.join(mesh.indices[i], mesh.indices[i + 1]);
            sets.join(mesh.indices[i], mesh.indices[i + 2]);
        }
        vNumber.assign(mesh.vertices.size(), 0);
        for (std::uint32_t i = 0; i < vNumber.size(); ++i) {
            if (sets.find(i) == i) {
                vNumber[i] = static_cast<std::uint32_t>(vBodies.size());
                vBodies.push_back({i});
            }
            vNumber[i] = vNumber[sets.find(i)];
        }
    }

    void measure(std::size_t firstOfPatches) {
        for (std::size_t t = 0; t < mesh.numTriangles(); ++t) {
            Body& body = vBodies[numberOf(t)];
            const auto corners = cornersOf(t);
            const Point3& origin = mesh.vertices[body.vertex];
            const Vector3 a = *corners[0] - origin, b = *corners[1] - origin, c = *corners[2] - origin;
            const double area = 0.5 * cross(b - a, c - a).length();
            ++body.numTriangles;
            body.area += area;
            if (t >= firstOfPatches) body.patchArea += area;
            body.volume += cross(a, b) * c / 6.0;
        }
    }

    void turnOutward() {
        for (std::size_t t = 0; t < mesh.numTriangles(); ++t)
            if (vBodies[numberOf(t)].volume < 0.0) std::swap(mesh.indices[3 * t + 1], mesh.indices[3 * t + 2]);
    }

    std::size_t markSheets(double cellSize) {
        constexpr double nothing = 0.5;                 // cells; no scan tells two sides that close apart
        constexpr double mostOwn = 0.8;                 // of the area, where patches close what is a body anyway
        constexpr double thinCells = 1.5, thin = 0.05;  // of the width
        for (Body& body : vBodies) {
            const double own = body.area - body.patchArea, width = std::sqrt(0.5 * body.area);
            const double thickness = 2.0 * std::abs(body.volume) / body.area;
            const bool bThin = !(thickness >= nothing * cellSize) ||
                               (own < mostOwn * body.area && thickness < std::max(thinCells * cellSize, thin * width));
            body.bSheet = bThin && body.numTriangles > 0;
        }
        return static_cast<std::size_t>(std::ranges::count_if(vBodies, [](const Body& b) { return b.bSheet; }));
    }

    std::vector<bool> ofSheets() const {
        std::vector<bool> vOfSheet(mesh.vertices.size());
        for (std::size_t i = 0; i < vOfSheet.size(); ++i) vOfSheet[i] = vBodies[vNumber[i]].bSheet;
        return vOfSheet;
    }

    // Counts how often a ray upward from one vertex of each leaves others, which all face outward.
    std::size_t findInner() {
        std::vector<std::pair<double, std::uint32_t>> vByX;
        for (std::uint32_t i = 0; i < vBodies.size(); ++i)
            if (!vBodies[i].bSheet && vBodies[i].numTriangles > 0)
                vByX.emplace_back(mesh.vertices[vBodies[i].vertex].px, i);
        if (vByX.size() < 2) return 0;
        std::sort(vByX.begin(), vByX.end());
        for (std::size_t t = 0; t < mesh.numTriangles(); ++t) {
            if (vBodies[numberOf(t)].bSheet) continue;
            const auto corners = cornersOf(t);
            const auto [low, high] = std::minmax({corners[0]->px, corners[1]->px, corners[2]->px});
            for (auto it = std::lower_bound(vByX.begin(), vByX.end(), std::pair{low, 0U});
                 it != vByX.end() && it->first <= high; ++it)
                if (it->second != numberOf(t))
                    vBodies[it->second].depth += crossingAbove(mesh.vertices[vBodies[it->second].vertex], corners);
        }
        return static_cast<std::size_t>(std::ranges::count_if(vBodies, [](const Body& b) { return b.depth > 0; }));
    }

    void drop() {
        std::vector<bool> vDead(mesh.numTriangles());
        for (std::size_t t = 0; t < vDead.size(); ++t) {
            const Body& body = vBodies[numberOf(t)];
            vDead[t] = body.bSheet || body.depth > 0;
        }
        removeTriangles(mesh.indices, vDead);
        renumberVertices(mesh, VertexOrder::MESH);
    }

private:
    TriangleMesh& mesh;
    DisjointSets sets;
    std::vector<Body> vBodies;
    std::vector<std::uint32_t> vNumber;  // by vertex

    std::uint32_t numberOf(std::size_t triangle) const { return vNumber[mesh.indices[3 * triangle]]; }
    std::array<const Point3*, 3> cornersOf(std::size_t triangle) const {
        const std::uint32_t* const p = &mesh.indices[3 * triangle];
        return {&mesh.vertices[p[0]], &mesh.vertices[p[1]], &mesh.vertices[p[2]]};
    }
};

}  // namespace

Sheets findSheets(TriangleMesh& mesh, std::size_t firstOfPatches, double cellSize) {
    Bodies bodies(mesh);
    bodies.measure(firstOfPatches);
    return {bodies.markSheets(cellSize), bodies.ofSheets()};
}

LeftOutPieces keepBodies(TriangleMesh& mesh, std::size_t firstOfPatches, double cellSize, bool bKeepInner) {
    LeftOutPieces left;
    Bodies bodies(mesh);
    bodies.measure(firstOfPatches);
    bodies.turnOutward();
    left.numSheets = bodies.markSheets(cellSize);
    if (!bKeepInner) left.numInner = bodies.findInner();
    bodies.drop();
    return left;
}

}  // namespace QUOR_ZEF
