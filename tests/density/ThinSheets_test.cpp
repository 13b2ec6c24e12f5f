#include "density/ThinSheets.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <utility>
#include <vector>

#include "density/PointGrid.h"
#include "grid/Calc.h"

using namespace QUOR_ZEF;

namespace {

// Points of z = 0 and, if that is above 0, of z = gap, two for each cell of a grid of side 1 that is not aligned.
std::vector<Point3> sheets(double gap, double noise) {
    std::mt19937 random(1);
    std::uniform_real_distribution<double> place(0.0, 24.0);
    std::normal_distribution<double> off(0.0, noise);
    std::vector<Point3> vPoints;
    for (int i = 0; i < 1200 * (gap > 0.0 ? 2 : 1); ++i) {
        const double x = place(random), y = place(random), z = (i % 2 ? gap : 0.0) + (noise > 0.0 ? off(random) : 0.0);
        vPoints.emplace_back(x + 64.0, 0.8 * y - 0.6 * z + 64.0, 0.6 * y + 0.8 * z + 64.0);
    }
    return vPoints;
}

}  // namespace

// The faces of a wall part as far as the grid wants, and what moved finds its way back.
TEST(ThinSheets, facesOfAWallPartAndReturn) {
    const Calc calc(0.0, 0.0, 0.0, 256.0, 256.0, 256.0, 8);
    const std::vector<Point3> vPoints = sheets(1.5, 0.05);
    const PointGrid grid(vPoints, calc);
    ThinSheets thin(grid);
    EXPECT_GT(thin.getNumThin(), vPoints.size() * 9 / 10);
    const std::vector<Point3> vMoved = thin.spread();
    double offBack = 0.0;
    std::size_t numApart = 0;
    for (std::uint32_t i = 0; i < grid.size(); ++i) {
        const Vector3 move = vMoved[i] - grid[i];
        numApart += std::abs(0.8 * move.vz - 0.6 * move.vy) > 1.0;
        offBack += (thin.moveBack(vMoved[i]) - grid[i]).length();
    }
    EXPECT_GT(numApart, vPoints.size() * 4 / 5);
    EXPECT_LT(offBack, 0.1 * static_cast<double>(vPoints.size()));
}

TEST(ThinSheets, noiseAndFarSheetsAreNotThin) {
    const Calc calc(0.0, 0.0, 0.0, 256.0, 256.0, 256.0, 8);
    for (const auto& [gap, noise] : {std::pair(0.0, 0.7), std::pair(0.0, 0.3), std::pair(4.5, 0.05)}) {
        const std::vector<Point3> vPoints = sheets(gap, noise);
        EXPECT_LT(ThinSheets(PointGrid(vPoints, calc)).getNumThin(), vPoints.size() / 50) << gap << " " << noise;
    }
}
