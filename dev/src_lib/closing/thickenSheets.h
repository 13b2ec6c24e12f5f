#pragma once

#include <cstddef>

#include "flat/arrays.h"

namespace QUOR_ZEF {

// Gives each open piece that closing would only cover, see keepBodies(), a second face so far behind it, and a wall
// along its borders: then it encloses a volume. The mesh is manifold and oriented, and stays so; triangles may
// intersect where it bends more tightly than that. Returns how many pieces. As closeLoops().
std::size_t thickenSheets(TriangleMesh& mesh, double thickness, double cellSize);

}  // namespace QUOR_ZEF
