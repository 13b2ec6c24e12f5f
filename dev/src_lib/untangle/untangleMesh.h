#pragma once

#include "flat/arrays.h"
#include "zef/meshCheck.h"

namespace QUOR_ZEF {

// The work of untangle(). The mesh is manifold.
UntangleReport untangleMesh(TriangleMesh& mesh);

}  // namespace QUOR_ZEF
