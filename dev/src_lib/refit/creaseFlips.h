#pragma once

#include <cstddef>

#include "refit/RefitSurface.h"

namespace QUOR_ZEF {

// Flips edges of the part where that bends the surface less, by the lengths of edges times their angles, and
// leaves no worse angles inside triangles: creases come straight, and slivers go (N. Dyn et al.,
// Optimizing 3D triangulations using discrete curvature analysis, 2000). One pass: the best
// first, none beside another. Needs the surface's true normals, and renews them. Returns how
// many flipped. Some 150 nanoseconds a triangle.
std::size_t flipToCreases(RefitSurface& surface, const RefitPart& part);

}  // namespace QUOR_ZEF
