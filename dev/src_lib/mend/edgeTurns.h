#pragma once

#include <cstdint>
#include <vector>

#include "flat/arrays.h"
#include "mend/Patches.h"

namespace QUOR_ZEF {

// A triangle as it is met on a turn around one of its edges.
struct EdgeTurn {
    double angle;  // radians, from the first triangle of the edge on
    std::uint32_t side;
    bool bForward;  // the normal points to larger angles, with the flips of the patches
};

// The triangles of one edge by angle. Edges without length, and triangles without
// area there, stand in the order of sides.
void sortByAngle(const TriangleMesh& mesh, const Patches& patches, const Edge& edge, std::vector<EdgeTurn>& vTurns);

}  // namespace QUOR_ZEF
