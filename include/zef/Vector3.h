#pragma once

#include <cmath>

#include "zef/export.h"

namespace QUOR_ZEF {

// A direction or displacement. A plain value without colour.
class ZEF_API Vector3 {
public:
    double vx = 0.0, vy = 0.0, vz = 0.0;

    Vector3() = default;
    Vector3(double x, double y, double z) : vx(x), vy(y), vz(z) {}

    double x() const { return vx; }
    double y() const { return vy; }
    double z() const { return vz; }
    void xyz(double& x, double& y, double& z) const {
        x = vx;
        y = vy;
        z = vz;
    }
    void set(double x, double y, double z) {
        vx = x;
        vy = y;
        vz = z;
    }
    void add(const Vector3& v) { *this += v; }
    void sub(const Vector3& v) { *this -= v; }
    void mul(double f) { *this *= f; }
    // Divides without a test for zero.
    void div(double f) { *this /= f; }

    double length() const { return std::sqrt(sqLength()); }
    double sqLength() const { return vx * vx + vy * vy + vz * vz; }

    // Component 0, 1 or 2. Any other index writes a line to standard error and
    // gives the largest finite double.
    double getCartesian(int i) const;
    // The largest component, signed.
    double getMaxComponent() const;
    double getMaxAbsComponent() const;
    // 0, 1 or 2: where the largest absolute value stands; ties go to the lower index.
    int getMaxAbsIndex() const;

    // All components exactly 0.
    bool isDegenerate() const { return vx == 0.0 && vy == 0.0 && vz == 0.0; }
    // A normal vector: the squared length differs from 1 by less than 0.03.
    bool isNV() const { return std::abs(1.0 - sqLength()) < 0.03; }

    Vector3& operator*=(double f) {
        vx *= f;
        vy *= f;
        vz *= f;
        return *this;
    }
    Vector3& operator/=(double f) {
        vx /= f;
        vy /= f;
        vz /= f;
        return *this;
    }
    Vector3& operator+=(const Vector3& v) {
        vx += v.vx;
        vy += v.vy;
        vz += v.vz;
        return *this;
    }
    Vector3& operator-=(const Vector3& v) {
        vx -= v.vx;
        vy -= v.vy;
        vz -= v.vz;
        return *this;
    }
};

inline Vector3 operator+(const Vector3& v, const Vector3& w) {
    return {v.vx + w.vx, v.vy + w.vy, v.vz + w.vz};
}
inline Vector3 operator-(const Vector3& v, const Vector3& w) {
    return {v.vx - w.vx, v.vy - w.vy, v.vz - w.vz};
}
inline Vector3 operator*(const Vector3& v, double f) {
    return {v.vx * f, v.vy * f, v.vz * f};
}
inline Vector3 operator/(const Vector3& v, double f) {
    return {v.vx / f, v.vy / f, v.vz / f};
}
// The scalar product. Results depend on the order of the sum.
inline double operator*(const Vector3& v, const Vector3& w) {
    return (v.vy * w.vy + v.vx * w.vx) + v.vz * w.vz;
}

// v with length 1; the null vector if v has no length.
ZEF_API Vector3 normalize(const Vector3& v);

}  // namespace QUOR_ZEF
