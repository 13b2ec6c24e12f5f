#pragma once

#include <cstdint>
#include <vector>

#include "tiles/TileMesh.h"
#include "zef/TriangleMesh.h"

namespace QUOR_ZEF {

// Gives each fan of triangles at a vertex a vertex of its own. Fans end at borders and where neighbours are turned
// against each other, so that such sides become borders. What touches a core keeps the vertex; new vertices follow the
// others, with the keys of those that they come from. Returns the number of such sides. O(n).
std::size_t partFans(TriangleMesh& band, std::vector<SeamKey>& vKeys, const std::vector<Beyond>& vBeyond);

}  // namespace QUOR_ZEF
