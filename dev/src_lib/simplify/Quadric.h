#pragma once

#include <cmath>

#include "zef/Vector3.h"

namespace QUOR_ZEF {

// The sum of squared distances to planes, each with its weight, as a function of
// a point: p A p - 2 b p + c. M. Garland, P. Heckbert, Surface simplification
// using quadric error metrics, SIGGRAPH 1997.
struct Quadric {
    double xx = 0.0, xy = 0.0, xz = 0.0, yy = 0.0, yz = 0.0, zz = 0.0;  // A
    Vector3 b;
    double c = 0.0;

    Quadric& operator+=(const Quadric& q) {
        xx += q.xx;
        xy += q.xy;
        xz += q.xz;
        yy += q.yy;
        yz += q.yz;
        zz += q.zz;
        b += q.b;
        c += q.c;
        return *this;
    }

    // weight * (direction * p - offset)^2. With a unit normal: a plane.
    void addPlane(const Vector3& direction, double offset, double weight) {
        const Vector3 d = direction * weight;
        xx += d.vx * direction.vx;
        xy += d.vx * direction.vy;
        xz += d.vx * direction.vz;
        yy += d.vy * direction.vy;
        yz += d.vy * direction.vz;
        zz += d.vz * direction.vz;
        b += d * offset;
        c += weight * offset * offset;
    }

    // weight * |p - q|^2.
    void addPoint(const Vector3& q, double weight) {
        xx += weight;
        yy += weight;
        zz += weight;
        b += q * weight;
        c += weight * q.sqLength();
    }

    // Never below 0, where rounding would make it so.
    double at(const Vector3& p) const {
        const double value = p * times(p) - 2.0 * (b * p) + c;
        return value > 0.0 ? value : 0.0;
    }

    // Where it is least, searched from a point nearby, for the sake of rounding.
    // False, with p untouched, if that is no point.
    bool findMinimum(const Vector3& near, Vector3& p) const {
        // A = L D L'. The part of the points makes A positive.
        const double l10 = xy / xx, l20 = xz / xx;
        const double d1 = yy - l10 * xy;
        const double l21 = (yz - l20 * xy) / d1;
        const double d2 = zz - l20 * xz - l21 * (yz - l20 * xy);
        Vector3 r = b;
        r -= times(near);
        const double y1 = r.vy - l10 * r.vx, y2 = r.vz - l20 * r.vx - l21 * y1;
        const double z = y2 / d2, y = y1 / d1 - l21 * z, x = r.vx / xx - l10 * y - l20 * z;
        if (!(xx > 0.0 && d1 > 0.0 && d2 > 0.0) || !std::isfinite(x + y + z)) return false;
        p = near;
        p += {x, y, z};
        return true;
    }

private:
    Vector3 times(const Vector3& p) const {
        return {xx * p.vx + xy * p.vy + xz * p.vz, xy * p.vx + yy * p.vy + yz * p.vz,
                xz * p.vx + yz * p.vy + zz * p.vz};
    }
};

}  // namespace QUOR_ZEF
