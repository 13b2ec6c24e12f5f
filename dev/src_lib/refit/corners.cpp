#include "refit/corners.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <numeric>

#include "flat/triangleSides.h"
#include "geometry/freeFunctions.h"
#include "parallel/parallelTransform.h"

namespace QUOR_ZEF {

namespace {

constexpr double sameCosine = 0.94;
constexpr auto sameCosine_F = static_cast<float>(sameCosine);
static_assert(double{sameCosine_F} < sameCosine, "what is more than one is more than the other, as it should be");

// Triangles of about one plane.
struct Side {
    FaceNormal first;  // found first
    Vector3 normal, centre;
    double area = 0.0;
};

// Some triangles; their normals and areas beside each other, so that several are compared at once.
struct NormalList {
    std::vector<std::uint32_t> vFaces;
    std::vector<float> vX, vY, vZ, vAreas;

    std::size_t size() const { return vFaces.size(); }
    double areaOfAll() const { return std::accumulate(vAreas.begin(), vAreas.end(), 0.0); }

    void assign(const RefitSurface& surface, const std::vector<std::uint32_t>& vFaces_) {
        resize(vFaces_.size());
        for (std::size_t i = 0; i < vFaces_.size(); ++i) {
            const FaceNormal& n = surface.vNormals[vFaces_[i]];
            vFaces[i] = vFaces_[i];
            vX[i] = n.x;
            vY[i] = n.y;
            vZ[i] = n.z;
            vAreas[i] = n.area;
        }
    }
    FaceNormal operator[](std::size_t i) const { return {vX[i], vY[i], vZ[i], vAreas[i]}; }

    // Which of the triangles looks as most of their area does; vSums: for work.
    std::size_t mostCommon(std::vector<double>& vSums) const {
        vSums.assign(size(), 0.0);
        for (std::size_t k = 0; k < size(); ++k) {
            const FaceNormal other = (*this)[k];
            const double area{other.area};
            for (std::size_t i = 0; i < size(); ++i) {
                const float cosine = vX[i] * other.x + vY[i] * other.y + vZ[i] * other.z;
                vSums[i] += cosine > sameCosine_F ? area : 0.0;
            }
        }
        return static_cast<std::size_t>(std::max_element(vSums.begin(), vSums.end()) - vSums.begin());
    }

    // Takes out those about as the normal lies, and calls fn(face) for them.
    template <class Fn>
    void takeSame(const FaceNormal& normal, const Fn& fn) {
        std::size_t num = 0;
        for (std::size_t i = 0; i < size(); ++i) {
            if (normal * (*this)[i] > sameCosine_F) {
                fn(vFaces[i]);
                continue;
            }
            vFaces[num] = vFaces[i];
            vX[num] = vX[i];
            vY[num] = vY[i];
            vZ[num] = vZ[i];
            vAreas[num++] = vAreas[i];
        }
        resize(num);
    }

private:
    void resize(std::size_t num) {
        vFaces.resize(num);
        for (std::vector<float>* const p : {&vX, &vY, &vZ, &vAreas}) p->resize(num);
    }
};

class CornerSearch {
public:
    explicit CornerSearch(const RefitSurface& surface_) : surface(surface_) {}

    // To where the three largest sides around the vertex meet, if that is near; else 0. bNoisy: by more triangles.
    Vector3 findMove(std::uint32_t vertex, bool bNoisy) {
        constexpr double farthest = 1.0;  // mean edges
        if (!listNeighbors(vertex) || isSmooth(vertex)) return {};
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
    static constexpr double leastShare = 0.1, leastTogether = 0.85;  // of the area
    static constexpr double leastSpan = 0.5;  // of three normals; 1 where they are at right angles
    static constexpr std::size_t mostOfFans = 768;
    const RefitSurface& surface;
    std::vector<std::uint32_t> vFaces, vCorners, vNeighbors;
    NormalList left;
    std::vector<double> vSums;
    std::vector<Side> vSides;

    // Those of the vertex, each once; false where vertices have too many triangles for a corner.
    bool listNeighbors(std::uint32_t vertex) {
        std::size_t numOfFans = surface.fans[vertex].size();
        vNeighbors.clear();
        const auto add = [&](std::uint32_t i) {
            vNeighbors.push_back(i);
            numOfFans += surface.fans[i].size();
        };
        for (const std::uint32_t t : surface.fans[vertex]) {
            std::uint32_t side = 3 * t;
            while (surface.vTriples[side] != vertex) ++side;
            add(surface.vTriples[nextSide(side)]);
            const std::uint32_t previous = previousSide(side);
            if (surface.isBorder(previous)) add(surface.vTriples[previous]);
        }
        return numOfFans <= mostOfFans;
    }

    // Whether the normals of two rings lie in a cone so narrow that no three of them span enough.
    bool isSmooth(std::uint32_t vertex) const {
        constexpr float narrow = 0.89F;  // three at its rim span 1.5 sqrt(3) sin^2 cos
        Vector3 sum;
        for (const std::uint32_t t : surface.fans[vertex]) sum += surface.vNormals[t].toVector();
        const Vector3 n = normalize(sum);
        const FaceNormal axis{static_cast<float>(n.vx), static_cast<float>(n.vy), static_cast<float>(n.vz), 0.0F};
        const auto isNear = [&](std::uint32_t t) {
            return surface.vNormals[t] * axis > narrow || surface.vNormals[t].area == 0.0F;
        };
        return std::all_of(vNeighbors.begin(), vNeighbors.end(), [&](std::uint32_t i) {
            return std::all_of(surface.fans[i].begin(), surface.fans[i].end(), isNear);
        });
    }

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

    void listTwoRings(std::uint32_t vertex) {
        vFaces.assign(surface.fans[vertex].begin(), surface.fans[vertex].end());
        for (const std::uint32_t i : vNeighbors) {
            for (const std::uint32_t t : surface.fans[i]) {
                const std::uint32_t* const p = &surface.vTriples[3 * std::size_t{t}];
                if (p[0] != vertex && p[1] != vertex && p[2] != vertex) vFaces.push_back(t);
            }
        }
        keepDifferent(vFaces);
    }

    // The triangles of two rings by their planes, the largest first; not all where these make no corner.
    void gather(std::uint32_t vertex) {
        listTwoRings(vertex);
        vSides.clear();
        left.assign(surface, vFaces);
        const double area = left.areaOfAll();
        for (double areaLeft = area; left.size() > 0;) {
            Side side{left[left.mostCommon(vSums)], {}, {}, 0.0};
            left.takeSame(side.first, [&](std::uint32_t t) { add(t, side); });
            if (!(side.area > 0.0)) return;
            vSides.push_back(side);
            areaLeft -= side.area;
            if (!mayBeCorner(areaLeft, area)) return vSides.clear();
        }
    }

    // By the sides so far, of which none is larger than the one before; areaLeft: of those to come.
    bool mayBeCorner(double areaLeft, double area) const {
        constexpr double slack = 1e-6;  // for roundings
        const std::size_t num = vSides.size();
        if (num > 3) return true;
        if (num < 3 && areaLeft < static_cast<double>(3 - num) * (leastShare - slack) * area) return false;
        if (num == 2)
            return cross(normalize(vSides[0].normal), normalize(vSides[1].normal)).length() > leastSpan - slack;
        return num < 3 ||
               (vSides[2].area > (leastShare - slack) * area && areaLeft < (1.0 - leastTogether + slack) * area);
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
    // Sorted, too. A few by how many are less, which takes no jumps that depend on them.
    static void keepDifferent(std::vector<std::uint32_t>& v) {
        constexpr std::size_t few = 64;
        if (v.size() > few) {
            std::sort(v.begin(), v.end());
            v.erase(std::unique(v.begin(), v.end()), v.end());
            return;
        }
        std::array<std::uint32_t, few> aRanks{}, aSorted;
        for (const std::uint32_t other : v)
            for (std::size_t i = 0; i < v.size(); ++i) aRanks[i] += other < v[i] ? 1 : 0;
        const auto end = aSorted.begin() + static_cast<std::ptrdiff_t>(v.size());
        std::fill(aSorted.begin(), end, RefitSurface::none);
        for (std::size_t i = 0; i < v.size(); ++i) aSorted[aRanks[i]] = v[i];
        v.erase(std::remove_copy(aSorted.begin(), end, v.begin(), RefitSurface::none), v.end());
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
