#pragma once

#include <cstdint>
#include <vector>

#include "flat/MeshPieces.h"
#include "flat/arrays.h"
#include "flat/triangleSides.h"

namespace QUOR_ZEF {

// Pieces of a manifold mesh that hang together across edges.
struct MeshComponents {
    std::uint32_t num = 0;
    std::vector<std::uint32_t> vNumber;  // of the component of each triangle; num and above for what is no triangle
    std::vector<std::uint32_t> vBorder;  // sides without another one, in the order of their edges
};

// Settles which way each component faces. vFlip: by triangle, whether it is to be
// reversed; with these, each component is oriented alike. Those of whole components
// change. Returns the kinds of the components.
//
// A closed component faces outward, by the sign of its volume; one with holes does,
// too, if they open little more than half a sphere does, with rims that are not too ragged: caps
// over them, from the middles of their borders, have less than 0.7 of its area, and in the sum of their directions less
// than 0.56. A sheet faces up the axis that it leans to most; one that leans to none
// keeps the direction that most of its triangles have. O(n).
std::vector<PieceKind> faceOutward(const TriangleMesh& mesh, const MeshComponents& components,
                                   std::vector<std::uint8_t>& vFlip);

}  // namespace QUOR_ZEF
