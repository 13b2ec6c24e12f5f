#pragma once

#include "geometry/PointSource.h"
#include "zef/refinement.h"

namespace QUOR_ZEF {

// The work of refit(). options.spacing must be known. The mesh must be manifold, its vertices
// all used. Progress child "RF_fit". Parallel. edge: how long its sides are, about; 0 for their mean.
RefitReport refitMesh(TriangleMesh& mesh, const PointSource& points, const RefitOptions& options, double edge = 0.0);

}  // namespace QUOR_ZEF
