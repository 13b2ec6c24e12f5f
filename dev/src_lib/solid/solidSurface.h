#pragma once

#include "flat/arrays.h"
#include "solid/SampleIndex.h"
#include "solid/closedness.h"

namespace QUOR_ZEF {

struct SolidChoices {
    bool bOuter = false;   // whether all is left out that cannot be seen from outside
    bool bFloats = false;  // whether vertices are rounded to floats
};

// The surface of what triangles bound that are not open: closed, manifold, oriented, and without triangles that
// intersect, whatever they are like. A lattice point is inside if its winding number is not 0, and walls thinner than
// a cell are made as thick as one. What else is smaller than a cell goes, and so do gaps. Vertices are samples where
// there are some in their cells. Bodies inside bodies, and what these share, keep their surfaces where these are
// two cells off. Edges with an odd number of triangles do as if bOuter was set. Empty if no lattice point is inside.
// O(n log n) in the triangles, the rows of the grid and the cells of the surface; up to some ten searches for
// intersections.
TriangleMesh makeSolidSurface(const TriangleMesh& triangles, Closedness closedness, const SampleIndex& samples,
                              const SolidChoices& choices);

}  // namespace QUOR_ZEF
