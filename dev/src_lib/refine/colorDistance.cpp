#include "refine/colorDistance.h"

#include <array>
#include <cmath>

namespace QUOR_ZEF {

namespace {

struct Lab {
    float l, a, b;
};

// The linear share of an sRGB channel, 0 to 100, for every byte.
std::array<float, 256> makeLinear() {
    std::array<float, 256> linear{};
    for (std::size_t i = 0; i < linear.size(); ++i) {
        const float c = static_cast<float>(i) / 255.0f;
        linear[i] = 100.0f * (c > 0.04045f ? std::pow((c + 0.055f) / 1.055f, 2.4f) : c / 12.92f);
    }
    return linear;
}

float labCurve(float t) {
    return t > 0.008856f ? std::cbrt(t) : 7.787f * t + 0.13793103f;
}

Lab labOf(const Point3& p) {
    static const std::array<float, 256> linear = makeLinear();
    const float r = linear[p.r], g = linear[p.g], b = linear[p.b];
    // sRGB to XYZ, then the white point of D65.
    const float x = labCurve((r * 0.4124f + g * 0.3576f + b * 0.1805f) / 95.047f);
    const float y = labCurve((r * 0.2126f + g * 0.7152f + b * 0.0722f) / 100.0f);
    const float z = labCurve((r * 0.0193f + g * 0.1192f + b * 0.9505f) / 108.883f);
    return {116.0f * y - 16.0f, 500.0f * (x - y), 200.0f * (y - z)};
}

}  // namespace

float colorDistance(const Point3& p, const Point3& q) {
    const Lab u = labOf(p), v = labOf(q);
    const float dl = u.l - v.l, da = u.a - v.a, db = u.b - v.b;
    return std::sqrt(dl * dl + da * da + db * db);
}

}  // namespace QUOR_ZEF
