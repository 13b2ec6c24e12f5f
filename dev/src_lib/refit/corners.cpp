#include "refit/corners.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

#include "geometry/freeFunctions.h"
#include "parallel/parallelTransform.h"

namespace QUOR_ZEF {

namespace {

// Triangles of about one plane.
struct Side {
    FaceNormal first;  // found first
    Vector3 normal, centre;
    double area = 0.0;
};

class CornerSearch {
public:
    explicit CornerSearch(const RefitSurface& surface_) : surface(surface_) {}

    // To where the three largest sides around the vertex meet, if that is near; else 0.
    Vector3 findMove(std::uint32_t vertex) {
        constexpr double farthest = 1.0;    // mean edges
        constexpr double leastShare = 0.1;  // of the area
        constexpr double leastSpan = 0.25;  // of three normals; 1 where they are at right angles
        gather(vertex);
        if (vSides.size() < 3) return {};
        std::sort(vSides.begin(), vSides.end(), [](const Side& a, const Side& b) { return a.area > b.area; });
        double area = 0.0;
        for (const Side& side : vSides) area += side.area;
        if (vSides[2].area < leastShare * area) return {};
        std::array<Vector3, 3> n;
        const Vector3& place = surface.vPlaces[vertex];
        const auto height = [&](std::size_t i) { return n[i] * (vSides[i].centre / vSides[i].area - place); };
        for (std::size_t i = 0; i < 3; ++i) n[i] = normalize(vSides[i].normal);
        const Vector3 a = cross(n[1], n[2]), b = cross(n[2], n[0]), c = cross(n[0], n[1]);
        const double span = n[0] * a;
        if (std::abs(span) < leastSpan) return {};
        const Vector3 away = (a * height(0) + b * height(1) + c * height(2)) / span;
        return away.length() > farthest * surface.edge ? Vector3() : away;
    }

private:
    const RefitSurface& surface;
    std::vector<std::uint32_t> vFaces;
    std::vector<Side> vSides;

    // The triangles of two rings, by their planes.
    void gather(std::uint32_t vertex) {
        constexpr float sameCosine = 0.94F;
        vFaces.clear();
        for (const std::uint32_t t : surface.fans[vertex])
            for (std::size_t side = 3 * std::size_t{t}; side < 3 * std::size_t{t} + 3; ++side)
                for (const std::uint32_t other : surface.fans[surface.vTriples[side]]) vFaces.push_back(other);
        std::sort(vFaces.begin(), vFaces.end());
        vFaces.erase(std::unique(vFaces.begin(), vFaces.end()), vFaces.end());
        vSides.clear();
        for (const std::uint32_t t : vFaces) {
            const FaceNormal& n = surface.vNormals[t];
            auto it = std::find_if(vSides.begin(), vSides.end(),
                                   [&](const Side& side) { return side.first * n > sameCosine; });
            if (it == vSides.end()) it = vSides.insert(vSides.end(), {n, {}, {}, 0.0});
            it->normal += n.toVector() * double{n.area};
            it->centre += surface.vCentres[t] * double{n.area};
            it->area += double{n.area};
        }
    }
};

// Whether no neighbour finds a corner nearer to itself.
bool isNearest(const RefitSurface& surface, const std::vector<Vector3>& vMoves, std::uint32_t vertex) {
    const double square = vMoves[vertex].sqLength();
    for (const std::uint32_t t : surface.fans[vertex]) {
        for (std::size_t side = 3 * std::size_t{t}; side < 3 * std::size_t{t} + 3; ++side) {
            const std::uint32_t other = surface.vTriples[side];
            const double otherSquare = vMoves[other].sqLength();
            if (otherSquare > 0.0 && (otherSquare < square || (otherSquare == square && other < vertex))) return false;
        }
    }
    return true;
}

}  // namespace

std::vector<Vector3> placesOfCorners(const RefitSurface& surface, const RefitPart& part) {
    std::vector<Vector3> vMoves(surface.numVertices());  // 0: no corner
    parallelChunks(part.vVertices.size(), RefitSurface::minChunk, [&](std::size_t begin, std::size_t end) {
        CornerSearch search(surface);
        for (std::size_t i = begin; i < end; ++i) vMoves[part.vVertices[i]] = search.findMove(part.vVertices[i]);
    });
    std::vector<Vector3> vPlaces = surface.vPlaces;
    for (const std::uint32_t vertex : part.vVertices)
        if (!vMoves[vertex].isDegenerate() && isNearest(surface, vMoves, vertex)) vPlaces[vertex] += vMoves[vertex];
    return vPlaces;
}

}  // namespace QUOR_ZEF
