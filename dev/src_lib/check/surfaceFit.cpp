#include "check/surfaceFit.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "frame/Progress.h"
#include "frame/types.h"
#include "geometry/PlaceIndex.h"
#include "geometry/byPlace.h"
#include "geometry/freeFunctions.h"
#include "parallel/parallelTransform.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t maxSampled = 10'000;
constexpr std::size_t minTogether = 50'000;
constexpr std::size_t spacingRank = 6;
constexpr double farthest = 32.0;  // cells
constexpr double infinity = std::numeric_limits<double>::infinity();

using Numbers = std::vector<std::uint32_t>;

struct NearestSix {
    std::array<double, spacingRank> aSquared;  // distances, ascending

    NearestSix() { aSquared.fill(infinity); }
    void add(double squared) {
        if (!(squared < aSquared.back())) return;
        std::size_t i = spacingRank - 1;
        for (; i > 0 && squared < aSquared[i - 1]; --i) aSquared[i] = aSquared[i - 1];
        aSquared[i] = squared;
    }
    void add(const NearestSix& other) {
        for (const double squared : other.aSquared) add(squared);
    }
};

// Looks for what decides about each sampled point within a radius that doubles until it is
// found, so that most need the nearest cells only, whether points lie densely or not.
class FitMeasure {
public:
    FitMeasure(const PointSource& allPoints, const TriangleMesh& surface, double cellSize)
        : points(allPoints), mesh(surface), cell(cellSize), vIndices(drawByPlace(allPoints, maxSampled)) {
        for (const std::size_t i : vIndices) vPlaces.push_back(points[i]);
        vSpacing.assign(vPlaces.size(), infinity);
        vDistance.assign(vPlaces.size(), infinity);
        // On this radius there are six points in a plane.
        const double cellsPerPoint = static_cast<double>(mesh.vertices.size()) / static_cast<double>(points.size());
        firstRadius = cell * std::min(1.0, std::sqrt(2.0 * cellsPerPoint));
    }

    double getCoverage(OptionalStage& stage) {
        for (;;) {
            const Numbers vNoSpacing = select([this](std::uint32_t s) { return needsSpacing(s); });
            const Numbers vNoDistance = select([this](std::uint32_t s) { return needsDistance(s); });
            if (1000 * std::max(vNoSpacing.size(), vNoDistance.size()) <= vPlaces.size()) break;
            if (!vNoSpacing.empty()) findSpacings(vNoSpacing);
            stage.tick(vNoSpacing.size());
            if (!vNoDistance.empty()) findDistances(vNoDistance);
            stage.tick(vNoDistance.size());
        }
        const Numbers vCovered = select([this](std::uint32_t s) { return isCovered(s); });
        return static_cast<double>(vCovered.size()) / static_cast<double>(vPlaces.size());
    }

    std::vector<std::size_t> findFar(double distance) {
        findDistances(select([](std::uint32_t) { return true; }));
        std::vector<std::size_t> vFar;
        for (const std::uint32_t s : select([&](std::uint32_t s) { return vDistance[s] > distance; }))
            vFar.push_back(vIndices[s]);
        return vFar;
    }

private:
    const PointSource& points;
    const TriangleMesh& mesh;
    const double cell;
    const std::vector<std::size_t> vIndices;  // of the sampled points
    std::vector<Point3> vPlaces;
    std::vector<double> vSpacing, vDistance;           // infinite until known
    double spacingRadius = 0.0, distanceRadius = 0.0;  // up to here all are known
    double firstRadius;

    bool isLost(std::uint32_t s) const { return vDistance[s] == infinity && distanceRadius >= farthest * cell; }
    bool needsSpacing(std::uint32_t s) const {
        return vSpacing[s] == infinity && !isLost(s) && !(2.0 * spacingRadius >= vDistance[s]);
    }
    bool needsDistance(std::uint32_t s) const {
        return vDistance[s] == infinity && !isLost(s) && !(distanceRadius >= 2.0 * vSpacing[s]);
    }
    bool isCovered(std::uint32_t s) const { return vDistance[s] != infinity && vDistance[s] <= 2.0 * vSpacing[s]; }

    template <class Fn>
    Numbers select(const Fn& isWanted) const {
        Numbers vWanted;
        for (std::uint32_t s = 0; s < vPlaces.size(); ++s)
            if (isWanted(s)) vWanted.push_back(s);
        return vWanted;
    }

    void findSpacings(const Numbers& vWhich) {
        spacingRadius = std::max(firstRadius, 2.0 * spacingRadius);
        const PlaceIndex around(vPlaces, vWhich, spacingRadius);
        auto vParts = parallelChunkResults<std::vector<NearestSix>>(
            points.size(), minTogether, [&](std::size_t begin, std::size_t end) {
                std::vector<NearestSix> vNearest(vPlaces.size());
                for (std::size_t i = begin; i < end; ++i) {
                    const Point3 p = points[i];
                    around.visit(p, p, [&](std::uint32_t s) {
                        if (vIndices[s] != i) vNearest[s].add((p - vPlaces[s]).sqLength());
                    });
                }
                return vNearest;
            });
        for (const std::uint32_t s : vWhich) {
            NearestSix nearest;
            for (const std::vector<NearestSix>& vPart : vParts) nearest.add(vPart[s]);
            const double spacing = std::sqrt(nearest.aSquared.back());
            if (spacing <= spacingRadius) vSpacing[s] = spacing;
        }
    }

    void findDistances(const Numbers& vWhich) {
        distanceRadius = std::max(cell, 2.0 * distanceRadius);
        const PlaceIndex around(vPlaces, vWhich, distanceRadius);
        const auto vParts = parallelChunkResults<std::vector<double>>(
            mesh.numTriangles(), minTogether, [&](std::size_t begin, std::size_t end) {
                std::vector<double> vNearest(vPlaces.size(), infinity);
                for (std::size_t t = begin; t < end; ++t) addTriangle(t, around, vNearest);
                return vNearest;
            });
        for (const std::uint32_t s : vWhich) {
            double sqNearest = infinity;
            for (const std::vector<double>& vPart : vParts) sqNearest = std::min(sqNearest, vPart[s]);
            const double distance = std::sqrt(sqNearest);
            if (distance <= distanceRadius) vDistance[s] = distance;
        }
    }

    void addTriangle(std::size_t t, const PlaceIndex& around, std::vector<double>& vNearest) const {
        const Point3 &a = mesh.vertices[mesh.indices[3 * t]], &b = mesh.vertices[mesh.indices[3 * t + 1]],
                     &c = mesh.vertices[mesh.indices[3 * t + 2]];
        const Point3 low(std::min({a.px, b.px, c.px}), std::min({a.py, b.py, c.py}), std::min({a.pz, b.pz, c.pz}));
        const Point3 high(std::max({a.px, b.px, c.px}), std::max({a.py, b.py, c.py}), std::max({a.pz, b.pz, c.pz}));
        around.visit(low, high, [&](std::uint32_t s) {
            vNearest[s] = std::min(vNearest[s], sqDistanceToTriangle(vPlaces[s] - a, b - a, c - a));
        });
    }
};

}  // namespace

double measureCoverage(const PointSource& points, const TriangleMesh& mesh, double cellSize) {
    if (points.empty()) return 0.0;
    // Each sample is looked for twice, and some of them again.
    OptionalStage stage("CK_fit", 2 * std::min(points.size(), maxSampled));
    const double coverage = FitMeasure(points, mesh, cellSize).getCoverage(stage);
    stage.finish();
    return coverage;
}

std::size_t getNumAsked(const PointSource& points) {
    return std::min(points.size(), maxSampled);
}

std::vector<std::size_t> findFarPoints(const PointSource& points, const TriangleMesh& mesh, double cellSize,
                                       double distance) {
    if (points.empty()) return {};
    return FitMeasure(points, mesh, cellSize).findFar(distance);
}

}  // namespace QUOR_ZEF
