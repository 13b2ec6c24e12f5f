#pragma once

#include <span>
#include <vector>

#include "zef/Point3.h"

namespace QUOR_ZEF {

// Whether points hold a handle or tunnel open: they lie along a loop around it, and next to none of them where the loop
// would be closed. Where a grid of cells has joined two sheets, or pierced one, points lie there too; and a loop is
// not held open where there are no points. vPoints: at least those within a cell of the loop, and what it surrounds.
// What is as small as a cell is never held, since its points tell nothing of what is inside.
bool isHeldOpen(const std::vector<Point3>& vLoop, std::span<const Point3> vPoints, double cellSize);

}  // namespace QUOR_ZEF
