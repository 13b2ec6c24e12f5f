#include "density/Densifier.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>

#include "support/threads.h"

using namespace QUOR_ZEF;

namespace {

// Cells of 0.5.
const Calc calc(-2048.0, -2048.0, -2048.0, 4096.0, 4096.0, 4096.0, 13);

bool touch(uint64 a, uint64 b) {
    const GridCoords p = unpackCCD(a), q = unpackCCD(b);
    return p.x - q.x + 1 < 3 && p.y - q.y + 1 < 3 && p.z - q.z + 1 < 3;
}

// Whether all cells hang together.
bool isConnected(const std::vector<uint64>& vCCD) {
    std::vector<uint64> vReached = {vCCD.front()}, vLeft(vCCD.begin() + 1, vCCD.end());
    for (std::size_t i = 0; i < vReached.size(); ++i) {
        const uint64 from = vReached[i];
        const auto it = std::partition(vLeft.begin(), vLeft.end(), [=](uint64 ccd) { return !touch(from, ccd); });
        vReached.insert(vReached.end(), it, vLeft.end());
        vLeft.erase(it, vLeft.end());
    }
    return vLeft.empty();
}

}  // namespace

TEST(Discs, fillTheCellsOfTheirPlaneUpToTheirReach) {
    for (const Vector3& normal : {Vector3(0.48, -0.6, 0.64), Vector3(-0.96, 0.28, 0.0), Vector3(0.0, 1.0, 0.0)}) {
        Disc disc({10.1, -7.3, 3.3}, normal, 2.5);
        disc.aReach.fill({4.0, 0.0, 0.0});
        disc.aReach[5].length = 2.5;
        Disc shifted = disc;
        shifted.centre = disc.centre + disc.right * 1.5;
        const auto liesOn = [](const Disc& d, const Point3& p) {
            const Vector3 arm = p - d.centre;
            return arm.length() <= d.aReach[Disc::getSector(arm * d.right, arm * d.up)].length;
        };
        std::vector<uint64> vFound;
        for (const auto& [ccd, p, number] : drawDiscs(
                 {0}, [&](std::size_t) { return disc; }, calc)) {
            vFound.push_back(ccd);
            EXPECT_EQ(number, 0u);
            EXPECT_NEAR((p - disc.centre) * normal, 0.0, 1e-9);
            EXPECT_TRUE(liesOn(disc, p));
        }
        EXPECT_TRUE(std::is_sorted(vFound.begin(), vFound.end()) && isConnected(vFound));
        EXPECT_NEAR(static_cast<double>(vFound.size()),
                    (7.0 * 16.0 + 6.25) * M_PI / 8.0 / 0.25 *
                        std::max({std::abs(normal.vx), std::abs(normal.vy), std::abs(normal.vz)}),
                    14.0);
        // Places where two discs overlap lie on both and are told of the nearer one.
        const std::vector<DrawnCell> vBoth = drawDiscs(
            {0, 0}, [&](std::size_t i) { return i == 0 ? disc : shifted; }, calc);
        EXPECT_GT(vBoth.size(), vFound.size());
        for (const auto& [ccd, p, number] : vBoth) {
            EXPECT_NEAR((p - disc.centre) * normal, 0.0, 1e-9);
            EXPECT_TRUE(liesOn(disc, p) || liesOn(shifted, p));
            const bool bNearer = !liesOn(shifted, p) || (p - disc.centre).length() < 0.5;
            EXPECT_TRUE(number == 0 || !bNearer);
        }
        disc.addCut({disc.up, -1.0});
        for (const DrawnCell& drawn : drawDiscs(
                 {0}, [&](std::size_t) { return disc; }, calc))
            EXPECT_GE((drawn.place - disc.centre) * disc.up, -1.0);
        disc.numCuts = 0;
        // On the way to a far neighbour a disc is no wider than its points are apart.
        disc.aReach.fill({8.0, std::cos(0.4), std::sin(0.4)});
        const auto place = [&](double along, double aside) {
            return disc.right * (along * std::cos(0.4) - aside * std::sin(0.4)) +
                   disc.up * (along * std::sin(0.4) + aside * std::cos(0.4));
        };
        EXPECT_LE(disc.getShare(place(7.9, 0.0)), 1.0);
        EXPECT_LE(disc.getShare(place(7.0, -2.4)), 1.0);
        EXPECT_GT(disc.getShare(place(7.0, -2.6)), 1.0);
    }
}

TEST(Densifier, doesNotDependOnTheOrderOfThePointsOrTheThreads) {
    std::mt19937 random(8);
    std::vector<Point3> vPoints;
    for (int i = 0; i < 6000; ++i) {
        const double x = 2.0 + static_cast<double>(random()) * 0x1p-26, y = static_cast<double>(random()) * 0x1p-26;
        vPoints.emplace_back(x * x / 64.0, y, std::round(x * 0.2));
    }
    std::vector<Point3> vFirst;
    for (const unsigned numThreads : {1u, 3u}) {
        const ThreadCount threads(numThreads);
        const PointGrid points(vPoints, calc);
        Densifier densifier(points);
        const auto vCounts = densifier.countLevels(3);
        EXPECT_EQ(std::accumulate(vCounts.begin(), vCounts.end(), std::uint64_t{0}), vPoints.size());
        EXPECT_LT(densifier.estimateCells(1), densifier.estimateCells(3));
        const std::vector<Point3> vMade = densifier.run(3);
        EXPECT_GT(vMade.size(), vPoints.size());
        if (vFirst.empty()) vFirst = vMade;
        EXPECT_TRUE(vMade == vFirst);
        std::shuffle(vPoints.begin(), vPoints.end(), random);
    }
}
