#pragma once

#include "geometry/PointSource.h"

namespace QUOR_ZEF {

// See estimateMeltCells().
double estimateCells(PointSource corners, double spacing);

// See defaultMeltSpacing().
double defaultSpacing(PointSource corners);

}  // namespace QUOR_ZEF
