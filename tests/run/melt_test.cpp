// Triangle soup through the grid and back, over the public interface.

#include <gtest/gtest.h>
#include <zef/zef.h>

#include <algorithm>
#include <cmath>

#include "support/capture.h"
#include "support/shapes.h"

using namespace QUOR_ZEF;
using zef_test::soupOf;

namespace {

double distanceToBox(const Point3& p, double half) {
    const double m = std::max({std::abs(p.px), std::abs(p.py), std::abs(p.pz)});
    return std::abs(m - half);
}

std::vector<Point3> verticesOf(const Mesh& mesh) {
    std::vector<Point3*> vPointers;
    mesh.getPoints(vPointers);
    std::vector<Point3> vPoints;
    for (const Point3* p : vPointers) vPoints.push_back(*p);
    return vPoints;
}

}  // namespace

TEST(Melt, sharpEdgesOfABoxStaySharp) {
    std::vector<Point3> vBox = soupOf(zef_test::box({-1, -1, -1}, {1, 1, 1}));
    const double spacing = 0.0501;
    const std::shared_ptr<Mesh> pMesh = melt(vBox, spacing, 45.0);
    ASSERT_TRUE(pMesh);
    const std::vector<Point3> vVertices = verticesOf(*pMesh);
    int numOnEdges = 0;
    for (const Point3& p : vVertices) {
        EXPECT_LT(distanceToBox(p, 1.0), 0.6 * spacing);
        const int numAtFace = (std::abs(std::abs(p.px) - 1) < 1e-9) + (std::abs(std::abs(p.py) - 1) < 1e-9) +
                              (std::abs(std::abs(p.pz) - 1) < 1e-9);
        numOnEdges += numAtFace >= 2;
    }
    // Twelve edges of length 2.
    EXPECT_GT(numOnEdges, 0.8 * 12 * 2 / spacing);
}

// They share no vertex. The surface of what they cover together comes out in one
// piece, and inside it, also closed, the one of what they share.
TEST(Melt, overlappingBoxesComeOutAsTheirUnionAndTheirIntersection) {
    std::vector<Point3> vBoxes = soupOf(zef_test::box({-1, -1, -1}, {1, 1, 1}));
    const std::vector<Point3> vSecond = soupOf(zef_test::box({-0.2, -0.3, -0.4}, {1.8, 1.7, 1.6}));
    vBoxes.insert(vBoxes.end(), vSecond.begin(), vSecond.end());
    const MeshReport report = check(melt(vBoxes, {.spacing = 0.0501}));
    EXPECT_TRUE(report.closed && report.manifold && report.oriented);
    ASSERT_EQ(report.numComponents, 2u);
    const double shared = 1.2 * 1.3 * 1.4;
    const auto [inner, outer] = std::minmax(report.components[0].volume, report.components[1].volume);
    EXPECT_NEAR(outer, 16.0 - shared, 0.01 * 16.0);
    EXPECT_NEAR(inner, shared, 0.02 * shared);
}

TEST(ToCloud, appendsOneSamplePerTouchedCell) {
    std::vector<Point3> vBox = soupOf(zef_test::box({-1, -1, -1}, {1, 1, 1}));
    std::vector<Point3> vOut = {{9, 9, 9}};
    toCloud(vBox, 0.0501, 45.0, vOut);
    EXPECT_EQ(vOut.front(), Point3(9, 9, 9));
    const double cellsOfSurface = 24.0 / (0.0501 * 0.0501);
    EXPECT_NEAR(static_cast<double>(vOut.size()), cellsOfSurface, 0.1 * cellsOfSurface);
    EXPECT_NEAR(estimateMeltCells(vBox, 0.0501), cellsOfSurface, 0.4 * cellsOfSurface);
    EXPECT_THROW(resample(vBox, {.spacing = 1e-5}), TooLargeError);
    for (std::size_t i = 1; i < vOut.size(); ++i) EXPECT_LT(distanceToBox(vOut[i], 1.0), 1e-9);
}

TEST(Melt, defaultSpacingIsFineAndBoundsTheCells) {
    std::vector<Point3> vSheets = soupOf(zef_test::box({0, 0, 0}, {1, 1, 1}));
    EXPECT_DOUBLE_EQ(defaultMeltSpacing(vSheets), 1.0 / 200.0);
    for (int i = 0; i < 1000; ++i)
        vSheets.insert(vSheets.end(), {{0.0, 0.0, 0.001 * i}, {1.0, 0.0, 0.001 * i}, {0.0, 1.0, 0.001 * i}});
    const double spacing = defaultMeltSpacing(vSheets);
    EXPECT_NEAR(spacing * spacing * 1e6, 1.25 * 506.0, 10.0);
}

TEST(Melt, badInputIsRefusedAndEmptyInputSaysSo) {
    std::vector<Point3> vNone;
    std::shared_ptr<Mesh> pMesh;
    EXPECT_NE(zef_test::printedText([&] { pMesh = melt(vNone, 1.0, 361.0); }).find("MELT: Nothing to do"),
              std::string::npos);
    EXPECT_FALSE(pMesh);
    std::vector<Point3> vOut;
    EXPECT_NE(zef_test::printedText([&] { toCloud(vNone, 1.0, 361.0, vOut); }).find("toCloud: Nothing to do"),
              std::string::npos);
    EXPECT_TRUE(vOut.empty());
    std::vector<Point3> vBox = soupOf(zef_test::box({0, 0, 0}, {1, 1, 1}));
    EXPECT_TRUE(zef_test::failsWith("usedSpacing>0", [&] { melt(vBox, -1.0, 361.0); }));
    vBox.pop_back();
    zef_test::failureText([&] { melt(vBox, 0.1, 361.0); });
}
