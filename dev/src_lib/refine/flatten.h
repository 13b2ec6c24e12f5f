#pragma once

#include "flat/arrays.h"

namespace QUOR_ZEF {

class CMesh;
class RMesh;

// The triangles of a mesh of cells, with all cells that have a Bundle as vertices, in
// order of code, with colour. A triangle with a cell without Bundle fails an ASSEX,
// as does a NaN coordinate. Too many triangles: see checkMeshSize(). O(n).
TriangleMesh flatten(CMesh& mesh);

// A copy of the live part. O(n).
TriangleMesh flatten(const RMesh& mesh, VertexOrder order);

}  // namespace QUOR_ZEF
