#include "check/thinPlaces.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <tuple>
#include <utility>
#include <vector>

#include "check/TriangleGrid.h"
#include "check/selfIntersections.h"
#include "flat/EdgeTable.h"
#include "frame/Progress.h"
#include "geometry/freeFunctions.h"
#include "parallel/parallelGroups.h"
#include "store/DisjointSets.h"
#include "zef/errors.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t minRays = 512;
// Rays go so many mean edges between two looks at what is near, but look no oftener than that.
constexpr double stepEdges = 2.0, mostLooks = 64.0;
constexpr double leastOpposed = 0.8;  // cosine

Vector3 toVector(const Coords& p) {
    return {p[0], p[1], p[2]};
}

// How far it is from the middle of a triangle to the other face of the wall, and which triangle is there.
struct Wall {
    std::uint32_t triangle = 0, opposite = 0;
    double thickness = 0.0;
};

// By rays from the middle of each triangle to where it does not look (L. Shapira, A. Shamir, D. Cohen-Or, Consistent
// mesh partitioning and skeletonisation using the shape diameter function, 2008). One thread at a time.
class WallFinder {
public:
    WallFinder(const ExactTriangles& triangles_, const TriangleGrid& grid_, double thickness, double edge)
        : triangles(triangles_),
          grid(grid_),
          most(thickness),
          step(std::max(stepEdges * edge, thickness / mostLooks)) {}

    // Appends it, if there is one.
    void find(std::uint32_t t, std::vector<Wall>& vWalls) {
        const std::array<Vector3, 3> a = cornersOf(t);
        const Vector3 middle = (a[0] + a[1] + a[2]) / 3.0, normal = unitNormal(a);
        for (double from = 0.0; from < most; from += step) {
            const double to = std::min(from + step, most);
            vNear.clear();
            grid.findNear(boxAround(middle - normal * from, middle - normal * to), vNear);
            Wall wall{t, t, std::numeric_limits<double>::infinity()};
            for (const std::uint32_t u : vNear) {
                const double distance = distanceTo(u, t, middle, normal);
                if (distance < wall.thickness) wall = {t, u, distance};
            }
            if (wall.opposite == t || wall.thickness > to) continue;
            if (isOpposed(wall.opposite, normal)) vWalls.push_back(wall);
            return;
        }
    }

private:
    const ExactTriangles& triangles;
    const TriangleGrid& grid;
    double most, step;
    std::vector<std::uint32_t> vNear;  // kept for its memory

    std::array<Vector3, 3> cornersOf(std::uint32_t t) const {
        const CrossingTest::Corners& corners = triangles.vCorners[t];
        return {toVector(triangles.places.v[corners[0]]), toVector(triangles.places.v[corners[1]]),
                toVector(triangles.places.v[corners[2]])};
    }
    static Vector3 unitNormal(const std::array<Vector3, 3>& a) { return normalize(cross(a[1] - a[0], a[2] - a[0])); }
    static CoordBox boxAround(const Vector3& p, const Vector3& q) {
        return {{std::min(p.vx, q.vx), std::min(p.vy, q.vy), std::min(p.vz, q.vz)},
                {std::max(p.vx, q.vx), std::max(p.vy, q.vy), std::max(p.vz, q.vz)}};
    }
    bool areNeighbours(std::uint32_t t, std::uint32_t u) const {
        return std::ranges::any_of(triangles.vCorners[t], [&](std::uint32_t corner) {
            return std::ranges::count(triangles.vCorners[u], corner) > 0;
        });
    }
    bool isOpposed(std::uint32_t u, const Vector3& normal) const {
        return unitNormal(cornersOf(u)) * normal <= -leastOpposed;
    }

    // Along the ray; infinite where it passes by. What is met on an edge counts (T. Möller, B. Trumbore, Fast, minimum
    // storage ray-triangle intersection, 1997).
    double distanceTo(std::uint32_t u, std::uint32_t t, const Vector3& middle, const Vector3& normal) const {
        constexpr double never = std::numeric_limits<double>::infinity(), slack = 1e-9;
        if (areNeighbours(t, u)) return never;
        const std::array<Vector3, 3> b = cornersOf(u);
        const Vector3 right = b[1] - b[0], up = b[2] - b[0], way = middle - b[0];
        const Vector3 across = cross(normal, up);
        const double area = right * across;
        if (area == 0.0) return never;
        const double first = (way * across) / area;
        const Vector3 other = cross(way, right);
        const double second = (normal * other) / area;
        if (!(first >= -slack && second >= -slack && first + second <= 1.0 + slack)) return never;
        const double distance = -(up * other) / area;
        return distance >= 0.0 ? distance : never;
    }
};

std::vector<Wall> findWalls(const ExactTriangles& triangles, double thickness, double edge) {
    OptionalStage cells("SI_cells", 1);
    const TriangleGrid grid(triangles.places.v, triangles.vCorners);
    cells.finish();
    if (isTooCrowded(grid))
        throw TooLargeError("too many triangles lie in one place, as around one vertex, to look for thin walls");
    const std::size_t num = triangles.vCorners.size();
    OptionalStage stage("TH_walls", num);
    std::vector<Wall> vWalls;
    for (const std::vector<Wall>&vPart : parallelGroupResults<std::vector<Wall>>(
             num, minRays,
             [&](std::size_t begin, std::size_t end) {
                 WallFinder finder(triangles, grid, thickness, edge);
                 std::vector<Wall> vFound;
                 for (std::size_t t = begin; t < end; ++t) finder.find(static_cast<std::uint32_t>(t), vFound);
                 return vFound;
             },
             [&](std::size_t numDone) { stage.tick(numDone); }))
        vWalls.insert(vWalls.end(), vPart.begin(), vPart.end());
    return vWalls;
}

// Both faces of a wall, and what hangs together across edges, are one place.
DisjointSets joinWalls(const TriangleMesh& mesh, const std::vector<Wall>& vWalls) {
    DisjointSets places(mesh.numTriangles());
    std::vector<bool> vThin(mesh.numTriangles());
    for (const Wall& wall : vWalls) {
        vThin[wall.triangle] = vThin[wall.opposite] = true;
        places.join(wall.triangle, wall.opposite);
    }
    const EdgeTable edges(mesh.indices, mesh.vertices.size());
    edges.forEachEdge([&](const Edge& edge) {
        for (std::size_t i = 1; i < edge.size(); ++i)
            if (vThin[edge[i - 1] / 3] && vThin[edge[i] / 3]) places.join(edge[i - 1] / 3, edge[i] / 3);
    });
    return places;
}

Point3 middleOf(const TriangleMesh& mesh, std::uint32_t t) {
    const std::uint32_t* const p = &mesh.indices[3 * std::size_t{t}];
    const Point3& a = mesh.vertices[p[0]];
    const Vector3 way = (mesh.vertices[p[1]] - a) + (mesh.vertices[p[2]] - a);
    return a + way / 3.0;
}

// vWalls: by numbers in the mesh.
std::vector<ThinPlace> placesOf(const TriangleMesh& mesh, const std::vector<Wall>& vWalls) {
    DisjointSets sets = joinWalls(mesh, vWalls);
    std::vector<std::pair<std::uint32_t, const Wall*>> vOrder;  // by place, then by thickness
    vOrder.reserve(vWalls.size());
    for (const Wall& wall : vWalls) vOrder.emplace_back(sets.find(wall.triangle), &wall);
    std::ranges::sort(vOrder, {}, [](const auto& entry) {
        return std::tuple(entry.first, entry.second->thickness, entry.second->triangle);
    });
    std::vector<ThinPlace> places;
    for (std::size_t i = 0; i < vOrder.size(); ++i) {
        if (i == 0 || vOrder[i].first != vOrder[i - 1].first) {
            const Wall& thinnest = *vOrder[i].second;
            const Point3 here = middleOf(mesh, thinnest.triangle), there = middleOf(mesh, thinnest.opposite);
            places.push_back({thinnest.thickness, here + (there - here) / 2.0, 0});
        }
        ++places.back().numTriangles;
    }
    std::ranges::stable_sort(places, {}, &ThinPlace::thickness);
    return places;
}

}  // namespace

ThinReport measureThinPlaces(const TriangleMesh& mesh, double thickness) {
    ThinReport report;
    report.limit = thickness;
    const ExactTriangles triangles(mesh);
    if (triangles.vCorners.size() < 2) return report;
    const ExactPlaces& places = triangles.places;
    std::vector<Wall> vWalls = findWalls(triangles, places.scaled(thickness), places.scaled(meanSideLength(mesh)));
    for (Wall& wall : vWalls)
        wall = {triangles.vNumbers[wall.triangle], triangles.vNumbers[wall.opposite], places.unscaled(wall.thickness)};
    report.numTriangles = vWalls.size();
    report.places = placesOf(mesh, vWalls);
    return report;
}

}  // namespace QUOR_ZEF
