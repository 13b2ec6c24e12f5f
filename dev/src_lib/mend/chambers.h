#pragma once

#include "flat/arrays.h"
#include "mend/Patches.h"

namespace QUOR_ZEF {

// Turns patches so that they agree around the edges of many that they share.
//
// Between triangles that follow each other around an edge of an even number lies a
// wedge of space, which joins a side of the one with a side of the other. Sides
// joined so belong to one chamber, and patches separate chambers. The chamber of
// the least volume is what is around it all; each patch is turned towards the side
// from which fewer patches lie between it and there. So touching bodies all point
// outward, and of crossing ones both what they cover together and what they share.
// A patch with one chamber on both sides stays as it is.
// O(n log n).
void orientByChambers(const TriangleMesh& mesh, const EdgeTable& edges, Patches& patches);

}  // namespace QUOR_ZEF
