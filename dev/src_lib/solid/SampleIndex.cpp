#include "solid/SampleIndex.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "parallel/parallelTransform.h"
#include "parallel/sortMT.h"

namespace QUOR_ZEF {

namespace {

// Cells. Between places that are asked lies less than a quarter.
constexpr double mostDistance = 1.25, stepBetween = 0.4;
// A triangle of shorter edges has no place farther than that from its corners.
constexpr double longEdge = 2.1;

class NearTest {
public:
    NearTest(const TriangleMesh& mesh_, const SampleIndex& samples_) : mesh(mesh_), samples(samples_) {}

    bool passes() const {
        return holds(mesh.vertices.size(), [&](std::size_t i) { return isNear(mesh.vertices[i]); }) &&
               holds(mesh.numTriangles(), [&](std::size_t t) { return isNearInside(t); });
    }

private:
    const TriangleMesh& mesh;
    const SampleIndex& samples;

    template <class IsGood>
    static bool holds(std::size_t num, const IsGood& isGood) {
        constexpr std::size_t minChunk = 4096;
        const auto vGood = parallelChunkResults<char>(num, minChunk, [&](std::size_t begin, std::size_t end) {
            for (std::size_t i = begin; i < end; ++i)
                if (!isGood(i)) return false;
            return true;
        });
        return std::ranges::all_of(vGood, [](char bGood) { return bGood != 0; });
    }

    bool isNear(const Point3& p) const {
        const LatticePoint cell = samples.cellOf(p);
        for (const std::int32_t reach : {0, 1, 2}) {
            const Point3* const pSample = samples.nearest(p, cell, reach);
            if (pSample && (*pSample - p).length() <= mostDistance * samples.cellSize) return true;
        }
        return false;
    }

    // Its corners are near.
    bool isNearInside(std::size_t triangle) const {
        const std::uint32_t* const pCorners = &mesh.indices[3 * triangle];
        const Point3 &a = mesh.vertices[pCorners[0]], &b = mesh.vertices[pCorners[1]], &c = mesh.vertices[pCorners[2]];
        const double ofA = (c - b).length(), ofB = (a - c).length(), ofC = (b - a).length();
        if (std::max({ofA, ofB, ofC}) < longEdge * samples.cellSize) return true;
        // Rows along the shortest side: needles, as at the borders of fine grids, have few of more than a place.
        return ofA <= std::min(ofB, ofC) ? areRowsNear(a, b, c)
               : ofB <= ofC              ? areRowsNear(b, c, a)
                                         : areRowsNear(c, a, b);
    }

    double numSteps(double length) const { return std::max(std::ceil(length / (stepBetween * samples.cellSize)), 1.0); }

    // From one of the sides at a to the other.
    bool areRowsNear(const Point3& a, const Point3& b, const Point3& c) const {
        const double numRows = numSteps(std::max((b - a).length(), (c - a).length()));
        for (double i = 0.0; i <= numRows; ++i) {
            const Point3 first = a + (b - a) * (i / numRows), last = a + (c - a) * (i / numRows);
            const double num = numSteps((last - first).length());
            for (double j = 0.0; j <= num; ++j)
                if (!isNear(first + (last - first) * (j / num))) return false;
        }
        return true;
    }
};

}  // namespace

SampleIndex::SampleIndex(const Point3& origin_, double cellSize_, const std::vector<SolidSample>& vSamples)
    : origin(origin_), cellSize(cellSize_) {
    vSampleAt.reserve(vSamples.size());
    for (const SolidSample& sample : vSamples) vSampleAt.emplace_back(codeOf(sample.cell), sample.place);
    sortStableByFirstMT(vSampleAt.begin(), vSampleAt.end());
}

LatticePoint SampleIndex::cellOf(const Point3& place) const {
    const Vector3 way = (place - origin) / cellSize;
    return {static_cast<std::int32_t>(std::floor(way.vx)), static_cast<std::int32_t>(std::floor(way.vy)),
            static_cast<std::int32_t>(std::floor(way.vz))};
}

const Point3* SampleIndex::nearest(const Point3& place, const LatticePoint& cell, std::int32_t reach) const {
    const Point3* pNearest = nullptr;
    double least = std::numeric_limits<double>::max();
    for (std::int32_t z = cell.z - reach; z <= cell.z + reach; ++z) {
        for (std::int32_t y = cell.y - reach; y <= cell.y + reach; ++y) {
            auto it = std::ranges::lower_bound(vSampleAt, codeOf({cell.x - reach, y, z}), {},
                                               &std::pair<uint64, Point3>::first);
            for (const uint64 last = codeOf({cell.x + reach, y, z}); it != vSampleAt.end() && it->first <= last; ++it) {
                const double distance = (it->second - place).length();
                if (distance >= least) continue;
                least = distance;
                pNearest = &it->second;
            }
        }
    }
    return pNearest;
}

bool isNearSamples(const TriangleMesh& mesh, const SampleIndex& samples) {
    return NearTest(mesh, samples).passes();
}

}  // namespace QUOR_ZEF
