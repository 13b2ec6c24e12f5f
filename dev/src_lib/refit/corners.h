#pragma once

#include <vector>

#include "refit/RefitSurface.h"

namespace QUOR_ZEF {

// Where three planes meet around a vertex of the part: that point for the nearest vertex, its own
// place for all others. By vertex. Needs the surface's true normals. Parallel.
std::vector<Vector3> placesOfCorners(const RefitSurface& surface, const RefitPart& part);

}  // namespace QUOR_ZEF
