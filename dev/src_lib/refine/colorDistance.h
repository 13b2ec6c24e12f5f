#pragma once

#include "zef/Point3.h"

namespace QUOR_ZEF {

// How different two points' colours look: the CIE 1976 difference, the distance
// in CIELAB of the sRGB channels under D65. About 1 is just visible, black to
// white is 100. Alpha, and whether the points say that they are coloured, plays
// no part. Single precision.
float colorDistance(const Point3& p, const Point3& q);

}  // namespace QUOR_ZEF
