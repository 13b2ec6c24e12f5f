#pragma once

#include <vector>

#include "frame/types.h"

namespace QUOR_ZEF {

// The share of the points, given by their RCDs in any order, around which fewer than six of
// the 27 cells hold any: a grid of 1.4 times the measured spacing holds no surface there. Of
// even clouds, also noisy ones, that is 0.005 at most, but 0.02 of a random plane along the axes.
// Cells must lie inside the grid. O(n log n), some 40 nanoseconds a point.
double getUnsupportedShare(std::vector<uint64> vRCD);

}  // namespace QUOR_ZEF
