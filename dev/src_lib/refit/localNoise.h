#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "refit/FacePoints.h"
#include "refit/RefitSurface.h"

namespace QUOR_ZEF {

struct PointScale {
    double noise = -1.0;   // standard deviation of the points from the surface; -1 where too few tell it
    double spacing = 0.0;  // root of the area of a point
};

// The scatter and the density of points, by blocks of space. Lengths in world units.
class LocalNoise {
public:
    // At one triangle out of eight: what is left of the points around it when a paraboloid is taken
    // away, less what chance and creases add. Parallel; some 0.1 microseconds a triangle.
    // fallback: where there are too few samples; those of all points if there is none.
    LocalNoise(const RefitSurface& surface, const FacePoints& points, const std::optional<PointScale>& fallback = {});

    const PointScale& at(std::size_t face) const { return vLocal[vBlocks[face]]; }
    // Of all points.
    double noise() const { return overall.noise; }

private:
    std::vector<std::uint32_t> vBlocks;  // by triangle
    std::vector<PointScale> vLocal;      // by block
    PointScale overall;
};

}  // namespace QUOR_ZEF
