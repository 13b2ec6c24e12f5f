#include "density/PointGrid.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "density/evenness.h"

using namespace QUOR_ZEF;

namespace {

// Cells of 1, far enough from the faces for coordinates from 0 to 4000.
const Calc& grid() {
    static const Calc calc(-4096.0, -4096.0, -4096.0, 16384.0, 16384.0, 16384.0, 14);
    return calc;
}

class Random {
public:
    double operator()(double high) { return high * static_cast<double>(engine()) * 0x1p-32; }

private:
    std::mt19937 engine{4};
};

std::vector<std::vector<Point3>> clouds() {
    Random random;
    std::vector<std::vector<Point3>> v(6);
    for (int i = 0; i < 800; ++i) v[0].emplace_back(1500.0 * std::pow(random(1.0), 8), random(50.0), random(1.0));
    for (int i = 0; i < 512; ++i) v[1].emplace_back(i & 7, i >> 3 & 7, i >> 6);  // equal distances, cells' corners
    for (int i = 0; i < 500; ++i) v[2].emplace_back(i % 7, i % 11, i % 3);       // at 231 places
    v[3] = {{3.5, 3.5, 3.5}, {900.0, 3.5, 3.5}, {3.5, 1200.0, 3.5}};
    for (int i = 0; i < 80; ++i) v[4].emplace_back(1500.0 * (i % 2) + random(9.0), random(9.0), random(9.0));
    v[5] = {{1.75, 3.5, 0.5}, {3.0, 3.5, 0.5}, {1.75, 4.75, 0.5}};  // equally near across two and one cells
    return v;
}

// One point a cell of 1.3 times the spacing, as it is measured.
double unsupportedShare(const std::vector<Point3>& vPoints, double area) {
    const double cell = 1.3 * std::sqrt(1.5396 * area / static_cast<double>(vPoints.size())), side = 1024.0 * cell;
    const Calc calc(-0.5 * side, -0.5 * side, -0.5 * side, side, side, side, 10);
    std::vector<uint64> vRCD;
    for (const Point3& p : vPoints) vRCD.push_back(calc.getRCD(p));
    return getUnsupportedShare(vRCD);
}

}  // namespace

TEST(NeighbourSearch, findsWhatComparingAllPointsFinds) {
    for (const std::vector<Point3>& vPoints : clouds()) {
        const PointGrid points(vPoints, grid());
        NeighbourSearch search(points);
        for (std::uint32_t n = 0; n < points.size(); ++n) {
            // Also far from the last question.
            const std::uint32_t i = n % 3 == 2 ? n * 389 % points.size() : n;
            std::vector<NeighbourSearch::Neighbour> vAll;
            for (std::uint32_t k = 0; k < points.size(); ++k)
                if (k != i) vAll.push_back({(points[k] - points[i]).sqLength(), k});
            std::sort(vAll.begin(), vAll.end());
            for (const std::size_t num : {1u, 6u, 60u}) {
                const auto& vNear = search.find(i, num);
                ASSERT_EQ(vNear.size(), std::min(num, vAll.size()));
                for (std::size_t k = 0; k < vNear.size(); ++k) ASSERT_EQ(vNear[k].point, vAll[k].point) << i;
            }
            EXPECT_EQ(search.hasWithin(i, 6, 1.0), vAll.size() >= 6 && vAll[5].sqDistance <= 1.0);
        }
    }
}

TEST(PointGrid, holdsThePointsOfEachBlockInAnOrderOfItsOwn) {
    for (std::vector<Point3> vPoints : clouds()) {
        const PointGrid points(vPoints, grid());
        std::shuffle(vPoints.begin(), vPoints.end(), std::mt19937(1));
        const PointGrid shuffled(vPoints, grid());
        for (std::uint32_t i = 0; i < points.size(); ++i) {
            EXPECT_EQ(points[i], shuffled[i]);
            for (const int level : {0, 5, 11}) {
                const auto [first, last] = points.getBlock(level, points.getCell(i) >> 3 * level);
                EXPECT_TRUE(first <= i && i < last);
                EXPECT_TRUE(first == 0 || points.getCell(first - 1) >> 3 * level != points.getCell(i) >> 3 * level);
                EXPECT_EQ(points.getCell(last - 1) >> 3 * level, points.getCell(i) >> 3 * level);
            }
        }
        EXPECT_EQ(points.getBlock(3, 7).first, points.getBlock(3, 7).second);
    }
}

TEST(Evenness, tellsCloudsThatThinOutFromNoise) {
    constexpr int num = 40'000;
    const Vector3 u(0.8, 0.36, 0.48), v(-0.6, 0.48, 0.64), normal(0.0, -0.8, 0.6);
    Random random;
    for (const double noise : {0.0, 0.01}) {
        std::vector<Point3> vEven, vBall, vPlane, vUneven;
        for (int i = 0; i < num; ++i) {
            vEven.push_back(Point3() + u * (0.005 * (i % 200)) + v * (0.005 * (i / 200)));
            const double z = 1.0 - random(2.0), angle = random(2.0 * M_PI), r = std::sqrt(1.0 - z * z);
            const double f = 1.0 + random(noise);
            vBall.emplace_back(f * r * std::cos(angle), f * r * std::sin(angle), f * z);
            const Point3 p(random(1.0), random(1.0), 0.0);
            vPlane.push_back(Point3() + u * p.px + v * p.py + normal * random(noise));
            // The density falls by 64 along u.
            vUneven.push_back(Point3() + u * -std::log2(1.0 - p.px * 63.0 / 64.0) + v * p.py);
        }
        EXPECT_LT(unsupportedShare(vBall, 4.0 * M_PI), 0.001);
        // They have rims.
        EXPECT_LT(unsupportedShare(vEven, 1.0), 0.004);
        EXPECT_LT(unsupportedShare(vPlane, 1.0), 0.004);
        EXPECT_GT(unsupportedShare(vUneven, 6.0), 0.02);
    }
}
