#pragma once

#include "flat/arrays.h"

namespace QUOR_ZEF {

struct ReduceOptions;

// See simplify() in zef/refinement.h. Replaces the mesh; returns the error
// reached. Progress children "RM_rtscore", "RM_rtloop", "RM_rtmeas".
// Scores and measures on all threads, collapses on one. About 350 bytes a triangle,
// 150 more where there are colours.
double reduceTo(TriangleMesh& mesh, const ReduceOptions& options);

}  // namespace QUOR_ZEF
