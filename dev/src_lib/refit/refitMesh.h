#pragma once

#include "geometry/PointSource.h"
#include "zef/refinement.h"

namespace QUOR_ZEF {

// The work of refit(). options.spacing must be known. The mesh must be manifold, its vertices
// all used. Progress child "RF_fit". Parallel.
RefitReport refitMesh(TriangleMesh& mesh, const PointSource& points, const RefitOptions& options);

}  // namespace QUOR_ZEF
