#pragma once

#include <vector>

#include "frame/types.h"

namespace QUOR_ZEF {

// Where points fly off all surfaces: fewer than eight together, and nothing else nearer than
// several times the distance that points have on the nearest surface. What grows sparse
// by and by does not fly, nor do points that lie flat with as many around, however far apart.
//
// vCCD: the cells of all points in a grid of 20 levels, ascending. level: points of one
// surface lie in blocks of side 2^level that touch. Returns the blocks of that side,
// CCD >> 3 level, ascending, whose points fly. O(n); some bytes a block.
std::vector<uint64> findFlyingBlocks(const std::vector<uint64>& vCCD, int level);

}  // namespace QUOR_ZEF
