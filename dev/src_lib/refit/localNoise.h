#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "refit/FacePoints.h"
#include "refit/RefitSurface.h"

namespace QUOR_ZEF {

// The scatter and the density of points, by blocks of space. Lengths in world units.
class LocalNoise {
public:
    // At one triangle out of eight: what is left of the points around it when a paraboloid is taken
    // away, less what chance and creases add. Parallel; some 0.1 microseconds a triangle.
    LocalNoise(const RefitSurface& surface, const FacePoints& points);

    // Standard deviation of the points from the surface; -1 where there are too few.
    double noiseAt(std::size_t face) const { return vLocal[vBlocks[face]].noise; }
    // Root of the area of a point.
    double spacingAt(std::size_t face) const { return vLocal[vBlocks[face]].spacing; }
    double noise() const { return overall.noise; }

private:
    struct Local {
        double noise = -1.0, spacing = 0.0;
    };
    std::vector<std::uint32_t> vBlocks;  // by triangle
    std::vector<Local> vLocal;           // by block
    Local overall;
};

}  // namespace QUOR_ZEF
