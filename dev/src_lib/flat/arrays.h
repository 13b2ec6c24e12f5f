#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "zef/TriangleMesh.h"

namespace QUOR_ZEF {

// MESH: vertices in the order of the mesh. FIRST_USE: as the corners of the
// triangles bring them, which is the order of the files.
enum class VertexOrder : std::uint8_t { MESH, FIRST_USE };

// Leaves out the vertices of no triangle. A call that is cancelled meanwhile leaves the mesh
// as it is. O(n).
void renumberVertices(TriangleMesh& mesh, VertexOrder order);

// Leaves out the triangles in which a vertex comes twice; returns how many. O(n).
std::size_t dropRepeating(std::vector<std::uint32_t>& vTriples);

// The mean length of the edges, each counted as often as triangles have it; 1 if
// there is none. O(n).
double meanSideLength(const TriangleMesh& mesh);

// Vertices have 31-bit numbers, edges and triangles 32-bit ones. Shows an error
// and throws a ZefBugException for a mesh that these do not cover.
void checkMeshSize(std::size_t numVertices, std::size_t numTriangles);

}  // namespace QUOR_ZEF
