#pragma once

#include <cstdint>
#include <vector>

#include "tiles/TileMesh.h"
#include "zef/TriangleMesh.h"

namespace QUOR_ZEF {

// Gives each fan of triangles at a vertex a vertex of its own. Fans end at borders and where neighbours are turned
// against each other, so that such sides become borders. What touches a core keeps the vertex. Returns the number of
// such sides. O(n).
std::size_t partFans(TriangleMesh& band, const std::vector<Beyond>& vBeyond);

}  // namespace QUOR_ZEF
