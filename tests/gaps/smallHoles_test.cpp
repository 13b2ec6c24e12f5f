#include "gaps/smallHoles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>

#include "gaps/GapCloser.h"
#include "grid/RemoveDecider_RCD.h"
#include "grid/codeSets.h"
#include "support/drawnCells.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

constexpr int numHoles = 12;

const Point3 centre(shellCentre, shellCentre, shellCentre);

// The cells of a ball's surface with the means of places on it, thinned.
std::vector<RCDPoint> ballSamples(const Calc& calc) {
    constexpr int numPlaces = 100'000;
    std::map<uint64, std::pair<Vector3, double>> sums;
    for (int i = 0; i < numPlaces; ++i) {
        const double z = (2.0 * i + 1.0) / numPlaces - 1.0, r = std::sqrt(1.0 - z * z), angle = 2.4 * i;
        const Vector3 way(shellRadius * r * std::cos(angle), shellRadius * r * std::sin(angle), shellRadius * z);
        auto& [sum, num] = sums[calc.getRCD(centre + way)];
        sum += way;
        num += 1.0;
    }
    std::vector<RCDPoint> vAll;
    for (const auto& [rcd, sum] : sums) vAll.emplace_back(rcd, centre + sum.first / sum.second);
    std::vector<uint64> vKept, vDoomed;
    const std::vector<uint64> vCells = codesOf(vAll);
    RemoveDecider_RCD(&vCells, &calc).pruneLayered(vAll, vCells, vKept, vDoomed, false, false, 0);
    keepListed(vDoomed, vAll, false);
    return vAll;
}

// With round holes of this radius, apart from each other, in cells.
std::vector<RCDPoint> withHoles(std::vector<RCDPoint> vSamples, double radius, unsigned k) {
    Draws draws(k);
    std::vector<Point3> vMiddles;
    while (vMiddles.size() < numHoles) {
        const Point3 p = vSamples[draws.below(static_cast<unsigned>(vSamples.size()))].second;
        const auto isNear = [&](const Point3& other) { return (p - other).length() < 2.0 * radius + 6.0; };
        if (std::none_of(vMiddles.begin(), vMiddles.end(), isNear)) vMiddles.push_back(p);
    }
    std::erase_if(vSamples, [&](const RCDPoint& sample) {
        return std::any_of(vMiddles.begin(), vMiddles.end(),
                           [&](const Point3& p) { return (p - sample.second).length() < radius; });
    });
    return vSamples;
}

// Whether no steps over faces lead from the middle out between these cells.
bool isClosed(const std::vector<RCDPoint>& vSamples, const std::vector<RCDPoint>& vMore) {
    std::set<uint64> seen;
    for (const auto* const pv : {&vSamples, &vMore})
        for (const RCDPoint& sample : *pv) seen.insert(sample.first);
    std::vector<uint64> vQueue(1, packRCD(shellCentre, shellCentre, shellCentre));
    for (std::size_t i = 0; i < vQueue.size(); ++i) {
        if (unpackRCD(vQueue[i]).x > shellCentre + shellRadius + 3) return false;
        for (const uint64 step : {stepX_RCD, stepY_RCD, stepZ_RCD})
            for (const uint64 beside : {vQueue[i] - step, vQueue[i] + step})
                if (seen.insert(beside).second) vQueue.push_back(beside);
    }
    return true;
}

}  // namespace

TEST(SmallHoles, areClosedWhereTheSurfaceGoesOn) {
    const Calc calc = unitGrid();
    const std::vector<RCDPoint> vBall = ballSamples(calc);
    ASSERT_TRUE(isClosed(vBall, {}));
    for (const double radius : {1.2, 2.0, 3.0, 4.5}) {
        const std::vector<RCDPoint> vSamples = withHoles(vBall, radius, 7);
        ASSERT_FALSE(isClosed(vSamples, {}));
        std::vector<uint64> vArea, vBorder;
        const std::vector<uint64> vCells = codesOf(vSamples);
        RemoveDecider_RCD(&vCells, &calc).classify(vArea, vBorder);
        const auto fill = [&](std::uint32_t mostCells) {
            std::vector<RCDPoint> vFilled = crossSmallHoles(vBorder, vSamples, calc, mostCells);
            GapCloser(calc, 1, true).tightenFilling(vBorder, vSamples, vFilled);
            return vFilled;
        };
        const std::vector<RCDPoint> vFilled = fill(widestSmallHole);
        EXPECT_TRUE(isClosed(vSamples, vFilled)) << radius;
        EXPECT_TRUE(intersection(vCells, codesOf(vFilled)).empty());
        for (const RCDPoint& sample : vFilled) {
            EXPECT_EQ(calc.getRCD(sample.second), sample.first);
            EXPECT_NEAR((sample.second - centre).length(), shellRadius, 0.5);
        }
        // As wide as holes may be.
        EXPECT_EQ(isClosed(vSamples, fill(4)), radius < 2.5) << radius;
    }
}
