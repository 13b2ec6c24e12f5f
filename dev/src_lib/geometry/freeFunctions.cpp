#include "geometry/freeFunctions.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
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

namespace {

double sqDistanceToSide(const Vector3& fromStart, const Vector3& side) {
    const double sqLength = side.sqLength();
    const double share = sqLength > 0.0 ? std::clamp(fromStart * side / sqLength, 0.0, 1.0) : 0.0;
    return (fromStart - side * share).sqLength();
}

}  // namespace

double sqDistanceToTriangle(const Vector3& toPoint, const Vector3& toSecond, const Vector3& toThird) {
    const std::array<Vector3, 3> aFrom = {toPoint, toPoint - toSecond, toPoint - toThird};
    const std::array<Vector3, 3> aSide = {toSecond, toThird - toSecond, toThird * -1.0};
    const Vector3 normal = cross(aSide[0], aSide[1]);
    const auto isInside = [&](std::size_t i) { return cross(aSide[i], aFrom[i]) * normal >= 0.0; };
    if (normal.sqLength() > 0.0 && isInside(0) && isInside(1) && isInside(2)) {
        const double height = toPoint * normal;
        return height * height / normal.sqLength();
    }
    return std::min({sqDistanceToSide(aFrom[0], aSide[0]), sqDistanceToSide(aFrom[1], aSide[1]),
                     sqDistanceToSide(aFrom[2], aSide[2])});
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

namespace {

// Far from 1 the determinants, which are fourth powers of a length, would leave
// the range of a double. A power of two changes no digit of the result.
double scaleForDeterminants(double trace) {
    return trace > 1e-60 && trace < 1e60 ? 1.0 : std::ldexp(1.0, -std::clamp(std::ilogb(trace), -1000, 1000));
}

Vector3 longestMinor(double xx, double xy, double xz, double yy, double yz, double zz) {
    const double detX = yy * zz - yz * yz;
    const double detY = xx * zz - xz * xz;
    const double detZ = xx * yy - xy * xy;
    if (detX >= detY && detX >= detZ) return {detX, xz * yz - xy * zz, xy * yz - xz * yy};
    if (detY >= detX && detY >= detZ) return {xz * yz - xy * zz, detY, xy * xz - yz * xx};
    ASSEX(detZ>=detX && detZ>=detY);
    return {xy * yz - xz * yy, xy * xz - yz * xx, detZ};
}

}  // namespace

bool ProductSums::getNormal(Vector3& normal) const {
    const double trace = xx + yy + zz;
    if (!(trace > 0.0) || !std::isfinite(trace)) return false;
    const double f = scaleForDeterminants(trace);
    const Vector3 unit = normalize(longestMinor(xx * f, xy * f, xz * f, yy * f, yz * f, zz * f));
    if (unit.isDegenerate()) return false;
    normal = unit;
    return true;
}

bool estimateNNV(std::vector<Point3*>& vPoints, Vector3& normal, Point3& centroid) {
    if (vPoints.size() < 3) return false;
    double x = 0.0, y = 0.0, z = 0.0;
    for (const Point3* pPoint : vPoints) pPoint->addOwnCoords(x, y, z);
    const double num = static_cast<double>(vPoints.size());
    centroid = Point3(x / num, y / num, z / num);
    ProductSums sums;
    for (const Point3* pPoint : vPoints) sums.add(*pPoint - centroid);
    return sums.getNormal(normal);
}

Vector3 triNormal(const Point3* a, const Point3* b, const Point3* c, bool& bOK) {
    const Vector3 e1 = *b - *a;
    const Vector3 e2 = *c - *a;
    bOK = false;
    if (e1.isDegenerate() || e2.isDegenerate()) return {};
    const Vector3 normal = cross(normalize(e1), normalize(e2));
    if (normal.length() == 0.0) return {};
    bOK = true;
    return normalize(normal);
}

}  // namespace QUOR_ZEF
