#pragma once

#include "flat/FlatMesh.h"
#include "zef/meshCheck.h"

namespace QUOR_ZEF {

// The work of checkMesh(). No triangle may repeat a vertex; vertices of no triangle
// do not count.
MeshReport checkTriangles(const FlatMesh& mesh);

}  // namespace QUOR_ZEF
