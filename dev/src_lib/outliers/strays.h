#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "frame/types.h"
#include "geometry/PointSource.h"

namespace QUOR_ZEF {

// The positions, ascending, of strays: points that each lie so far away that alone they
// would make the extent of all that is nearer, the longest side of its box, 100 times what
// it is. At most 1 in 1000 points and 300 in all, but one is allowed from 100 points on; if
// more lie that far, none does.
// extent: of all points, which must be finite. Reads some thousand points if the cloud
// has none, and all of them, one or a few times, if it may have some.
std::vector<std::size_t> findStrays(const PointSource& points, double extent);

// The same of places that each stand for so many points, as many as there are places. The positions in the list.
std::vector<std::size_t> findStrays(std::span<const Point3> places, std::span<const uint64> vNums, double extent);

}  // namespace QUOR_ZEF
