#include "refit/localNoise.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <span>

#include "geometry/freeFunctions.h"
#include "parallel/parallelTransform.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t numTerms = 6;
constexpr std::size_t sampleStep = 8;  // triangles
constexpr double unknown = -1.0;

// Normal equations of the paraboloid with terms 1 u v uu uv vv that is nearest to heights.
class HeightFit {
public:
    void add(double u, double v, double height) {
        const std::array<double, numTerms> terms = {1.0, u, v, u * u, u * v, v * v};
        for (std::size_t i = 0; i < numTerms; ++i) {
            for (std::size_t k = 0; k <= i; ++k) matrix[i][k] += terms[i] * terms[k];
            right[i] += terms[i] * height;
        }
        sqHeights += height * height;
        ++num;
    }
    // Mean square of what is left, by as many freedoms as there are; unknown without any.
    double variance() {
        constexpr double leastPivot = 1e-6;
        constexpr std::size_t leastFreedoms = 4;
        if (num < numTerms + leastFreedoms) return unknown;
        double left = sqHeights;
        for (std::size_t i = 0; i < numTerms; ++i) {
            for (std::size_t k = 0; k <= i; ++k) {
                double sum = matrix[i][k];
                for (std::size_t j = 0; j < k; ++j) sum -= matrix[i][j] * matrix[k][j];
                if (k < i) {
                    matrix[i][k] = sum / matrix[k][k];
                } else {
                    if (!(sum > leastPivot)) return unknown;
                    matrix[i][i] = std::sqrt(sum);
                }
            }
            for (std::size_t k = 0; k < i; ++k) right[i] -= matrix[i][k] * right[k];
            right[i] /= matrix[i][i];
            left -= right[i] * right[i];
        }
        return std::max(left, 0.0) / static_cast<double>(num - numTerms);
    }

private:
    std::array<std::array<double, numTerms>, numTerms> matrix{};
    std::array<double, numTerms> right{};
    double sqHeights = 0.0;
    std::size_t num = 0;
};

Vector3 acrossOf(const Vector3& n) {
    return std::abs(n.vx) < std::abs(n.vy) ? Vector3(0.0, -n.vz, n.vy) : Vector3(-n.vz, 0.0, n.vx);
}

// In squares of the mean edge.
double varianceAround(const RefitSurface& surface, const FacePoints& points, std::size_t face,
                      std::vector<std::uint32_t>& vRing) {
    vRing.clear();
    Vector3 sum;
    for (std::size_t side = 3 * face; side < 3 * face + 3; ++side) {
        for (const std::uint32_t t : surface.fans[surface.vTriples[side]]) {
            if (std::find(vRing.begin(), vRing.end(), t) != vRing.end()) continue;
            vRing.push_back(t);
            sum += surface.vNormals[t].toVector() * double{surface.vNormals[t].area};
        }
    }
    const Vector3 normal = normalize(sum), right = normalize(acrossOf(normal));
    const Vector3 up = cross(normal, right);
    HeightFit fit;
    for (const std::uint32_t t : vRing) {
        for (const Vector3& p : points.of(t)) {
            const Vector3 arm = (p - surface.vCentres[face]) * (1.0 / surface.edge);
            fit.add(arm * right, arm * up, arm * normal);
        }
    }
    return fit.variance();
}

// The standard deviation by a low quantile of variances, since creases add to the higher ones.
double deviationOf(std::vector<double> vVariances) {
    constexpr double share = 0.35, quantileOfChance = 0.82;
    std::erase(vVariances, unknown);
    if (vVariances.empty()) return unknown;
    const auto at = vVariances.begin() + static_cast<std::ptrdiff_t>(share * static_cast<double>(vVariances.size()));
    std::nth_element(vVariances.begin(), at, vVariances.end());
    return std::sqrt(*at / quantileOfChance);
}

}  // namespace

LocalNoise::LocalNoise(const RefitSurface& surface, const FacePoints& points) {
    const std::size_t num = surface.numTriangles();
    std::vector<double> vVariances((num + sampleStep - 1) / sampleStep, unknown);
    parallelChunks(vVariances.size(), RefitSurface::minChunk / sampleStep, [&](std::size_t begin, std::size_t end) {
        std::vector<std::uint32_t> vRing;
        for (std::size_t i = begin; i < end; ++i)
            vVariances[i] = varianceAround(surface, points, sampleStep * i, vRing);
    });
    overall = deviationOf(vVariances) * surface.edge;
    const double meanSpacing = std::sqrt(surface.area / static_cast<double>(std::max<std::size_t>(points.size(), 1)));
    constexpr std::size_t perStretch = stretch / sampleStep, fewSamples = perStretch / 4;
    for (std::size_t first = 0; first < vVariances.size(); first += perStretch) {
        const std::size_t last = std::min(first + perStretch, vVariances.size());
        std::vector<double> vLocal(vVariances.begin() + static_cast<std::ptrdiff_t>(first),
                                   vVariances.begin() + static_cast<std::ptrdiff_t>(last));
        const auto numUnknown = static_cast<std::size_t>(std::count(vLocal.begin(), vLocal.end(), unknown));
        const bool bKnown = last - first >= numUnknown + fewSamples;
        double area = 0.0;
        std::size_t numPoints = 0;
        for (std::size_t t = sampleStep * first; t < std::min(sampleStep * last, num); ++t) {
            if (points.count(t) == 0) continue;
            area += double{surface.vNormals[t].area};
            numPoints += points.count(t);
        }
        vNoise.push_back(bKnown ? deviationOf(std::move(vLocal)) * surface.edge : overall);
        vSpacing.push_back(bKnown ? std::sqrt(area / static_cast<double>(numPoints)) : meanSpacing);
    }
    overall = overall < 0.0 ? unknown : overall;
}

}  // namespace QUOR_ZEF
