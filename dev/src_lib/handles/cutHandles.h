#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "flat/arrays.h"
#include "geometry/PointSource.h"
#include "zef/meshCheck.h"

namespace QUOR_ZEF {

// Both take manifold and oriented meshes, and find loops of edges that part them nowhere and touch no border, the
// shortest first, up to a length. What is cut along such a loop and closed on both sides has one handle less. So the
// loop goes around the handle, or around the tunnel, whatever is shorter. O(n), some 0.1 microseconds a triangle, and
// where there are handles 10 more for each of some hundred vertices a handle; the same again for every 48 handles that
// are cut.

// Cuts handles and fills tunnels that no points hold open, unless triangles intersect then. New vertices have no
// colour. Vertices keep their numbers, and new triangles come last. Vertices of rims move by half a cell at the most.
// Returns how many.
std::size_t cutHandles(TriangleMesh& mesh, const PointSource& points, double cellSize, double longest);

// As findHandles().
HandleReport measureHandles(const TriangleMesh& mesh, double longest);

}  // namespace QUOR_ZEF
