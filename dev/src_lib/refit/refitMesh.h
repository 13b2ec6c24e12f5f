#pragma once

#include <optional>

#include "geometry/PointSource.h"
#include "refit/CoordinateSteps.h"
#include "refit/localNoise.h"
#include "zef/refinement.h"

namespace QUOR_ZEF {

// What is known of a mesh and its points beforehand, so that parts of them are fitted as the whole is. World units.
struct RefitScale {
    double edge = 0.0;                     // how long sides are, about; 0: their mean
    std::optional<PointScale> points;      // where too few points tell theirs; else that of all
    std::optional<CoordinateSteps> steps;  // else what the points tell
};

// The work of refit(). options.spacing must be known. The mesh must be manifold, its vertices
// all used. Progress child "RF_fit". Parallel.
RefitReport refitMesh(TriangleMesh& mesh, const PointSource& points, const RefitOptions& options,
                      const RefitScale& scale = {});

}  // namespace QUOR_ZEF
