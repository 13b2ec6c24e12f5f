#pragma once

#include <cstddef>
#include <cstdint>
#include "flat/arrays.h"
#include "mend/Patches.h"

namespace QUOR_ZEF {

// Closes short loops of edges that an odd number of triangles share, with triangles
// of the smallest area among their own vertices, appended to the mesh: whatever
// pairs the triangles at such edges form, one would stay alone and leave a hole. A
// loop has at most 12 edges; at most 8 if it is a plain border; but 40 in a body
// that has no large holes, if the filling goes on like what is around it, and none
// without bHoles. No
// triangle is made twice. Returns the number of loops closed.
// O(n), and O(40^3) a loop.
std::size_t closeOddLoops(TriangleMesh& mesh, const EdgeTable& edges, const Patches& patches, bool bHoles);

}  // namespace QUOR_ZEF
