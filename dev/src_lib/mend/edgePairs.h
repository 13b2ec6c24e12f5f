#pragma once

#include "flat/arrays.h"
#include "mend/Patches.h"

namespace QUOR_ZEF {

// Joins the triangles at edges of many in pairs that continue each other.
//
// Where the patches, as they are turned, enter and leave matter equally often on a
// turn around the edge, each triangle that enters is joined to the one that leaves
// the same matter again; all are joined then. Elsewhere the flattest neighbours of
// the whole mesh are joined first, since a pair can bind how two patches are turned
// against each other; the flips of patches change for that.
// O(n log n) in the sides at such edges, O(n) otherwise.
void joinPairs(const TriangleMesh& mesh, const EdgeTable& edges, Patches& patches);

}  // namespace QUOR_ZEF
