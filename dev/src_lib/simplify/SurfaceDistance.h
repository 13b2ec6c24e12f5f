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
    // Parallel; about a microsecond a triangle.
    SurfaceDistance(const FanSurface& from, const FanSurface& to, std::vector<std::uint32_t> vNear, double gridWidth);

    // Squared. O(n) beyond the few that have to be looked up.
    double findLargestSq() const;
    // The triangles with points beyond a squared distance, ascending.
    std::vector<Excess> findBeyond(double sqLimit) const;

private:
    template <class F>
    void forEachPoint(std::uint32_t triangle, F&& f) const;
    double boundOf(std::uint32_t triangle) const;
    Foot findFarthest(std::uint32_t triangle, double sqAtLeast) const;

    const FanSurface &from, &to;
    const std::vector<std::uint32_t> vNear;
    const double gridWidth;
    const TriangleTree tree;
    std::vector<double> vBounds;  // by triangle of the one: nothing of it is farther, in squares
};

}  // namespace QUOR_ZEF
