#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "zef/Point3.h"
#include "zef/export.h"

namespace QUOR_ZEF {

// Triangles as plain arrays: a value, cheap to move and free to copy. Vertices may
// have colours, and may belong to no triangle. What takes a mesh refuses a number of
// indices that three does not divide and an index that means no vertex, with an
// ArgumentError and the mesh unchanged.
struct TriangleMesh {
    std::vector<Point3> vertices;
    std::vector<std::uint32_t> indices;  // three a triangle, counter-clockwise seen from outside

    std::size_t numTriangles() const { return indices.size() / 3; }
    // Whether any vertex has colour. O(n).
    ZEF_API bool hasColor() const;
};

}  // namespace QUOR_ZEF
