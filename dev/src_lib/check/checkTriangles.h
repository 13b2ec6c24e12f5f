#pragma once

#include "flat/arrays.h"
#include "zef/meshCheck.h"

namespace QUOR_ZEF {

// The work of checkMesh(). No triangle may repeat a vertex; vertices of no triangle
// do not count.
MeshReport checkTriangles(const TriangleMesh& mesh);

}  // namespace QUOR_ZEF
