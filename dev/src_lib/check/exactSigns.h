#pragma once

#include <array>

namespace QUOR_ZEF {

using Coords = std::array<double, 3>;

// Signs without rounding error: -1, 0 or 1. Every coordinate must be 0 or of
// magnitude 2^-300 to 2^300, or products leave the range of double.

// On which side of the plane through a, b, c the point d lies; 1 where these three
// run clockwise as seen from d. 0 exactly if all lie in one plane.
int orientation3(const Coords& a, const Coords& b, const Coords& c, const Coords& d);

// Whether a, b, c turn left (1), right or not at all, as seen along the axis
// `dropped`, 0 to 2.
int orientation2(const Coords& a, const Coords& b, const Coords& c, int dropped);

}  // namespace QUOR_ZEF
