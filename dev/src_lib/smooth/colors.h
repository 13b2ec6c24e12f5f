#pragma once

#include "zef/TriangleMesh.h"

namespace QUOR_ZEF {

// Both change only the colours of vertices that triangles have. One thread, O(n).

// Gives vertices without colour the mean colour of their coloured neighbours,
// ring by ring from those that have one. A component without any stays without.
void completeColors(TriangleMesh& mesh);

// Stretches the contrast of the coloured vertices, all channels alike: clips
// these fractions, low and high, of the channels of all vertices, dark and bright,
// unless the colours span 20 steps or fewer; the rest then spans 0 to 255. Alpha
// stays. One single value stays as it is.
void spreadContrast(TriangleMesh& mesh, double low, double high);

}  // namespace QUOR_ZEF
