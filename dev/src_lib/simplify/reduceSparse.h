#pragma once

#include <cstddef>
#include <vector>

#include "zef/TriangleMesh.h"

namespace QUOR_ZEF {

// Merges inner vertices of flat parts into neighbours, which stay where they are, with
// their colours. Topology stays, and so do borders and the order of what is left.
// vLongest: by vertex, how long the edges there may become, world units; vertices of 0 stay.
// No vertex ends up farther than errorShare of that from the planes of the triangles that
// take its place, merges before included. Returns the number of vertices merged.
// O(n) a pass, of which there are some ten.
std::size_t reduceSparse(TriangleMesh& mesh, const std::vector<float>& vLongest, double errorShare);

}  // namespace QUOR_ZEF
