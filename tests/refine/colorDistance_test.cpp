#include "refine/colorDistance.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace QUOR_ZEF;

namespace {

struct Known {
    int r, g, b;
    double l, a, bLab;  // CIELAB under D65
};

// From tables of the sRGB primaries and of dark greys, which lie on the straight part.
const Known known[] = {{0, 0, 0, 0.0, 0.0, 0.0},
                       {255, 255, 255, 100.0, 0.0, 0.0},
                       {255, 0, 0, 53.2408, 80.0925, 67.2032},
                       {0, 255, 0, 87.7347, -86.1827, 83.1793},
                       {0, 0, 255, 32.2970, 79.1875, -107.8602},
                       {128, 128, 128, 53.5850, 0.0, 0.0},
                       {10, 10, 10, 2.7415, 0.0, 0.0}};

Point3 pointOf(const Known& k) {
    return {0, 0, 0, std::uint8_t(k.r), std::uint8_t(k.g), std::uint8_t(k.b), 255};
}

}  // namespace

TEST(colorDistance, isTheDistanceOfTheKnownLabValues) {
    for (const Known& k : known)
        for (const Known& m : known)
            EXPECT_NEAR(colorDistance(pointOf(k), pointOf(m)), std::hypot(k.l - m.l, k.a - m.a, k.bLab - m.bLab), 0.03)
                << k.r << ' ' << k.g << ' ' << k.b << " to " << m.r << ' ' << m.g << ' ' << m.b;
}
