#pragma once

#include <cstdint>
#include <vector>

#include "simplify/FanSurface.h"
#include "simplify/TriangleTree.h"

namespace QUOR_ZEF {

// How far one surface is from another, at points on its triangles: the corners, the
// middles of sides, the middle, and for large triangles a grid between them.
class SurfaceDistance {
public:
    struct Excess {
        std::uint32_t from, to;  // triangles: of the farthest point, and of its foot
    };

    // Both borrowed. vNear: for each vertex of the one, a vertex of the other nearby,
    // with triangles; the better, the faster. gridWidth: world units, above 0.
    // sqKnown: a squared distance that is reached elsewhere; the higher, the faster.
    // sqLimit: the least that findBeyond() will be asked for. Parallel; about half a microsecond a triangle.
    SurfaceDistance(const FanSurface& from, const FanSurface& to, std::vector<std::uint32_t> vNear, double gridWidth,
                    double sqKnown, double sqLimit);

    // Squared; sqKnown, or the limit if that is less, where nothing is farther than
    // that. O(n) beyond the few that have to be looked up.
    double findLargestSq() const;
    // The triangles with points beyond the limit, ascending.
    std::vector<Excess> findBeyond(double sqLimit) const;

private:
    template <class F>
    void forEachPoint(std::uint32_t triangle, F&& f) const;
    double walk(std::uint32_t vertex, const Vector3& p, double sqNearEnough) const;
    double boundOf(std::uint32_t triangle) const;
    double reachedBySome() const;
    Foot findFarthest(std::uint32_t triangle, double sqAtLeast) const;

    const FanSurface &from, &to;
    const std::vector<std::uint32_t> vNear;
    const double gridWidth;
    mutable TriangleTree tree;
    double sqEnough = 0.0;        // closer than that is as good as 0
    std::vector<double> vBounds;  // by triangle of the one: nothing of it is farther, in squares
};

}  // namespace QUOR_ZEF
