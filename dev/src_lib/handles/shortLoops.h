#pragma once

#include <cstdint>
#include <vector>

#include "flat/arrays.h"
#include "handles/LoopClasses.h"

namespace QUOR_ZEF {

// A loop of edges that meets no vertex twice: the sides that run along it one after the other, with what is on its
// left.
struct HandleLoop {
    std::vector<std::uint32_t> vSides;
    double length = 0.0;
    uint64 loopClass = 0;
};

// Where the sides start.
std::vector<Point3> placesOf(const TriangleMesh& mesh, const std::vector<std::uint32_t>& vSides);
// Their mean, without colour.
Point3 middleOf(const std::vector<Point3>& vPlaces);

// Loops that part the mesh nowhere, with no vertex at a border, of such a length at the most: for each vertex that all
// such loops have to meet the shortest through it, if there is one; so also the shortest of all. The shortest first. On
// all threads; each of those vertices takes some 10 microseconds.
std::vector<HandleLoop> findShortLoops(const TriangleMesh& mesh, const std::vector<std::uint32_t>& vOpposite,
                                       const LoopClasses& classes, double longest);

}  // namespace QUOR_ZEF
