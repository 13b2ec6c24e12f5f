#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "zef/TriangleMesh.h"
#include "zef/Vector3.h"

namespace QUOR_ZEF {

// Points of a surface with the triangles that they are on, neighbours near each other as the
// triangles are.
struct Samples {
    std::vector<Point3> vPoints;
    std::vector<std::uint32_t> vTriangles;
};

// Strewn evenly over the area: one for each of num stretches of it. None if there is no area. The
// same for the same mesh. O(n).
Samples strewSamples(const TriangleMesh& mesh, std::size_t num);

// By the right hand, twice the area long; zero for a triangle without area.
Vector3 crossOf(const TriangleMesh& mesh, std::size_t triangle);

}  // namespace QUOR_ZEF
