#include "refine/triangleAngles.h"

#include <algorithm>
#include <cmath>

#include "geometry/freeFunctions.h"

namespace QUOR_ZEF {

namespace {

constexpr double minSoundAngle = 0.01, maxSoundAngle = 179.99;  // degrees
constexpr double soundCosine = 0.999;  // of 2.6 degrees: far from these limits, whatever the rounding

// Of unit vectors. Spares most angles their arc cosine.
bool areFarFromOneLine(const Vector3& u, const Vector3& v) {
    return std::abs(u * v) < soundCosine;
}

}  // namespace

double cosWorstAngle(const Point3& a, const Point3& b, const Point3& c) {
    const Vector3 ab = normalize(b - a), ac = normalize(c - a), bc = normalize(c - b);
    if (!ab.isNV() || !ac.isNV() || !bc.isNV()) return noCosine;
    const double atA = std::clamp(ab * ac, -1.0, 1.0);
    const double atB = std::clamp(-(ab * bc), -1.0, 1.0);
    const double atC = std::clamp(ac * bc, -1.0, 1.0);
    return std::min({atA, atB, atC});
}

bool isAngleDegenerate(const Point3& a, const Point3& b, const Point3& c) {
    const Vector3 ab = b - a, ac = c - a;
    if (ab.isDegenerate() || ac.isDegenerate()) return true;
    const Vector3 u = normalize(ab), v = normalize(ac);
    if (areFarFromOneLine(u, v)) return false;
    const double angle = getAngleDeg(u, v);
    return angle < minSoundAngle || angle > maxSoundAngle;
}

bool hasSoundCorner(const Point3& a, const Point3& b, const Point3& c) {
    const Vector3 ab = b - a, ac = c - a;
    if (ab.isDegenerate() || ac.isDegenerate()) return false;
    const Vector3 u = normalize(ab), v = normalize(ac);
    if (areFarFromOneLine(u, v)) return true;
    const double angle = getAngleDeg(u, v);
    return angle >= minSoundAngle && angle <= maxSoundAngle;
}

}  // namespace QUOR_ZEF
