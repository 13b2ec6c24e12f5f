#pragma once

#include "zef/Point3.h"

namespace QUOR_ZEF {

// What cosWorstAngle() gives where two corners have one position, or a side has
// no length that a double can hold.
constexpr double noCosine = -1.7976931348623157e308;

// The cosine of the largest interior angle of a triangle, or noCosine.
double cosWorstAngle(const Point3& a, const Point3& b, const Point3& c);

// True if b or c has the position of a, or if the angle at a lies outside 0.01 to
// 179.99 degrees. An angle that is no number counts as sound.
bool isAngleDegenerate(const Point3& a, const Point3& b, const Point3& c);

// The test of meshes that are finished: the same for the angles, but an angle that
// is no number counts as bad.
bool hasSoundCorner(const Point3& a, const Point3& b, const Point3& c);

}  // namespace QUOR_ZEF
