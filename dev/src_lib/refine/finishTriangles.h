#pragma once

#include "zef/TriangleMesh.h"

namespace QUOR_ZEF {

// What RMesh::finishMesh() would make of the triangles: those that live afterwards, in their order, bit for bit. The
// vertices stay, used or not. An RMesh is made only of what lies around triangles that are to go. False, and
// nothing changed, where that does not do: triangles that repeat others, surfaces with one side only, collapses that
// go far. No triangle may repeat a vertex. cellSize: as for the RMesh.
// Progress children "RM_cpo" and "RM_kdeg". O(n), some 50 nanoseconds a triangle; uses the task pool.
bool finishTriangles(TriangleMesh& mesh, double cellSize);

}  // namespace QUOR_ZEF
