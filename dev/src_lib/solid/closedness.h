#pragma once

#include <cstdint>

#include "flat/arrays.h"

namespace QUOR_ZEF {

// What triangles bound, once those corners are the same that lie at one place.
enum class Closedness : std::uint8_t {
    OPEN,      // there are borders, or no triangles
    WALLS,     // an odd number of triangles meets at some edge, so that no place is just inside or outside
    SIDES,     // an even number everywhere: of two neighbouring places one is inside
    ORIENTED,  // as many run through each edge one way as the other: each place has a winding number
};

// Makes corners at one place one vertex, and leaves out triangles that repeat one then. O(n log n); parallel.
Closedness joinEqualPlaces(TriangleMesh& triangles);

}  // namespace QUOR_ZEF
