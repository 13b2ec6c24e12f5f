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

    // To where the three largest sides around the vertex meet, if that is near; else 0. bNoisy: by more triangles.
    Vector3 findMove(std::uint32_t vertex, bool bNoisy) {
        constexpr double farthest = 1.0;                          // mean edges
        constexpr double leastShare = 0.1, leastTogether = 0.85;  // of the area
        constexpr double leastSpan = 0.5;                         // of three normals; 1 where they are at right angles
        gather(vertex);
        if (vSides.size() < 3) return {};
        double area = 0.0;
        for (const Side& side : vSides) area += side.area;
        if (vSides[2].area < leastShare * area || spanOf() < leastSpan) return {};
        if (vSides[0].area + vSides[1].area + vSides[2].area < leastTogether * area) return {};
        widen(bNoisy ? 2 : 1);
        if (spanOf() < leastSpan) return {};
        const Vector3 away = toCorner(surface.vPlaces[vertex]);
        return away.length() > farthest * surface.edge ? Vector3() : away;
    }

private:
    static constexpr double sameCosine = 0.94;
    const RefitSurface& surface;
    std::vector<std::uint32_t> vFaces, vLeft, vCorners;
    std::vector<Side> vSides;

    // Of the normals of the first three sides.
    double spanOf() const {
        return std::abs(normalize(vSides[0].normal) * cross(normalize(vSides[1].normal), normalize(vSides[2].normal)));
    }
    Vector3 toCorner(const Vector3& place) const {
        std::array<Vector3, 3> n;
        for (std::size_t i = 0; i < 3; ++i) n[i] = normalize(vSides[i].normal);
        const auto height = [&](std::size_t i) { return n[i] * (vSides[i].centre / vSides[i].area - place); };
        const Vector3 a = cross(n[1], n[2]), b = cross(n[2], n[0]), c = cross(n[0], n[1]);
        return (a * height(0) + b * height(1) + c * height(2)) / (n[0] * a);
    }

    // The triangles of two rings by their planes, the largest first.
    void gather(std::uint32_t vertex) {
        vFaces.assign(surface.fans[vertex].begin(), surface.fans[vertex].end());
        vSides.clear();
        if (!addRing()) return;
        vLeft = vFaces;
        while (!vLeft.empty()) {
            Side side{surface.vNormals[mostCommon()], {}, {}, 0.0};
            std::erase_if(vLeft, [&](std::uint32_t t) {
                if (!(double{side.first * surface.vNormals[t]} > sameCosine)) return false;
                add(t, side);
                return true;
            });
            if (!(side.area > 0.0)) return;
            vSides.push_back(side);
        }
    }

    // Which of the triangles left looks as most of their area does.
    std::uint32_t mostCommon() const {
        std::uint32_t best = vLeft.front();
        double most = 0.0;
        for (const std::uint32_t t : vLeft) {
            double area = 0.0;
            for (const std::uint32_t u : vLeft)
                if (double{surface.vNormals[t] * surface.vNormals[u]} > sameCosine)
                    area += double{surface.vNormals[u].area};
            if (area > most) best = t;
            most = std::max(most, area);
        }
        return best;
    }

    void add(std::uint32_t face, Side& side) const {
        const FaceNormal& n = surface.vNormals[face];
        side.normal += n.toVector() * double{n.area};
        side.centre += surface.vCentres[face] * double{n.area};
        side.area += double{n.area};
    }

    // The first three sides anew, by so many rings more.
    void widen(int numRings) {
        for (int ring = 0; ring < numRings && addRing();) ++ring;
        std::array<Vector3, 3> n;
        for (std::size_t i = 0; i < 3; ++i) {
            n[i] = normalize(vSides[i].normal);
            vSides[i] = {vSides[i].first, {}, {}, 0.0};
        }
        for (const std::uint32_t t : vFaces)
            for (std::size_t i = 0; i < 3; ++i)
                if (surface.vNormals[t] * n[i] > sameCosine) add(t, vSides[i]);
    }

    // To the triangles those around; false, with nothing added, where vertices have too many for a corner.
    bool addRing() {
        constexpr std::size_t mostOfFans = 768;
        vCorners.clear();
        for (const std::uint32_t t : vFaces)
            for (std::size_t side = 3 * std::size_t{t}, end = side + 3; side < end; ++side)
                vCorners.push_back(surface.vTriples[side]);
        keepDifferent(vCorners);
        std::size_t numOfFans = 0;
        for (const std::uint32_t i : vCorners) numOfFans += surface.fans[i].size();
        if (numOfFans > mostOfFans) return false;
        vFaces.clear();
        for (const std::uint32_t i : vCorners)
            vFaces.insert(vFaces.end(), surface.fans[i].begin(), surface.fans[i].end());
        keepDifferent(vFaces);
        return true;
    }
    static void keepDifferent(std::vector<std::uint32_t>& v) {
        std::sort(v.begin(), v.end());
        v.erase(std::unique(v.begin(), v.end()), v.end());
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

Corners findCorners(const RefitSurface& surface, const RefitPart& part, const std::vector<FaceFit>& vFits,
                    const std::vector<Vector3>& vOld, double maxMove) {
    constexpr double noisyRadius = 0.6;                  // mean edges
    std::vector<Vector3> vMoves(surface.numVertices());  // 0: no corner
    parallelChunks(part.vVertices.size(), RefitSurface::minChunk, [&](std::size_t begin, std::size_t end) {
        CornerSearch search(surface);
        for (std::size_t i = begin; i < end; ++i) {
            const std::uint32_t vertex = part.vVertices[i];
            const bool bNoisy = double{vFits[surface.fans[vertex][0]].radius} > noisyRadius * surface.edge;
            const Vector3 move = search.findMove(vertex, bNoisy);
            if ((surface.vPlaces[vertex] + move - vOld[vertex]).length() <= maxMove) vMoves[vertex] = move;
        }
    });
    Corners corners;
    for (const std::uint32_t vertex : part.vVertices) {
        if (vMoves[vertex].isDegenerate() || !isNearest(surface, vMoves, vertex)) continue;
        corners.vVertices.push_back(vertex);
        corners.vPlaces.push_back(surface.vPlaces[vertex] + vMoves[vertex]);
    }
    return corners;
}

}  // namespace QUOR_ZEF
