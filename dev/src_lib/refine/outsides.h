#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "refine/FlatMesh.h"
#include "refine/triangleSides.h"

namespace QUOR_ZEF {

struct ComponentCounts {
    std::size_t numComponents = 0;
    std::size_t numClosed = 0;
};

// Settles which way each component of a manifold mesh faces. vFlip: by triangle,
// whether it is to be reversed; with these, each component is oriented alike. Those
// of whole components change.
//
// A closed component faces outward, by the sign of its volume; one with holes does,
// too, if caps over them, from the middles of their borders, have less than 0.3 of
// its area. A sheet faces up the axis that it leans to most; one that leans to none
// keeps the direction that most of its triangles have. An edge of more than two
// triangles fails an ASSEX. O(n).
ComponentCounts faceOutward(const FlatMesh& mesh, const std::vector<EdgeSide>& vSides,
                            std::vector<std::uint8_t>& vFlip);

}  // namespace QUOR_ZEF
