#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "refine/FlatMesh.h"
#include "refine/triangleSides.h"

namespace QUOR_ZEF {

struct RenewedDefects {
    std::size_t numPlaces = 0;
    std::size_t numRemoved = 0;  // triangles
    std::size_t numAdded = 0;
};

// Cuts out small places around edges that cannot be mended, each with its triangles
// and so many rings of further ones, and fills the rims with new triangles among
// their vertices. A place stays as it is unless all its rims can be filled so that
// no edge is left with an odd number of triangles. What is new stands at the end.
// vSides: those of the mesh; they do not follow the change.
// O(n), and O(places) fillings.
RenewedDefects renewDefects(FlatMesh& mesh, const std::vector<EdgeSide>& vSides,
                            const std::vector<std::pair<std::uint32_t, std::uint32_t>>& vDefectEdges, int numRings);

}  // namespace QUOR_ZEF
