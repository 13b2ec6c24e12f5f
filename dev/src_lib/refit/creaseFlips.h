#pragma once

#include <cstddef>

#include "refit/RefitSurface.h"

namespace QUOR_ZEF {

// Flips edges of the part where that bends the surface less, by the lengths of edges times their angles, and
// leaves no worse angles inside triangles: creases come straight, and slivers go (N. Dyn et al.,
// Optimizing 3D triangulations using discrete curvature analysis, 2000). In a pass the best go
// first, none beside another; the next one looks only at what lies beside flips. Needs the surface's true
// normals, and renews them. Some 100 nanoseconds a triangle.
void flipToCreases(RefitSurface& surface, const RefitPart& part, int numPasses);

}  // namespace QUOR_ZEF
