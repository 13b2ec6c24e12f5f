#pragma once

#include <cstdint>
#include <vector>

#include "zef/Point3.h"

namespace QUOR_ZEF {

class CMesh;
class RMesh;

// The live part of a mesh as plain arrays: vertices in use, and three indices into
// them for each triangle, in the order of triangles.
struct FlatMesh {
    std::vector<Point3> vVertices;
    std::vector<std::uint32_t> vTriples;

    std::size_t numTriangles() const { return vTriples.size() / 3; }
    bool hasColor() const;
};

// MESH: vertices in the order of the mesh. FIRST_USE: as the corners of the
// triangles bring them, which is the order of the files.
enum class VertexOrder : std::uint8_t { MESH, FIRST_USE };

// Leaves out the vertices of no triangle. O(n).
void renumberVertices(FlatMesh& mesh, VertexOrder order);

// The triangles of a mesh of cells, with all cells that have a Bundle as vertices, in
// order of code, with colour. A triangle with a cell without Bundle fails an ASSEX,
// as does a NaN coordinate. Too many triangles: see checkMeshSize(). O(n).
FlatMesh flatten(CMesh& mesh);

// A copy of the live part. O(n).
FlatMesh flatten(const RMesh& mesh, VertexOrder order);

}  // namespace QUOR_ZEF
