#pragma once

#include <array>
#include <vector>

#include "zef/TriangleMesh.h"

namespace QUOR_ZEF {

// Of the vertices: the mean of their triangles' normals, by area, of length 1 as floats; zero for
// vertices of no area. O(n).
std::vector<std::array<float, 3>> vertexNormals(const TriangleMesh& mesh);

}  // namespace QUOR_ZEF
