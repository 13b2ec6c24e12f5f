#pragma once

#include <cstddef>
#include <span>

#include "simplify/FanSurface.h"
#include "simplify/TriangleTree.h"
#include "zef/Point3.h"

namespace QUOR_ZEF {

// The closest points of a surface to many others. Memory: 60 bytes a triangle beside the surface.
class NearestFeet {
public:
    // The surface is borrowed, and has triangles. O(n log n), some 0.2 microseconds a triangle.
    explicit NearestFeet(const FanSurface& surface);

    // A foot for each of the points, which are finite; feet has as many places. Fast where
    // neighbours among them are near each other: some 2 to 5 microseconds of one thread a point. On all threads; the
    // feet do not depend on them, also where several triangles are equally near.
    void find(std::span<const Point3> points, std::span<Foot> feet) const;

private:
    const FanSurface& surface;
    TriangleTree tree;

    void findBlock(std::span<const Point3> points, std::span<Foot> feet) const;
};

}  // namespace QUOR_ZEF
