#include "density/noise.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <span>
#include <utility>

#include "frame/Progress.h"
#include "geometry/HeightQuadric.h"
#include "geometry/PlaceIndex.h"
#include "geometry/byPlace.h"
#include "geometry/freeFunctions.h"
#include "parallel/parallelTransform.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t maxSampled = 6'000, fewest = 2'000, pointsPerSample = 20;
constexpr std::size_t minSamples = 50'000, minFits = 64, batchSize = 1'000;
constexpr std::array<std::size_t, 4> aNumPoints = {16, 32, 64, 128};  // of the pieces, which double their area
constexpr double firstReach = 2.5;                                    // spacings: some 16 to 30 points in a plane
constexpr int numReaches = 5;                                         // each twice the one before
constexpr double widest = 0.2;                                        // scatter of a surface, in radii of the piece
constexpr std::size_t minInBlock = 9;
constexpr int numLevels = 4;
constexpr double smallestBlock = 12.0;  // spacings

struct Hit {
    double sqDistance;
    std::uint64_t point;
    bool operator==(const Hit& h) const { return point == h.point; }
};

// The standard deviation of the heights of points over a quadric.
double scatterOf(std::span<const Vector3> arms, double radius) {
    const HeightQuadric quadric(arms, radius);
    // Half of such sums are below this (E. Wilson, M. Hilferty, The distribution of chi-square,
    // 1931), so that the median of many is right.
    const double freedoms = static_cast<double>(arms.size() - quadric.getNumTold());
    const double toMedian = 1.0 - 2.0 / (9.0 * freedoms);
    return std::sqrt(quadric.getSumOfSquares() / (freedoms * toMedian * toMedian * toMedian));
}

class NoiseSearch {
public:
    NoiseSearch(const PointSource& allPoints, double spacing) : points(allPoints), firstRadius(firstReach * spacing) {
        const std::size_t num =
            std::min({points.size(), maxSampled, std::max(fewest, points.size() / pointsPerSample)});
        for (const std::size_t i : drawByPlace(points, num)) vPlaces.push_back(points[i]);
        vFound.resize(num);
    }

    void run() {
        std::vector<std::uint32_t> vOpen(vPlaces.size());
        std::iota(vOpen.begin(), vOpen.end(), 0u);
        // Most are settled in the first reach.
        OptionalStage stage("CK_noise", vOpen.size());
        double radius = firstRadius;
        for (int i = 0; i < numReaches && !vOpen.empty(); ++i, radius *= 2.0) {
            findHits(vOpen, radius);
            std::vector<char> vSettled(vOpen.size());
            for (std::size_t at = 0; at < vOpen.size(); at += batchSize) {
                const std::size_t num = std::min(batchSize, vOpen.size() - at);
                parallelChunks(num, minFits, [&](std::size_t begin, std::size_t end) {
                    for (std::size_t k = at + begin; k < at + end; ++k) vSettled[k] = settle(vOpen[k]) ? 1 : 0;
                });
                stage.tick(num);
            }
            std::size_t numLeft = 0;
            for (std::size_t k = 0; k < vOpen.size(); ++k)
                if (!vSettled[k]) vOpen[numLeft++] = vOpen[k];
            vOpen.resize(numLeft);
            if (numLeft > fewest) thinOut(vOpen, (numLeft + fewest - 1) / fewest);
        }
        stage.finish();
    }

    std::vector<Point3> vPlaces;
    std::vector<Scatter> vFound;  // by place

private:
    const PointSource& points;
    const double firstRadius;
    std::vector<Hit> vHits;            // of the points around, by place
    std::vector<std::size_t> vStarts;  // likewise: where they begin, and the end

    // Wide pieces cost more and tell more; all samples alike, so that the medians stay true.
    void thinOut(std::vector<std::uint32_t>& vOpen, std::size_t step) {
        std::erase_if(vOpen, [&](std::uint32_t place) { return place % step != 0; });
        for (std::size_t place = 0; place < vFound.size(); ++place)
            if (place % step != 0) vFound[place] = {};
    }

    void findHits(const std::vector<std::uint32_t>& vOpen, double radius) {
        const PlaceIndex around(vPlaces, vOpen, radius);
        using Found = std::pair<std::uint32_t, Hit>;
        const auto vParts = parallelChunkResults<std::vector<Found>>(
            points.size(), minSamples, [&](std::size_t begin, std::size_t end) {
                std::vector<Found> vPart;
                for (std::size_t i = begin; i < end; ++i) {
                    const Point3 p = points[i];
                    around.visit(p, p, [&](std::uint32_t place) {
                        const double sqDistance = (p - vPlaces[place]).sqLength();
                        if (sqDistance <= radius * radius) vPart.emplace_back(place, Hit{sqDistance, i});
                    });
                }
                return vPart;
            });
        vStarts.assign(vPlaces.size() + 1, 0);
        for (const auto& vPart : vParts)
            for (const auto& [place, hit] : vPart) ++vStarts[place + 1];
        std::partial_sum(vStarts.begin(), vStarts.end(), vStarts.begin());
        vHits.resize(vStarts.back());
        std::vector<std::size_t> vNext(vStarts.begin(), vStarts.end() - 1);
        for (const auto& vPart : vParts)
            for (const auto& [place, hit] : vPart) vHits[vNext[place]++] = hit;
    }

    // Of points as far away the order is that of their places.
    bool isNearer(const Hit& a, const Hit& b) const {
        if (a.sqDistance != b.sqDistance) return a.sqDistance < b.sqDistance;
        const Point3 p = points[a.point], q = points[b.point];
        return p != q ? p < q : a.point < b.point;
    }

    // Whether a piece is large enough for what its points scatter; else it is the best so far.
    bool settle(std::uint32_t place) {
        const auto first = vHits.begin() + static_cast<std::ptrdiff_t>(vStarts[place]),
                   last = vHits.begin() + static_cast<std::ptrdiff_t>(vStarts[place + 1]);
        std::sort(first, last, [&](const Hit& a, const Hit& b) { return isNearer(a, b); });
        const std::span<const Hit> hits(first, std::unique(first, last));
        std::array<Vector3, aNumPoints.back()> arms;
        std::size_t numArms = 0;
        for (const std::size_t num : aNumPoints) {
            if (hits.size() < num) return false;
            for (; numArms < num; ++numArms) arms[numArms] = points[hits[numArms].point] - vPlaces[place];
            const double radius = std::sqrt(hits[num - 1].sqDistance);
            if (!(radius > 0.0)) continue;
            vFound[place] = {scatterOf({arms.data(), num}, radius),
                             radius * std::sqrt(M_PI / static_cast<double>(num))};
            if (vFound[place].deviation <= widest * radius) return true;
        }
        return true;
    }
};

double medianOf(std::vector<double>& v) {
    const auto middle = v.begin() + static_cast<std::ptrdiff_t>(v.size() / 2);
    std::nth_element(v.begin(), middle, v.end());
    return *middle;
}

// Of at least one that is known.
template <class Iterator, class Fn>
Scatter mediansOf(Iterator first, Iterator last, const Fn& noiseOf) {
    std::vector<double> vDeviations, vSpacings;
    for (; first != last; ++first) {
        vDeviations.push_back(noiseOf(*first).deviation);
        vSpacings.push_back(noiseOf(*first).spacing);
    }
    return {medianOf(vDeviations), medianOf(vSpacings)};
}

}  // namespace

NoiseMap::NoiseMap(const PointSource& points, double spacing) {
    if (points.empty()) return;
    NoiseSearch search(points, spacing);
    search.run();
    std::vector<Point3> vPlaces;
    std::vector<Scatter> vFound;
    for (std::size_t k = 0; k < search.vPlaces.size(); ++k) {
        if (search.vFound[k].deviation < 0.0) continue;
        vPlaces.push_back(search.vPlaces[k]);
        vFound.push_back(search.vFound[k]);
    }
    if (vFound.empty()) return;
    median = mediansOf(vFound.begin(), vFound.end(), [](const Scatter& noise) { return noise; });
    low = vPlaces.front();
    for (const Point3& p : vPlaces) low.set(std::min(low.px, p.px), std::min(low.py, p.py), std::min(low.pz, p.pz));
    for (int i = 0; i < numLevels; ++i) addLevel(std::ldexp(smallestBlock * spacing, i), vPlaces, vFound);
}

// Two blocks of one code would only share their median.
uint64 NoiseMap::codeOf(const Point3& p, double side) const {
    const Vector3 way = (p - low) / side;
    const auto blockOf = [](double coord) { return static_cast<std::int64_t>(std::floor(coord)); };
    return codeOfBlock(blockOf(way.vx), blockOf(way.vy), blockOf(way.vz));
}

void NoiseMap::addLevel(double side, const std::vector<Point3>& vPlaces, const std::vector<Scatter>& vFound) {
    std::vector<std::pair<uint64, std::size_t>> vPairs;
    for (std::size_t k = 0; k < vPlaces.size(); ++k) vPairs.emplace_back(codeOf(vPlaces[k], side), k);
    std::sort(vPairs.begin(), vPairs.end());
    Level& level = vLevels.emplace_back();
    level.side = side;
    for (auto first = vPairs.begin(), last = first; first != vPairs.end(); first = last) {
        last = std::find_if(first, vPairs.end(), [&](const auto& pair) { return pair.first != first->first; });
        if (last - first < static_cast<std::ptrdiff_t>(minInBlock)) continue;
        level.numbers.insert(first->first, static_cast<std::uint32_t>(level.vMedians.size()));
        level.vMedians.push_back(mediansOf(first, last, [&](const auto& pair) { return vFound[pair.second]; }));
    }
}

const Scatter& NoiseMap::at(const Point3& p) const {
    for (const Level& level : vLevels) {
        const std::uint32_t number = level.numbers.find(codeOf(p, level.side));
        if (number != CodeMap::npos) return level.vMedians[number];
    }
    return median;
}

}  // namespace QUOR_ZEF
