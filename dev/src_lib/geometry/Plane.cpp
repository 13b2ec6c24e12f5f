#include "geometry/Plane.h"

#include <cmath>

#include "frame/tools.h"
#include "geometry/freeFunctions.h"

namespace QUOR_ZEF {

namespace {

double dotProduct(const Vector3& v, const Point3& p) {
    return v * Vector3(p.px, p.py, p.pz);
}

}  // namespace

// Unit edges, so that a long thin triangle is no more degenerate than its angle.
Plane::Plane(const Point3& a, const Point3& b, const Point3& c) : normal(cross(normalize(b - a), normalize(c - a))) {
    if (normal.length() == 0.0) {
        normal = Vector3();
        showOddity(where(__PRETTY_FUNCTION__, __LINE__), "Degenerate plane");
        return;
    }
    normal = normalize(normal);
    const double vecLen = normal.length();
    ASSEX(vecLen>.99 && vecLen<1.01);
    d = dotProduct(normal, a);
}

Plane::Plane(const Point3& p, const Vector3& planeNormal) : normal(planeNormal), d(dotProduct(planeNormal, p)) {}

double Plane::signedDistance(const Point3& p) const {
    return dotProduct(normal, p) - d;
}

Point3 Plane::projection(const Point3& p) const {
    return p - normal * signedDistance(p);
}

bool Plane::isPositive(const Point3& p) const {
    return signedDistance(p) > 0.0;
}

Point3 Plane::intersect(const Point3& a, const Point3& b, bool& bOK) const {
    const Vector3 along = b - a;
    const double climb = normal * along;
    // A climb that only rounding keeps from 0 can put the point beyond all numbers.
    const double t = climb == 0.0 ? 0.0 : -signedDistance(a) / climb;
    bOK = climb != 0.0 && std::isfinite(t);
    return bOK ? a + along * t : a;
}

}  // namespace QUOR_ZEF
