#include "geometry/freeFunctions.h"

#include <cmath>
#include <sstream>

#include "frame/tools.h"

namespace QUOR_ZEF {

double getAngleDeg(const Vector3& a, const Vector3& b) {
    constexpr double degreesPerRadian = 57.295779513;
    const double dot = a * b;
    if (dot > 1.0) return 0.0;
    if (dot < -1.0) return 180.0;
    return std::acos(dot) * degreesPerRadian;
}

double getAngleRad(const Vector3& a, const Vector3& b) {
    const double dot = a * b;
    if (dot > 1.0) return 0.0;
    if (dot < -1.0) return 6.283185307;
    return std::acos(dot);
}

double getTriangleArea(const Point3& p, const Point3& q, const Point3& r) {
    return cross(q - p, r - p).length() * 0.5;
}

double computeArea(double len0, double len1, double len2) {
    const double s = (len1 + len0 + len2) * 0.5;
    const double product = (s - len0) * s * (s - len1) * (s - len2);
    if (std::isnan(product)) {
        std::ostringstream text;
        text << "invalid value, no area for this triangle, ownHalfCircf=" << s << ", len0=" << len0 << ", len1=" << len1
             << ", len2=" << len2;
        showWarning(where(__PRETTY_FUNCTION__, __LINE__), text.str());
        ASSEX(false);
    }
    return product <= 0.0 ? 0.0 : std::sqrt(product);
}

}  // namespace QUOR_ZEF
