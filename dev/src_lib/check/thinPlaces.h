#pragma once

#include "zef/meshCheck.h"

namespace QUOR_ZEF {

// What findThinPlaces() tells; the mesh has indices that are there, the thickness is above 0. TooLargeError where
// triangles are too crowded. The calling thread's plan has the stages SI_cells and TH_walls.
ThinReport measureThinPlaces(const TriangleMesh& mesh, double thickness);

}  // namespace QUOR_ZEF
