#pragma once

#include "tiles/BlockCounts.h"
#include "zef/tiles.h"

namespace QUOR_ZEF {

// Cuts the grid into tiles by where points lie, in a plan that has all but boxes and numPoints. Warns where
// tiles will take more than the memory they may. ArgumentError as for cutBoxes().
void cutPlan(TilePlan& plan, const BlockCounts& counts);

}  // namespace QUOR_ZEF
