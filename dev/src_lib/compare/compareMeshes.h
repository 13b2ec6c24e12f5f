#pragma once

#include "zef/compare.h"

namespace QUOR_ZEF {

// The work of compare() for options and meshes that have been checked. The calling thread's plan
// has the stages CP_there and CP_back.
Comparison compareMeshes(const TriangleMesh& mesh, const TriangleMesh& reference, const CompareOptions& options);

}  // namespace QUOR_ZEF
