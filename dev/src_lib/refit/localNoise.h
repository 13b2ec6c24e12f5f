#pragma once

#include <cstddef>
#include <vector>

#include "refit/FacePoints.h"
#include "refit/RefitSurface.h"

namespace QUOR_ZEF {

// The scatter and the density of points, by stretches of triangles that follow each other in the
// mesh, which lie together as reconstruct() makes them. Lengths in world units.
class LocalNoise {
public:
    static constexpr std::size_t stretch = 512;  // triangles

    // At every eighth triangle: what is left of the points around it when a paraboloid is taken
    // away, less what chance and creases add. Parallel; some 0.1 microseconds a triangle.
    LocalNoise(const RefitSurface& surface, const FacePoints& points);

    // Standard deviation of the points from the surface; -1 where there are too few.
    double noiseAt(std::size_t face) const { return vNoise[face / stretch]; }
    // Root of the area of a point.
    double spacingAt(std::size_t face) const { return vSpacing[face / stretch]; }
    double noise() const { return overall; }

private:
    std::vector<double> vNoise, vSpacing;  // by stretch
    double overall = -1.0;
};

}  // namespace QUOR_ZEF
