#pragma once

#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

#include "zef/Point3.h"

namespace QUOR_ZEF {

inline bool isFinite(const Point3& p) {
    return std::isfinite(p.px) && std::isfinite(p.py) && std::isfinite(p.pz);
}

// The box of some finite points.
struct PageBox {
    std::array<double, 3> low, high;

    PageBox() {
        low.fill(std::numeric_limits<double>::infinity());
        high.fill(-std::numeric_limits<double>::infinity());
    }
    bool isEmpty() const { return low[0] > high[0]; }
    double extent() const;  // its longest side, 0 if it is empty
    void add(const Point3& p);
    std::string json() const;  // [low, high] as six numbers
};

// A vertex or a point as it stands in a page: whole steps from an origin.
struct PackedPoint {
    std::array<std::uint32_t, 3> steps{};
    std::array<std::uint8_t, 3> color{};
    std::uint8_t marks = 0;

    static constexpr std::uint8_t colored = 1, filled = 2;
};

// Positions as whole numbers of steps, the same along all axes.
class Rounding {
public:
    // finest: a length of which a thirty-second is fine enough; 0 for none.
    Rounding(const PageBox& box, double finest);

    PackedPoint operator()(const Point3& p) const;
    std::string json() const;  // "origin": [x, y, z], "step": s

private:
    Point3 origin;
    double step;
};

}  // namespace QUOR_ZEF
