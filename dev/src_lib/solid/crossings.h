#pragma once

#include <cstdint>
#include <vector>

#include "flat/arrays.h"
#include "solid/LatticeSet.h"

namespace QUOR_ZEF {

// Where rows of a lattice run through triangles.
struct Crossing {
    uint64 behind;       // code of the row's first point behind it
    double along;        // coordinate on the row
    std::int32_t steps;  // what a winding number changes by
};

// Of the rows along an axis, 0 to 2 for x to z: in the code that coordinate takes the place of x, the next one
// that of y, and the one after it that of z. Places are in units of the lattice, inside the box less its margin.
// Each edge is met at the same place from all of its triangles, so that along a row of closed triangles the steps
// add up to nothing. Ascending by row, then by place. O(n + k log k).
std::vector<Crossing> findCrossings(const std::vector<Point3>& vPlaces, const std::vector<std::uint32_t>& vTriples,
                                    int axis);

}  // namespace QUOR_ZEF
