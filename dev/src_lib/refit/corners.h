#pragma once

#include <cstdint>
#include <vector>

#include "refit/RefitSurface.h"
#include "refit/fitting.h"

namespace QUOR_ZEF {

// Vertices, ascending, and where they are to go.
struct Corners {
    std::vector<std::uint32_t> vVertices;
    std::vector<Vector3> vPlaces;
};

// Where three planes meet around a vertex of the part, that point for the nearest vertex that would
// be no farther than maxMove from its place in vOld. Needs the surface's true normals. Parallel.
Corners findCorners(const RefitSurface& surface, const RefitPart& part, const std::vector<FaceFit>& vFits,
                    const std::vector<Vector3>& vOld, double maxMove);

}  // namespace QUOR_ZEF
