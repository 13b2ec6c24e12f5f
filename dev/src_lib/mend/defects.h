#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "flat/EdgeTable.h"
#include "flat/arrays.h"

namespace QUOR_ZEF {

struct RenewedDefects {
    std::size_t numPlaces = 0;
    std::vector<std::uint32_t> vRemoved;  // triangles
    std::size_t numAdded = 0;
};

// Cuts out small places around edges that cannot be mended, each with its triangles
// and so many rings of further ones, and fills the rims with new triangles among
// their vertices. Unless bFillHoles no place has more than a dozen triangles at borders. A place stays as it is unless
// all its rims can be filled so that no edge is left with an odd number of triangles. What is new stands at the end;
// what is to go is still there. vDead: triangles of the mesh that are none any more.
// O(n), and O(places) fillings.
RenewedDefects renewDefects(TriangleMesh& mesh, const std::vector<bool>& vDead, const EdgeTable& edges,
                            const std::vector<VertexPair>& vDefectEdges, int numRings, bool bFillHoles);

}  // namespace QUOR_ZEF
