#pragma once

#include <vector>

#include "grid/Calc.h"
#include "tiles/TileMesh.h"
#include "tiles/TileOwners.h"
#include "zef/TriangleMesh.h"

namespace QUOR_ZEF {

// The keys of the vertices of a mesh as it is before it is fitted, when they lie in the cells that they were made for.
// Of several in one cell the order of their places counts, and of those in one place that of the places around. O(n log
// n).
std::vector<SeamKey> keysOf(const TriangleMesh& mesh, const Calc& calc, const TileOwners& owners);

// The keys of a mesh of which some vertices have moved, come or gone since it had vPlaces, with these keys. What is new
// gets keys of its own.
std::vector<SeamKey> followKeys(const TriangleMesh& mesh, const std::vector<Point3>& vPlaces,
                                const std::vector<SeamKey>& vOldKeys, const Calc& calc, const TileOwners& owners);

// What the tile stands for, out of a manifold mesh of its box and halo. O(n).
TileMesh cutTile(const TriangleMesh& mesh, const std::vector<SeamKey>& vKeys, const Calc& calc,
                 const TileOwners& owners);

}  // namespace QUOR_ZEF
