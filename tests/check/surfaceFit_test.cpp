#include "check/surfaceFit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "support/shapes.h"

using namespace QUOR_ZEF;

namespace {

// Points on a sheet of 40 cells, denser to one side, and a quarter of them on a slanting one
// above it, about as far as two of their spacings.
std::vector<Point3> strewn(int num) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> share;
    std::vector<Point3> vPoints;
    for (int i = 0; i < num; ++i) {
        const double x = share(random), y = share(random);
        vPoints.emplace_back(40.0 * x * x, 40.0 * y, i % 4 == 0 ? 240.0 / std::sqrt(num) * (0.5 + y) : 0.0);
    }
    return vPoints;
}

// The sheet is a square in a plane.
double coverageOf(const std::vector<Point3>& vPoints) {
    int numCovered = 0;
    for (const Point3& p : vPoints) {
        std::vector<double> vSquares;
        for (const Point3& q : vPoints) vSquares.push_back((p - q).sqLength());
        std::nth_element(vSquares.begin(), vSquares.begin() + 6, vSquares.end());
        if (std::abs(p.pz) <= 2.0 * std::sqrt(vSquares[6])) ++numCovered;
    }
    return static_cast<double>(numCovered) / static_cast<double>(vPoints.size());
}

}  // namespace

TEST(SurfaceFit, coverageIsThatOfBruteForceWhereverPointsAreDense) {
    const zef_test::Shape sheet = zef_test::gridSheet(41, 41);
    for (const int num : {200, 1000, 4000}) {
        const std::vector<Point3> vPoints = strewn(num);
        const double share = measureCoverage(vPoints, {sheet.vertices, sheet.triples}, 1.0);
        EXPECT_NEAR(share, coverageOf(vPoints), 1e-3) << num;
        EXPECT_LT(share, 0.95);
    }
    // Sampled: what lies farther off than anything is a fifth.
    std::vector<Point3> vPoints = strewn(40'000);
    for (std::size_t i = 0; i < vPoints.size(); ++i) vPoints[i].pz = i % 5 == 0 ? 5.0 : 0.0;
    EXPECT_NEAR(measureCoverage(vPoints, {sheet.vertices, sheet.triples}, 1.0), 0.8, 0.01);
}
