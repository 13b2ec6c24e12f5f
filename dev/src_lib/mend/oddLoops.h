#pragma once

#include <cstddef>
#include <cstdint>
#include "flat/arrays.h"
#include "mend/Patches.h"

namespace QUOR_ZEF {

// Closes short loops of edges that an odd number of triangles share, with triangles
// of the smallest area among their own vertices, appended to the mesh: whatever
// pairs the triangles at such edges form, one would stay alone and leave a hole. A
// loop has at most 12 edges. Plain borders are holes: they are filled up to maxHole edges,
// and up to 40 in a body that has no large holes, those of more than 8 only if the filling
// goes on like what is around it; none if maxHole is 0. No triangle is made twice. Returns
// the number of loops closed. O(n), and the cube of its edges for a loop.
std::size_t closeOddLoops(TriangleMesh& mesh, const EdgeTable& edges, const Patches& patches, std::size_t maxHole);

}  // namespace QUOR_ZEF
