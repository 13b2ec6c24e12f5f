#pragma once

#include "zef/Point3.h"
#include "zef/Vector3.h"

namespace QUOR_ZEF {

// The points p with normal * p == d. A plain value.
class Plane {
public:
    Vector3 normal;  // unit length; the null vector of a plane that was never set or is degenerate
    double d = 0.0;  // in world units

    Plane() = default;
    // Through three points, seen from the normal's side in the order of the
    // right hand. Points on one line show a warning and leave normal and d at 0;
    // a coordinate that is not a number fails an ASSEX.
    Plane(const Point3& a, const Point3& b, const Point3& c);
    // normal: of unit length.
    Plane(const Point3& p, const Vector3& normal);

    // The nearest point of the plane, without colour.
    Point3 projection(const Point3& p) const;
    // Strictly on the side that the normal points to.
    bool isPositive(const Point3& p) const;
    // Where the line through a and b meets the plane, without colour.
    // A line parallel to the plane gives a itself and bOK false.
    Point3 intersect(const Point3& a, const Point3& b, bool& bOK) const;

private:
    double signedDistance(const Point3& p) const;
};

}  // namespace QUOR_ZEF
