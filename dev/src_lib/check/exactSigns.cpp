#include "check/exactSigns.h"

#include <cmath>
#include <cstddef>

namespace QUOR_ZEF {

namespace {

// Sums of rounding errors stay below these shares of the sum of magnitudes, where u
// is 2^-53: (7 + 56 u) u and (3 + 16 u) u.
constexpr double maxError3 = 8e-16, maxError2 = 4e-16;
// Products below the normal range lose more, but never as much as this.
constexpr double maxUnderflow = 1e-280;

int signOf(double x) {
    return (x > 0.0) - (x < 0.0);
}

// A sum kept as parts that do not overlap, smallest first, none of them 0.
class ExactSum {
public:
    void addProduct(double x, double y) {
        const double high = x * y;
        add(std::fma(x, y, -high));
        add(high);
    }
    void addProduct(double x, double y, double z) {
        const double high = x * y;
        addProduct(std::fma(x, y, -high), z);
        addProduct(high, z);
    }
    int sign() const { return numParts == 0 ? 0 : signOf(parts[numParts - 1]); }

private:
    std::array<double, 96> parts;  // 24 products of three, four parts each
    std::size_t numParts = 0;

    void add(double x) {
        std::size_t numKept = 0;
        for (std::size_t i = 0; i < numParts; ++i) {
            const double sum = x + parts[i];
            const double partThere = sum - x;
            const double error = (x - (sum - partThere)) + (parts[i] - partThere);
            x = sum;
            if (error != 0.0) parts[numKept++] = error;
        }
        if (x != 0.0) parts[numKept++] = x;
        numParts = numKept;
    }
};

// sign times the determinant of the rows p, q, r.
void addDeterminant(ExactSum& sum, double sign, const Coords& p, const Coords& q, const Coords& r) {
    for (std::size_t i = 0; i < 3; ++i) {
        const std::size_t j = (i + 1) % 3, k = (i + 2) % 3;
        sum.addProduct(sign * p[i], q[j], r[k]);
        sum.addProduct(-sign * p[i], q[k], r[j]);
    }
}

int exactOrientation3(const Coords& a, const Coords& b, const Coords& c, const Coords& d) {
    ExactSum sum;
    addDeterminant(sum, 1.0, a, b, c);
    addDeterminant(sum, -1.0, b, c, d);
    addDeterminant(sum, 1.0, c, d, a);
    addDeterminant(sum, -1.0, d, a, b);
    return sum.sign();
}

Coords difference(const Coords& p, const Coords& q) {
    return {p[0] - q[0], p[1] - q[1], p[2] - q[2]};
}

}  // namespace

int orientation3(const Coords& a, const Coords& b, const Coords& c, const Coords& d) {
    const Coords p = difference(a, d), q = difference(b, d), r = difference(c, d);
    double determinant = 0.0, magnitude = 0.0;
    for (std::size_t i = 0; i < 3; ++i) {
        const std::size_t j = (i + 1) % 3, k = (i + 2) % 3;
        const double left = q[j] * r[k], right = q[k] * r[j];
        determinant += p[i] * (left - right);
        magnitude += std::abs(p[i]) * (std::abs(left) + std::abs(right));
    }
    if (std::abs(determinant) > maxError3 * magnitude + maxUnderflow) return signOf(determinant);
    if (magnitude == 0.0) return 0;  // each product has a factor 0, as in planes across an axis
    return exactOrientation3(a, b, c, d);
}

int orientation2(const Coords& a, const Coords& b, const Coords& c, int dropped) {
    const auto i = static_cast<std::size_t>((dropped + 1) % 3), j = static_cast<std::size_t>((dropped + 2) % 3);
    const double left = (a[i] - c[i]) * (b[j] - c[j]), right = (a[j] - c[j]) * (b[i] - c[i]);
    const double magnitude = std::abs(left) + std::abs(right);
    if (std::abs(left - right) > maxError2 * magnitude + maxUnderflow) return signOf(left - right);
    if (magnitude == 0.0) return 0;
    ExactSum sum;
    for (const auto& [p, q] : {std::array{&a, &b}, std::array{&b, &c}, std::array{&c, &a}}) {
        sum.addProduct((*p)[i], (*q)[j]);
        sum.addProduct(-(*p)[j], (*q)[i]);
    }
    return sum.sign();
}

}  // namespace QUOR_ZEF
