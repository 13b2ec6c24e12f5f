#pragma once

#include <cstdint>
#include <vector>

#include "flat/arrays.h"

namespace QUOR_ZEF {

// Closes every border loop with a patch whose triangles are as long as those around. The triangles of patches
// come last. The mesh is manifold and oriented, and stays so. Returns a vertex of each loop. Of n edges one takes
// O(n^2) at worst, mostly O(n log n), besides O(m log m) for the m triangles of its patch.
std::vector<std::uint32_t> closeLoops(TriangleMesh& mesh, double cellSize);

// Takes away the triangles around every border loop, so many rings of them; the mesh stays manifold. O(n) a ring.
void widenHoles(TriangleMesh& mesh, int numRings);

}  // namespace QUOR_ZEF
