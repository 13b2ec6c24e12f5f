#pragma once

#include <vector>

#include "frame/types.h"
#include "grid/Bundle.h"

namespace QUOR_ZEF {

// Takes from a filling the patches where an object stood or was cut off: their rims are flat, all else lies on one side
// of it, and the surface does not bend in over it, as that of a ball does. vOwn: the cells of the cloud with their
// samples; vFilled: those of the filling; both sorted. cell: their size, world units. O(n), and for each patch with a
// flat rim as far through vOwn as all lies on one side.
void leaveBases(const std::vector<RCDPoint>& vOwn, double cell, std::vector<uint64>& vFilled);

}  // namespace QUOR_ZEF
