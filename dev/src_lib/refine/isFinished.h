#pragma once

#include "zef/TriangleMesh.h"

namespace QUOR_ZEF {

class EdgeTable;

// Whether RMesh::finishMesh() would leave these triangles as they are: none repeats
// another, all neighbours agree about their side, and each has a sound angle at
// corner 0. Says false as well for some surfaces with one side only. No triangle may
// repeat a vertex. O(n); uses the task pool.
bool isFinished(const TriangleMesh& mesh);

// Whether no edge of two triangles runs through both in one direction. Uses the task pool.
bool areOriented(const TriangleMesh& mesh, const EdgeTable& edges);

}  // namespace QUOR_ZEF
