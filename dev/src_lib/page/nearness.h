#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "zef/TriangleMesh.h"

namespace QUOR_ZEF {

// How far each of the points is from the mesh, in their unit; infinity where the mesh has no
// triangles. Finite points, neighbours near each other. On all threads, some 2 microseconds a point.
std::vector<float> distancesTo(const TriangleMesh& mesh, const std::vector<Point3>& vPoints);

// For each vertex whether no point lies in its cell, reach wide, or one of the 26 around: all
// points are farther than the reach then, and all vertices farther than 3.5 times the reach
// are found. None if there are no points. O(n).
std::vector<std::uint8_t> findUnmeasured(const TriangleMesh& mesh, std::span<const Point3> points, double reach);

}  // namespace QUOR_ZEF
