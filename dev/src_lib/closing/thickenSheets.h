#pragma once

#include <cstddef>

#include "flat/arrays.h"

namespace QUOR_ZEF {

struct ThickenedSheets {
    std::size_t num = 0;
    std::size_t numLoops = 0;        // that were closed, of other pieces
    std::size_t firstOfPatches = 0;  // the first triangle of their patches, which come last
};

// Gives each open piece that closing would only cover, see keepBodies(), a second face so far behind it, and a wall
// along its borders: then it encloses a volume. All others are closed, see closeLoops(). The mesh is manifold and
// oriented, and stays so; triangles may intersect where it bends more tightly than that. As closeLoops().
ThickenedSheets thickenSheets(TriangleMesh& mesh, double thickness, double cellSize);

}  // namespace QUOR_ZEF
