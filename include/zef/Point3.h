#pragma once

#include <cmath>
#include <cstdint>
#include <string>

#include "zef/Vector3.h"
#include "zef/export.h"

namespace QUOR_ZEF {

// A position, in the caller's unit of length, with optional colour.
// The colour getters give the stored bytes whether or not hasColor() is true.
// A plain value of 32 bytes: sharing one between threads is safe while nobody writes.
class ZEF_API Point3 {
public:
    double px = 0.0, py = 0.0, pz = 0.0;
    std::uint8_t r = 0, g = 0, b = 0, a = 0;  // 0 to 255
    bool bHasColor = false;                   // true when the channels mean something

    Point3() = default;
    Point3(double x, double y, double z) : px(x), py(y), pz(z) {}
    Point3(double x, double y, double z, std::uint8_t red, std::uint8_t green, std::uint8_t blue, std::uint8_t alpha)
        : px(x), py(y), pz(z), r(red), g(green), b(blue), a(alpha), bHasColor(true) {}

    double x() const { return px; }
    double y() const { return py; }
    double z() const { return pz; }
    void xyz(double& x, double& y, double& z) const {
        x = px;
        y = py;
        z = pz;
    }
    // Coordinates only: the colour is untouched.
    void set(double x, double y, double z) {
        px = x;
        py = y;
        pz = z;
    }
    void set(const Point3& other) { set(other.px, other.py, other.pz); }

    void setColor(std::uint8_t red, std::uint8_t green, std::uint8_t blue, std::uint8_t alpha) {
        r = red;
        g = green;
        b = blue;
        a = alpha;
        bHasColor = true;
    }
    bool hasColor() const { return bHasColor; }
    void getColor_255(std::uint8_t& red, std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha) const;
    void getColor_255(float& red, float& green, float& blue, float& alpha) const;
    // Each channel divided by 255.
    void getColor_1(float& red, float& green, float& blue, float& alpha) const;
    // The four values of getColor_1 as text, separated by single blanks.
    std::string getColorString() const;

    // Sums for averaging: the raw channels, the coordinates, the weighted coordinates.
    void addOwnColor(float& red, float& green, float& blue, float& alpha) const;
    void addOwnCoords(double& x, double& y, double& z) const {
        x += px;
        y += py;
        z += pz;
    }
    void addWeightedOwnCoords(double weight, double& x, double& y, double& z) const {
        x += weight * px;
        y += weight * py;
        z += weight * pz;
    }

    // Channels and flag of other.
    void copyColorFrom(const Point3& other);
    // The rounded mean if both are coloured, otherwise what p has: q alone never
    // lends its colour. Without any colour the channels stay and the flag is cleared.
    void copyColorFrom(const Point3& p, const Point3& q);

    // Equality and order look at the coordinates only.
    bool operator==(const Point3& p) const { return px == p.px && py == p.py && pz == p.pz; }
    bool operator!=(const Point3& p) const { return !(*this == p); }
    bool operator<(const Point3& p) const {
        if (px != p.px) return px < p.px;
        if (py != p.py) return py < p.py;
        return pz < p.pz;
    }
    // z never decides: '>' is not the mirror of '<', and is meant so.
    bool operator>(const Point3& p) const {
        if (px != p.px) return px > p.px;
        return py > p.py;
    }
};

static_assert(sizeof(Point3) == 32);

// The results carry no colour.
inline Point3 operator+(const Point3& p, const Vector3& v) {
    return {p.px + v.vx, p.py + v.vy, p.pz + v.vz};
}
inline Point3 operator-(const Point3& p, const Vector3& v) {
    return {p.px - v.vx, p.py - v.vy, p.pz - v.vz};
}
inline Vector3 operator-(const Point3& p, const Point3& q) {
    return {p.px - q.px, p.py - q.py, p.pz - q.pz};
}

}  // namespace QUOR_ZEF
