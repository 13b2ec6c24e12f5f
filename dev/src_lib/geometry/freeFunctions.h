#pragma once

#include "zef/Point3.h"
#include "zef/Vector3.h"

namespace QUOR_ZEF {

inline Vector3 cross(const Vector3& a, const Vector3& b) {
    return {a.vy * b.vz - a.vz * b.vy, a.vz * b.vx - a.vx * b.vz, a.vx * b.vy - a.vy * b.vx};
}

// The angle between two unit vectors. A scalar product beyond 1 by rounding
// counts as 1; one below -1 gives 180 degrees, but the full 6.283185307 in
// radians, and callers rely on that.
double getAngleDeg(const Vector3& a, const Vector3& b);
double getAngleRad(const Vector3& a, const Vector3& b);

// Half the length of the cross product of the two edge vectors from p.
double getTriangleArea(const Point3& p, const Point3& q, const Point3& r);

// The area from the three side lengths (Heron). Lengths that rounding has made
// impossible give 0. A NaN shows a warning and fails an ASSEX.
double computeArea(double len0, double len1, double len2);

}  // namespace QUOR_ZEF
