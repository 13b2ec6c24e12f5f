#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "grid/Calc.h"
#include "outliers/flyingPoints.h"
#include "outliers/lonelyPieces.h"
#include "outliers/strays.h"
#include "support/shapes.h"

using namespace QUOR_ZEF;

namespace {

std::vector<std::size_t> straysOf(const std::vector<Point3>& vPoints) {
    double low = 0.0, high = 0.0;  // around the longest axis, x
    for (const Point3& p : vPoints) {
        low = std::min(low, p.px);
        high = std::max(high, p.px);
    }
    return findStrays(vPoints, high - low);
}

// The number of blocks that fly, of points on a grid of unit cells, far from its faces.
std::size_t numFlying(const std::vector<Point3>& vPoints, int level) {
    const double side = std::ldexp(1.0, 20);
    const Calc calc(-side / 2, -side / 2, -side / 2, side, side, side, 20);
    std::vector<uint64> vCCD(vPoints.size());
    std::transform(vPoints.begin(), vPoints.end(), vCCD.begin(), [&](const Point3& p) { return calc.getCCD(p); });
    std::sort(vCCD.begin(), vCCD.end());
    return findFlyingBlocks(vCCD, level).size();
}

zef_test::Shape sheetAt(std::uint32_t numX, double x) {
    zef_test::Shape shape = zef_test::gridSheet(numX, 2);
    for (Point3& p : shape.vertices) p.px += x;
    return shape;
}

TriangleMesh meshOf(const std::vector<zef_test::Shape>& vShapes) {
    TriangleMesh mesh;
    for (const zef_test::Shape& shape : vShapes) {
        const auto first = static_cast<std::uint32_t>(mesh.vertices.size());
        mesh.vertices.insert(mesh.vertices.end(), shape.vertices.begin(), shape.vertices.end());
        for (const std::uint32_t vertex : shape.triples) mesh.indices.push_back(first + vertex);
    }
    return mesh;
}

}  // namespace

// Both ways and at several distances; what grows by and by, and crowds, are none.
TEST(Strays, areFewPointsBeyondAHundredExtents) {
    std::vector<Point3> vPoints;
    for (int x = 0; x < 100; ++x)
        for (int y = 0; y < 40; ++y) vPoints.emplace_back(x * 0.01, y * 0.01, 0.0);
    const std::vector<Point3> vClean = vPoints;
    vPoints.emplace_back(3.0, 0.0, 0.0);
    vPoints.emplace_back(90.0, 0.0, 0.0);
    EXPECT_TRUE(straysOf(vPoints).empty());
    vPoints.insert(vPoints.begin(), Point3(1e12, 0.0, 0.0));
    vPoints.emplace_back(-1e5, 0.0, 0.0);
    EXPECT_EQ(straysOf(vPoints), (std::vector<std::size_t>{0, 4003}));
    std::vector<Point3> vCrowd = vClean;
    for (int i = 0; i < 5; ++i) vCrowd.emplace_back(1e6 + i, 0.0, 0.0);
    EXPECT_TRUE(straysOf(vCrowd).empty());
    EXPECT_TRUE(straysOf({{0.0, 0.0, 0.0}, {1.0, 0.0, 0.0}, {1e9, 0.0, 0.0}}).empty());
}

TEST(FlyingPoints, areSmallAndFarFromADenseSurface) {
    std::vector<Point3> vPlane;
    for (int x = 0; x < 100; ++x)
        for (int y = 0; y < 100; ++y) vPlane.emplace_back(x, y, 0.0);
    for (const int numTogether : {1, 7, 8}) {
        for (const double height : {2.0, 40.0}) {
            std::vector<Point3> vPoints = vPlane;
            for (int i = 0; i < numTogether; ++i) vPoints.emplace_back(50.5, 50.5, height + 0.01 * i);
            EXPECT_EQ(numFlying(vPoints, 1), numTogether < 8 && height > 10.0 ? 1u : 0u) << numTogether << height;
        }
    }
}

TEST(FlyingPoints, areDustAroundABall) {
    std::vector<Point3> vPoints;
    for (const Point3& p : zef_test::icosphere(5, 40.0).vertices) vPoints.push_back(p);
    const std::size_t numBall = vPoints.size();
    std::mt19937 random(5);
    const auto next = [&] { return static_cast<double>(random()) * 0x1p-32 * 160.0 - 80.0; };
    while (vPoints.size() < numBall + 100) {
        const Point3 p(next(), next(), next());
        if ((p - Point3()).length() > 55.0) vPoints.push_back(p);
    }
    EXPECT_GT(numFlying(vPoints, 1), 40u);  // others lie flat by chance
}

// The distance of the points grows by factors of 8 and 64; a dense plate on a floor.
TEST(FlyingPoints, areNotTheSparsePartsOfAScan) {
    for (const double factor : {8.0, 64.0}) {
        std::vector<Point3> vPoints;
        for (double x = 0.0, step = 1.0; x < 2000.0; x += step) {
            step = std::pow(factor, x / 2000.0);
            for (double y = 0.0; y < 1000.0; y += step) vPoints.emplace_back(x, y, 0.0);
        }
        EXPECT_EQ(numFlying(vPoints, 1), 0u) << factor;
    }
    std::vector<Point3> vStep;
    for (int x = 0; x < 200; ++x) {
        for (int y = 0; y < 200; ++y) {
            vStep.emplace_back(x, y, 0.0);
            if (std::max(std::abs(x - 100), std::abs(y - 100)) > 10)
                vStep.emplace_back(20 * x - 1900, 20 * y - 1900, 0);
        }
    }
    EXPECT_EQ(numFlying(vStep, 1), 0u);
}

// Strips of 2 (n - 1) triangles: a large one, a lonely one, and a row of small ones.
TEST(LonelyPieces, goButNotARowOfThemNorTheLargest) {
    std::vector<zef_test::Shape> vShapes = {sheetAt(3, 1000.0), sheetAt(30, 0.0), sheetAt(6, 32.0)};
    for (int i = 0; i < 10; ++i) vShapes.push_back(sheetAt(9, 100.0 + 10.0 * i));
    TriangleMesh mesh = meshOf(vShapes);
    const TriangleMesh before = mesh;
    EXPECT_EQ(removeLonelyPieces(mesh, 1.0, 0).numPieces, 0u);
    EXPECT_EQ(mesh.indices, before.indices);
    const RemovedPieces removed = removeLonelyPieces(mesh, 1.0, 30);
    EXPECT_EQ(removed.numPieces, 2u);
    EXPECT_EQ(removed.numTriangles, 4u + 10u);
    vShapes.erase(vShapes.begin() + 2);
    vShapes.erase(vShapes.begin());
    EXPECT_EQ(mesh.vertices, meshOf(vShapes).vertices);
    EXPECT_EQ(mesh.indices, meshOf(vShapes).indices);
    // A row of as many triangles as four of the least pieces have is a surface.
    for (const std::uint32_t num : {5u, 6u}) {
        std::vector<zef_test::Shape> vRow = {sheetAt(30, 0.0)};
        for (int i = 0; i < 10; ++i) vRow.push_back(sheetAt(i < 5 ? num : 6, 100.0 + 6.0 * i));
        TriangleMesh row = meshOf(vRow);
        EXPECT_EQ(removeLonelyPieces(row, 1.0, 25).numPieces, num == 6 ? 0u : 10u);
    }
    TriangleMesh small = meshOf({sheetAt(3, 0.0), sheetAt(4, 100.0)});
    EXPECT_EQ(removeLonelyPieces(small, 1.0, 30).numTriangles, 4u);
    EXPECT_EQ(small.numTriangles(), 6u);
}
