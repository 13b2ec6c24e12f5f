#pragma once

#include "flat/MeshPieces.h"
#include "flat/arrays.h"
#include "zef/meshCheck.h"

namespace QUOR_ZEF {

// The work of makeManifold(). No triangle may repeat a vertex. Vertices keep their
// numbers, those of no triangle too; copies are appended. Triangles keep their
// order and their corners, apart from the direction and from copies.
// Returns the components of the result, numbered in the order of their first triangles.
MeshPieces makeManifold(TriangleMesh& mesh, const ManifoldOptions& options, ManifoldReport& report);

}  // namespace QUOR_ZEF
