#include "tiles/scanSample.h"

#include <gtest/gtest.h>

#include <map>
#include <sstream>

#include "support/drawnCells.h"
#include "support/tempFolder.h"

using namespace QUOR_ZEF;
using zef_test::Draws;
using zef_test::TempFolder;

namespace {

// A plane of 100 by 50, and some points that lie far off.
std::vector<Point3> planeWithStrays(int num, int numStrays) {
    Draws draws(5);
    std::vector<Point3> v;
    for (int i = 0; i < num; ++i) {
        const double x = draws.between(0.0, 100.0);
        const double y = draws.between(0.0, 50.0);
        v.emplace_back(x, y, 0.125);
        if (i < numStrays) v.emplace_back(1e6 + i, -3e7, 4.0);
    }
    return v;
}

std::filesystem::path fileOf(const TempFolder& folder, const std::vector<Point3>& vPoints) {
    std::ostringstream text;
    text.precision(17);
    for (const Point3& p : vPoints) text << p.px << ' ' << p.py << ' ' << p.pz << '\n';
    return folder.put("points.xyz", text.str());
}

}  // namespace

TEST(scanSample, smallInputsAreKeptAsTheyAre) {
    const TempFolder folder;
    std::vector<Point3> vPoints = planeWithStrays(900, 2);
    const std::filesystem::path file = fileOf(folder, vPoints);
    const Survey survey = surveyInputs({file, file}, {}, {});
    EXPECT_EQ(survey.numPoints, 1804u);
    vPoints.insert(vPoints.end(), vPoints.begin(), vPoints.end());
    EXPECT_EQ(*survey.all, vPoints);
}

TEST(scanSample, holdsWholePlacesAndNoStrays) {
    const TempFolder folder;
    constexpr int num = 60'000, numStrays = 20;
    const std::vector<Point3> vPoints = planeWithStrays(num, numStrays);
    const std::filesystem::path file = fileOf(folder, vPoints);
    const PlanLimits limits = {5000, 10'000, 500};
    const Survey survey = surveyInputs({file}, {}, limits);
    EXPECT_FALSE(survey.all.has_value());
    const Sample sample = sampleInputs({file}, {}, survey, false, limits);
    EXPECT_EQ(sample.numStrays, static_cast<uint64>(numStrays));
    EXPECT_EQ(sample.low, Point3(0.0, 0.0, 0.125));
    EXPECT_LT(sample.high.px, 100.0);
    EXPECT_LE(sample.points.size(), limits.mostPoints);
    EXPECT_GT(sample.points.size(), limits.mostPoints / 2);
    // Of each cube of the lattice that has points in the sample it has all, for some size of cubes.
    const auto cubesOf = [](const std::vector<Point3>& v, double side) {
        std::map<std::pair<double, double>, int> m;
        for (const Point3& p : v) ++m[{std::floor(p.px / side), std::floor(p.py / side)}];
        return m;
    };
    bool bWhole = false;
    for (int level = 0; level < 8; ++level) {
        const double side = std::ldexp(survey.blocks.getSide(), level);
        const auto all = cubesOf(vPoints, side), some = cubesOf(sample.points, side);
        const bool bThese =
            std::ranges::all_of(some, [&](const auto& cube) { return all.at(cube.first) == cube.second; });
        // Places spread over the plane.
        bWhole = bWhole || (bThese && some.size() >= 10 && some.begin()->second >= 100);
    }
    EXPECT_TRUE(bWhole);
}

TEST(scanSample, manyFarPointsAreNoStrays) {
    const TempFolder folder;
    const std::filesystem::path file = fileOf(folder, planeWithStrays(60'000, 400));
    const PlanLimits limits = {5000, 10'000, 500};
    const Survey survey = surveyInputs({file}, {}, limits);
    EXPECT_EQ(sampleInputs({file}, {}, survey, false, limits).numStrays, 0u);
}

TEST(scanSample, keptOutliersCount) {
    const TempFolder folder;
    const std::filesystem::path file = fileOf(folder, planeWithStrays(60'000, 1));
    const PlanLimits limits = {5000, 10'000, 500};
    const Survey survey = surveyInputs({file}, {}, limits);
    const Sample sample = sampleInputs({file}, {}, survey, true, limits);
    EXPECT_EQ(sample.numStrays, 0u);
    EXPECT_EQ(sample.high.px, 1e6);
}
