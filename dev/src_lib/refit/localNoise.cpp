#include "refit/localNoise.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <utility>

#include "frame/Run.h"
#include "geometry/byPlace.h"
#include "geometry/freeFunctions.h"
#include "parallel/parallelTransform.h"
#include "store/CodeMap.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t numTerms = 6;
constexpr uint64 sampleStep = 8;        // triangles
constexpr std::size_t fewSamples = 32;  // tell nothing
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
    for (const std::uint32_t corner : surface.sortedCorners(face)) {
        for (const std::uint32_t t : surface.fans[corner]) {
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
    if (vVariances.empty()) return unknown;
    const auto at = vVariances.begin() + static_cast<std::ptrdiff_t>(share * static_cast<double>(vVariances.size()));
    std::nth_element(vVariances.begin(), at, vVariances.end());
    return std::sqrt(*at / quantileOfChance);
}

// A triangle, and the variance of the points around it.
using NoiseSample = std::pair<std::uint32_t, double>;

// Drawn by their place, so that neither the order of triangles nor what is elsewhere counts; roughly, since rounding
// may depend on these.
bool isDrawn(const RefitSurface& surface, std::size_t face) {
    constexpr double fineness = 256.0;  // to an edge
    const Vector3 p = surface.vCentres[face] * (fineness / surface.edge);
    return (numberOfPlace(std::floor(p.vx), std::floor(p.vy), std::floor(p.vz)) >> 32) % sampleStep == 0;
}

std::vector<NoiseSample> drawSamples(const RefitSurface& surface, const FacePoints& points) {
    const auto vParts = parallelChunkResults<std::vector<NoiseSample>>(
        surface.numTriangles(), RefitSurface::minChunk, [&](std::size_t begin, std::size_t end) {
            std::vector<NoiseSample> vSamples;
            std::vector<std::uint32_t> vRing;
            for (std::size_t face = begin; face < end; ++face) {
                if (!isDrawn(surface, face)) continue;
                const double variance = varianceAround(surface, points, face, vRing);
                if (variance != unknown) vSamples.emplace_back(static_cast<std::uint32_t>(face), variance);
            }
            return vSamples;
        });
    std::vector<NoiseSample> vAll;
    for (const auto& vPart : vParts) vAll.insert(vAll.end(), vPart.begin(), vPart.end());
    return vAll;
}

// Of a lattice of the whole space, in the order in which triangles meet them.
struct SpaceBlocks {
    std::vector<std::uint32_t> vOf;     // by triangle
    std::vector<std::uint32_t> vFirst;  // by block: a triangle in it

    SpaceBlocks(const RefitSurface& surface, double width) : vOf(surface.numTriangles()) {
        std::vector<uint64> vCodes(vOf.size());
        forEachBelow(vOf.size(), [&](std::size_t t) {
            const Vector3& p = surface.vCentres[t];
            vCodes[t] = numberOfPlace(std::floor(p.vx / width), std::floor(p.vy / width), std::floor(p.vz / width));
        });
        CodeMap numbers;
        for (std::uint32_t t = 0; t < vOf.size(); ++t) {
            pollRun(t);
            if (t > 0 && vCodes[t] == vCodes[t - 1]) {
                vOf[t] = vOf[t - 1];
                continue;
            }
            vOf[t] = numbers.insert(vCodes[t], static_cast<std::uint32_t>(vFirst.size()));
            if (vOf[t] == vFirst.size()) vFirst.push_back(t);
        }
    }
    std::size_t size() const { return vFirst.size(); }
};

// By block; unknown where there are few samples.
std::vector<double> deviationsIn(const SpaceBlocks& blocks, const std::vector<NoiseSample>& vSamples) {
    std::vector<std::pair<std::uint32_t, double>> vSorted;  // by block
    vSorted.reserve(vSamples.size());
    for (const auto& [face, variance] : vSamples) vSorted.emplace_back(blocks.vOf[face], variance);
    std::sort(vSorted.begin(), vSorted.end());
    std::vector<double> vDeviations(blocks.size(), unknown);
    std::vector<double> vVariances;
    for (std::size_t i = 0; i < vSorted.size(); ++i) {
        vVariances.push_back(vSorted[i].second);
        if (i + 1 < vSorted.size() && vSorted[i + 1].first == vSorted[i].first) continue;
        if (vVariances.size() >= fewSamples) vDeviations[vSorted[i].first] = deviationOf(vVariances);
        vVariances.clear();
    }
    return vDeviations;
}

// By block.
std::vector<double> spacingsIn(const SpaceBlocks& blocks, const RefitSurface& surface, const FacePoints& points) {
    std::vector<double> vAreas(blocks.size());
    std::vector<std::size_t> vNums(blocks.size());
    for (std::size_t t = 0; t < blocks.vOf.size(); ++t) {
        if (points.count(t) == 0) continue;
        vAreas[blocks.vOf[t]] += double{surface.vNormals[t].area};
        vNums[blocks.vOf[t]] += points.count(t);
    }
    for (std::size_t i = 0; i < vAreas.size(); ++i)
        vAreas[i] = std::sqrt(vAreas[i] / static_cast<double>(std::max<std::size_t>(vNums[i], 1)));
    return vAreas;
}

// By one or two percent, so that a triangle more or less somewhere in a block is not felt in all of it.
double rounded(double value) {
    constexpr double steps = 64.0;  // to a power of two
    int exponent = 0;
    const double mantissa = std::frexp(value, &exponent);
    return std::ldexp(std::round(mantissa * steps) / steps, exponent);
}

}  // namespace

LocalNoise::LocalNoise(const RefitSurface& surface, const FacePoints& points,
                       const std::optional<PointScale>& fallback) {
    constexpr double narrowWidth = 16.0, wideWidth = 64.0;  // edges
    const std::vector<NoiseSample> vSamples = drawSamples(surface, points);
    std::vector<double> vVariances;
    vVariances.reserve(vSamples.size());
    for (const NoiseSample& sample : vSamples) vVariances.push_back(sample.second);
    const double deviation = deviationOf(std::move(vVariances));
    overall.noise = deviation == unknown ? unknown : deviation * surface.edge;
    overall.spacing = std::sqrt(surface.area / static_cast<double>(std::max<std::size_t>(points.size(), 1)));
    SpaceBlocks narrow(surface, narrowWidth * surface.edge);
    vLocal.assign(narrow.size(), fallback.value_or(overall));
    const auto take = [&](const SpaceBlocks& blocks) {
        const std::vector<double> vDeviations = deviationsIn(blocks, vSamples);
        const std::vector<double> vSpacings = spacingsIn(blocks, surface, points);
        for (std::size_t i = 0; i < vLocal.size(); ++i) {
            const std::uint32_t block = blocks.vOf[narrow.vFirst[i]];
            if (vDeviations[block] != unknown)
                vLocal[i] = {rounded(vDeviations[block] * surface.edge), rounded(vSpacings[block])};
        }
    };
    take(SpaceBlocks(surface, wideWidth * surface.edge));
    take(narrow);
    vBlocks = std::move(narrow.vOf);
}

}  // namespace QUOR_ZEF
