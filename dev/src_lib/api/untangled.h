#pragma once

#include "zef/meshCheck.h"

namespace QUOR_ZEF {

// Whether floats keep places in the box of these vertices, which are at about this distance.
bool isHeldByFloats(const TriangleMesh& mesh, double spacing);

// Parts triangles that intersect, of a manifold mesh with vertices at about this distance. Where a file will
// hold it in floats, its vertices become floats first, so that it stays as it is there.
UntangleReport untangleForFiles(TriangleMesh& mesh, double spacing);
// All coordinates to the nearest floats.
void roundToFloats(TriangleMesh& mesh);

}  // namespace QUOR_ZEF
