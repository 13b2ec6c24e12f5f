#pragma once

#include <vector>

#include "geometry/PointSource.h"
#include "zef/refinement.h"

namespace QUOR_ZEF {

// The work of refit(). options.spacing must be known. The mesh must be manifold, its vertices
// all used. Progress child "RF_fit". Parallel. vFixed: the triangles of which no side flips, by number, or empty.
RefitReport refitMesh(TriangleMesh& mesh, const PointSource& points, const RefitOptions& options,
                      const std::vector<bool>& vFixed = {});

}  // namespace QUOR_ZEF
