#pragma once

#include <memory>

#include "zef/export.h"

namespace QUOR_ZEF {

class Mesh;

// The older operations; see refinement.h for the newer ones, on plain arrays. They
// change the mesh in place, so lists and indices taken from it before mean nothing
// afterwards. They use the process's threads for parts of the work, and give the same
// result for any number of them. Not two on one mesh at a time. A null mesh throws an
// ArgumentError.

// Replaces edges by the other diagonal of their two triangles where that bends
// the surface less or lays an edge along a step of colour: creases come straight.
// One pass, the best flip first; no vertex moves. In a flat region flips change
// nothing for the worse, so each call makes some anew.
// Some 2 seconds a million triangles. Licence gate "edgeFlips".
ZEF_API void edgeFlips(std::shared_ptr<Mesh> pMesh);

// The same with simulated annealing between two passes: finds what no single flip
// improves. Repeats itself exactly. Some 20 times as long. Licence gate
// "edgeFlipsSimA".
ZEF_API void edgeFlipsSimA(std::shared_ptr<Mesh> pMesh);

// Removes triangles by merging neighbouring vertices, cheapest first, until no
// merge is left that is allowed. What remains are input vertices, unmoved.
// maxEdgeLength: the longest edge that may be merged away, in world units.
// maxDeviationDeg: how far one merge may turn a triangle, in degrees; many may add
// up. The outline stays but for vertices on straight runs of it, and ends of
// visibly different colour are not merged. Degenerate triangles are then removed.
// Returns the triangles removed by merging. Licence gate "reduce".
ZEF_API int reduce(std::shared_ptr<Mesh> pMesh, double maxEdgeLength, double maxDeviationDeg);

// Writes the border edges to "holes.list" in the current directory, as a Geomview
// LIST; a warning if that cannot be written. Changes nothing in the mesh.
ZEF_API void findHoles(std::shared_ptr<Mesh> pMesh);

// Smooths by plain steps: see smooth() in refinement.h. Licence gate "laplacianSmoothing".
ZEF_API void laplacianSmoothing(std::shared_ptr<Mesh> pMesh, int numSteps);

}  // namespace QUOR_ZEF
