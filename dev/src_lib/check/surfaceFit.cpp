#include "check/surfaceFit.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

#include "frame/Progress.h"
#include "frame/types.h"
#include "geometry/freeFunctions.h"
#include "geometry/symmetricEigen.h"
#include "parallel/parallelTransform.h"
#include "store/CodeMap.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t maxSampled = 10'000;
constexpr std::size_t maxSampledForNoise = 2000;
constexpr std::size_t minChunk = 50'000;
constexpr std::size_t spacingRank = 6;
constexpr double farthest = 32.0;     // cells
constexpr double reachOfNoise = 3.0;  // cells: some 50 points in a plane
constexpr double infinity = std::numeric_limits<double>::infinity();

using Numbers = std::vector<std::uint32_t>;

struct Block {
    std::int64_t x, y, z;
};

// Some places, to be found from whatever lies within a radius of them. Blocks have twice the
// radius as side, so that each ball touches eight of them at most.
class Surroundings {
public:
    // vWhich: of the places.
    Surroundings(const std::vector<Point3>& vPlaces, const Numbers& vWhich, double ballRadius)
        : radius(ballRadius), blocks(8 * vWhich.size()) {
        low = vPlaces.front();
        for (const Point3& p : vPlaces) low.set(std::min(low.px, p.px), std::min(low.py, p.py), std::min(low.pz, p.pz));
        // Blocks are cut off towards zero, so that those at zero would be wider.
        low.set(low.px - 3.0 * radius, low.py - 3.0 * radius, low.pz - 3.0 * radius);
        vEntries.reserve(8 * vWhich.size());
        const Vector3 reach(radius, radius, radius);
        for (const std::uint32_t which : vWhich)
            forEachBlock(vPlaces[which] + reach * -1.0, vPlaces[which] + reach,
                         [&](const Block& block) { add(block, which); });
    }

    // fn(which) for all places that may lie that near to something in the box from one
    // corner to the other, some of them more than once.
    template <class Fn>
    void visit(const Point3& boxLow, const Point3& boxHigh, const Fn& fn) const {
        forEachBlock(boxLow, boxHigh, [&](const Block& block) {
            for (std::uint32_t at = blocks.find(codeOf(block)); at != CodeMap::npos; at = vEntries[at].next)
                fn(vEntries[at].which);
        });
    }

private:
    struct Entry {
        std::uint32_t which;
        std::uint32_t next = CodeMap::npos;  // in the same block
    };
    const double radius;
    Point3 low;
    CodeMap blocks;  // to their first entries
    std::vector<Entry> vEntries;

    // Two blocks of one code would only be visited together.
    static uint64 codeOf(const Block& block) {
        return static_cast<uint64>(block.x) * 0xd6e8feb86659fd93 + static_cast<uint64>(block.y) * 0xa0761d6478bd642f +
               static_cast<uint64>(block.z) * 0xe7037ed1a0b428db;
    }
    Block blockOf(const Point3& p) const {
        const Vector3 way = (p - low) / (2.0 * radius);
        return {static_cast<std::int64_t>(way.vx), static_cast<std::int64_t>(way.vy),
                static_cast<std::int64_t>(way.vz)};
    }
    template <class Fn>
    void forEachBlock(const Point3& boxLow, const Point3& boxHigh, const Fn& fn) const {
        const Block first = blockOf(boxLow), last = blockOf(boxHigh);
        for (std::int64_t x = first.x; x <= last.x; ++x)
            for (std::int64_t y = first.y; y <= last.y; ++y)
                for (std::int64_t z = first.z; z <= last.z; ++z) fn(Block{x, y, z});
    }
    void add(const Block& block, std::uint32_t which) {
        const auto entry = static_cast<std::uint32_t>(vEntries.size());
        vEntries.push_back({which});
        const std::uint32_t first = blocks.insert(codeOf(block), entry);
        if (first != entry) vEntries[entry].next = std::exchange(vEntries[first].next, entry);
    }
};

double sqDistanceToSide(const Vector3& fromStart, const Vector3& side) {
    const double sqLength = side.sqLength();
    const double share = sqLength > 0.0 ? std::clamp(fromStart * side / sqLength, 0.0, 1.0) : 0.0;
    return (fromStart - side * share).sqLength();
}

double sqDistanceToTriangle(const Point3& p, const Point3& a, const Point3& b, const Point3& c) {
    const std::array<Vector3, 3> aFrom = {p - a, p - b, p - c}, aSide = {b - a, c - b, a - c};
    const Vector3 normal = cross(aSide[0], aSide[1]);
    const auto isInside = [&](std::size_t i) { return cross(aSide[i], aFrom[i]) * normal >= 0.0; };
    if (normal.sqLength() > 0.0 && isInside(0) && isInside(1) && isInside(2)) {
        const double height = aFrom[0] * normal;
        return height * height / normal.sqLength();
    }
    return std::min({sqDistanceToSide(aFrom[0], aSide[0]), sqDistanceToSide(aFrom[1], aSide[1]),
                     sqDistanceToSide(aFrom[2], aSide[2])});
}

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
        : points(allPoints), mesh(surface), cell(cellSize) {
        const std::size_t num = std::min(points.size(), maxSampled);
        for (std::size_t k = 0; k < num; ++k) vIndices.push_back(sampleAt(k, num));
        for (const std::size_t i : vIndices) vPlaces.push_back(points[i]);
        vSpacing.assign(num, infinity);
        vDistance.assign(num, infinity);
        // On this radius there are six points in a plane.
        const double cellsPerPoint = static_cast<double>(mesh.vertices.size()) / static_cast<double>(points.size());
        firstRadius = cell * std::min(1.0, std::sqrt(2.0 * cellsPerPoint));
    }

    double getCoverage() {
        for (;;) {
            const Numbers vNoSpacing = select([this](std::uint32_t s) { return needsSpacing(s); });
            const Numbers vNoDistance = select([this](std::uint32_t s) { return needsDistance(s); });
            if (1000 * std::max(vNoSpacing.size(), vNoDistance.size()) <= vPlaces.size()) break;
            if (!vNoSpacing.empty()) findSpacings(vNoSpacing);
            if (!vNoDistance.empty()) findDistances(vNoDistance);
        }
        const Numbers vCovered = select([this](std::uint32_t s) { return isCovered(s); });
        return static_cast<double>(vCovered.size()) / static_cast<double>(vPlaces.size());
    }

    // The median of how far points stray from their planes.
    double getNoise() const {
        const std::vector<std::vector<Vector3>> vArms = findArms(reachOfNoise * cell);
        std::vector<double> vStray;
        for (const std::vector<Vector3>& arms : vArms)
            if (arms.size() >= minForPlane) vStray.push_back(strayOf(arms));
        if (vStray.empty()) return -1.0;
        const auto middle = vStray.begin() + static_cast<std::ptrdiff_t>(vStray.size() / 2);
        std::nth_element(vStray.begin(), middle, vStray.end());
        return *middle / cell;
    }

private:
    static constexpr std::size_t minForPlane = 8;

    const PointSource& points;
    const TriangleMesh& mesh;
    const double cell;
    std::vector<std::size_t> vIndices;  // of the sampled points
    std::vector<Point3> vPlaces;
    std::vector<double> vSpacing, vDistance;           // infinite until known
    double spacingRadius = 0.0, distanceRadius = 0.0;  // up to here all are known
    double firstRadius;

    // One of each stretch of points, not at equal steps: scans come in rows.
    std::size_t sampleAt(std::size_t k, std::size_t num) const {
        const std::size_t begin = k * points.size() / num, end = (k + 1) * points.size() / num;
        return begin + static_cast<std::size_t>(uint64{k} * 0x9e3779b97f4a7c15 >> 33) % (end - begin);
    }

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
        const Surroundings around(vPlaces, vWhich, spacingRadius);
        auto vParts = parallelChunkResults<std::vector<NearestSix>>(
            points.size(), minChunk, [&](std::size_t begin, std::size_t end) {
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
        const Surroundings around(vPlaces, vWhich, distanceRadius);
        const auto vParts = parallelChunkResults<std::vector<double>>(
            mesh.numTriangles(), minChunk, [&](std::size_t begin, std::size_t end) {
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

    void addTriangle(std::size_t t, const Surroundings& around, std::vector<double>& vNearest) const {
        const Point3 &a = mesh.vertices[mesh.indices[3 * t]], &b = mesh.vertices[mesh.indices[3 * t + 1]],
                     &c = mesh.vertices[mesh.indices[3 * t + 2]];
        const Point3 low(std::min({a.px, b.px, c.px}), std::min({a.py, b.py, c.py}), std::min({a.pz, b.pz, c.pz}));
        const Point3 high(std::max({a.px, b.px, c.px}), std::max({a.py, b.py, c.py}), std::max({a.pz, b.pz, c.pz}));
        around.visit(low, high, [&](std::uint32_t s) {
            vNearest[s] = std::min(vNearest[s], sqDistanceToTriangle(vPlaces[s], a, b, c));
        });
    }

    // From some of the sampled points to those within the radius; of dense clouds not all,
    // but one in so many that there are some two points in a cell.
    std::vector<std::vector<Vector3>> findArms(double radius) const {
        const std::size_t step = (vPlaces.size() + maxSampledForNoise - 1) / maxSampledForNoise;
        const Surroundings around(vPlaces, select([&](std::uint32_t s) { return s % step == 0; }), radius);
        const double pointsPerCell = static_cast<double>(points.size()) / static_cast<double>(mesh.vertices.size());
        const std::size_t stride = std::max<std::size_t>(1, static_cast<std::size_t>(pointsPerCell / 2.0));
        using Arm = std::pair<std::uint32_t, Vector3>;
        const auto vParts =
            parallelChunkResults<std::vector<Arm>>(points.size(), minChunk, [&](std::size_t begin, std::size_t end) {
                std::vector<Arm> vFound;
                for (std::size_t i = (begin + stride - 1) / stride * stride; i < end; i += stride) {
                    const Point3 p = points[i];
                    around.visit(p, p, [&](std::uint32_t s) {
                        const Vector3 arm = p - vPlaces[s];
                        if (arm.sqLength() <= radius * radius) vFound.emplace_back(s, arm);
                    });
                }
                return vFound;
            });
        std::vector<std::vector<Vector3>> vArms(vPlaces.size());
        for (const std::vector<Arm>& vPart : vParts)
            for (const auto& [s, arm] : vPart) vArms[s].push_back(arm);
        return vArms;
    }

    // As their own distance tells nothing where points fill space, it is taken from how thick
    // the layer is.
    static double strayOf(const std::vector<Vector3>& arms) {
        constexpr double medianOfNormal = 0.6745;  // to its standard deviation
        constexpr double numFreedoms = 3.0;        // of the plane
        const auto num = static_cast<double>(arms.size());
        Vector3 mean;
        for (const Vector3& arm : arms) mean += arm;
        mean /= num;
        ProductSums sums;
        for (const Vector3& arm : arms) sums.add(arm - mean);
        return medianOfNormal * std::sqrt(std::max(getEigen(sums).values[0], 0.0) / (num - numFreedoms));
    }
};

}  // namespace

SurfaceFit measureFit(const PointSource& points, const TriangleMesh& mesh, double cellSize) {
    SurfaceFit fit;
    if (points.empty()) return fit;
    OptionalStage stage("CK_fit", 2);
    stage.tick();
    FitMeasure measure(points, mesh, cellSize);
    fit.coverage = measure.getCoverage();
    stage.tick();
    fit.noise = measure.getNoise();
    stage.finish();
    return fit;
}

}  // namespace QUOR_ZEF
