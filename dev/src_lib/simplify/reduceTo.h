#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "flat/arrays.h"

namespace QUOR_ZEF {

struct ReduceOptions;

// See simplify() in zef/refinement.h. Replaces the mesh; returns the error
// reached. Progress children "RM_rtscore", "RM_rtloop", "RM_rtmeas".
// Scores and measures on all threads, collapses on one. About 350 bytes a triangle,
// 150 more where there are colours.
//
// findBad, if given: triangles of a result that must not be. What was merged into their corners then merges less in
// a further attempt, of some; the last one may have such triangles all the same.
using FindTriangles = std::function<std::vector<std::uint32_t>(const TriangleMesh&)>;
double reduceTo(TriangleMesh& mesh, const ReduceOptions& options, const FindTriangles& findBad = {});

}  // namespace QUOR_ZEF
