#pragma once

#include <vector>

#include "flat/triangleSides.h"
#include "zef/TriangleMesh.h"

namespace QUOR_ZEF {

// Of meshes in which no triangle repeats a vertex. O(n); use the task pool.

// The edges of exactly one triangle, lower vertex first, ascending.
std::vector<VertexPair> findBorderEdges(const TriangleMesh& mesh);

// In world units, each edge once, summed as the triangles bring them; 0 without
// triangles.
double meanEdgeLength(const TriangleMesh& mesh);

}  // namespace QUOR_ZEF
