#pragma once

#include <vector>

#include "zef/Point3.h"
#include "zef/Vector3.h"

namespace QUOR_ZEF {

inline Vector3 cross(const Vector3& a, const Vector3& b) {
    return {a.vy * b.vz - a.vz * b.vy, a.vz * b.vx - a.vx * b.vz, a.vx * b.vy - a.vy * b.vx};
}

// The float that is nearest. Volatile, since gcc 12 takes two such conversions beside each other for none.
inline double nearestFloat(double x) {
    const volatile float rounded = static_cast<float>(x);
    return static_cast<double>(rounded);
}
inline Point3 nearestFloats(const Point3& p) {
    Point3 rounded = p;
    rounded.set(nearestFloat(p.px), nearestFloat(p.py), nearestFloat(p.pz));
    return rounded;
}

// The angle between two unit vectors. A scalar product beyond 1 by rounding
// counts as 1; one below -1 gives 180 degrees, but the full 6.283185307 in
// radians, and callers rely on that.
double getAngleDeg(const Vector3& a, const Vector3& b);
double getAngleRad(const Vector3& a, const Vector3& b);

// Half the length of the cross product of the two edge vectors from p.
double getTriangleArea(const Point3& p, const Point3& q, const Point3& r);

// The squared distance of a point to a triangle, also to one without area; all seen from one
// corner: the point, and the other two.
double sqDistanceToTriangle(const Vector3& toPoint, const Vector3& toSecond, const Vector3& toThird);

// The area from the three side lengths (Heron). Lengths that rounding has made
// impossible give 0. A NaN shows a warning and fails an ASSEX.
double computeArea(double len0, double len1, double len2);

// The six sums of products of differences to a common point.
struct ProductSums {
    double xx = 0.0, xy = 0.0, xz = 0.0, yy = 0.0, yz = 0.0, zz = 0.0;

    void add(const Vector3& d) {
        xx += d.vx * d.vx;
        xy += d.vx * d.vy;
        xz += d.vx * d.vz;
        yy += d.vy * d.vy;
        yz += d.vy * d.vz;
        zz += d.vz * d.vz;
    }
    // As if the differences began at their mean: sum is theirs, num their number.
    void centre(const Vector3& sum, double num) {
        xx -= sum.vx * sum.vx / num;
        xy -= sum.vx * sum.vy / num;
        xz -= sum.vx * sum.vz / num;
        yy -= sum.vy * sum.vy / num;
        yz -= sum.vy * sum.vz / num;
        zz -= sum.vz * sum.vz / num;
    }
    // The unit normal of the plane that fits best through the common point. The plane
    // is solved along the axis with the largest determinant, which is the one it leans
    // to most. False, with the normal untouched, if the sums lie on one line or are not finite.
    bool getNormal(Vector3& normal) const;
};

// The unit normal of the plane that fits best through the points, its sign left
// open, and their mean, without colour. False, with both untouched, for fewer
// than 3 points; false, with the centroid set, for points without a plane.
bool estimateNNV(std::vector<Point3*>& vPoints, Vector3& normal, Point3& centroid);

// The unit normal of a triangle, by the right hand. bOK is false, and the result
// the null vector, for equal corners or corners on one line.
Vector3 triNormal(const Point3* a, const Point3* b, const Point3* c, bool& bOK);

}  // namespace QUOR_ZEF
