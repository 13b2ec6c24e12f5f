#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "flat/arrays.h"

namespace QUOR_ZEF {

// Pieces that a closed mesh loses.
struct LeftOutPieces {
    std::size_t numSheets = 0;  // that enclose next to nothing, as patches lie on them,
    std::size_t numInner = 0;   // and inside others
};

// Turns pieces outward, and leaves out those that patches, which are all triangles from the first on, have closed
// to next to no volume; unless bKeepInner also those inside others, and vertices of no triangle. A piece that touches
// others counts by its first vertex. The mesh is closed, manifold and oriented. O(n log n).
LeftOutPieces keepBodies(TriangleMesh& mesh, std::size_t firstOfPatches, double cellSize, bool bKeepInner);

// The pieces that keepBodies() would leave out since they enclose next to nothing, and which vertices they have.
struct Sheets {
    std::size_t num = 0;
    std::vector<bool> vOfSheet;  // by vertex
};
Sheets findSheets(TriangleMesh& mesh, std::size_t firstOfPatches, double cellSize);

}  // namespace QUOR_ZEF
