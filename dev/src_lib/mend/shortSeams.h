#pragma once

#include <cstdint>
#include <vector>

#include "flat/arrays.h"
#include "mend/JoinedSides.h"

namespace QUOR_ZEF {

// Where a surface has one side only, some of its sides clash however its triangles are turned: the seams. Turns
// triangles until no window of 100 rings, see SeamWindow, has fewer or shorter ones. So what a seam becomes depends on
// what is so near, and on where it was before only as far as several places there are no better than others around.
//
// vAll: sides that clash, all those of the parts that have some. vOpen: those around which to look. Returns the sides
// that clash then, one of each pair, in order. Some milliseconds a seam, whatever the mesh.
std::vector<std::uint32_t> shortenSeams(const TriangleMesh& mesh, const JoinedSides& sides,
                                        const std::vector<std::uint32_t>& vAll,
                                        const std::vector<std::uint32_t>& vOpen);

}  // namespace QUOR_ZEF
