#pragma once

#include <cstdint>

#include "frame/types.h"
#include "zef/Point3.h"

namespace QUOR_ZEF {

// The mean of points, and of the colours of those that have one.
class PointMean {
public:
    void add(const Point3& p) {
        ++num;
        p.addOwnCoords(x, y, z);
        if (!p.bHasColor) return;
        ++numColored;
        red += p.r;
        green += p.g;
        blue += p.b;
        alpha += p.a;
    }

    uint64 size() const { return num; }

    // Channels are truncated; without any coloured point there is no colour.
    // At least one point must have been added.
    Point3 get() const {
        const auto n = static_cast<double>(num);
        Point3 p(x / n, y / n, z / n);
        if (numColored > 0) p.setColor(channel(red), channel(green), channel(blue), channel(alpha));
        return p;
    }

private:
    std::uint8_t channel(uint64 sum) const { return static_cast<std::uint8_t>(sum / numColored); }

    double x = 0.0, y = 0.0, z = 0.0;
    uint64 red = 0, green = 0, blue = 0, alpha = 0;
    uint64 num = 0, numColored = 0;
};

}  // namespace QUOR_ZEF
