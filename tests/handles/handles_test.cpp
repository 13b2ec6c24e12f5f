#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <initializer_list>
#include <random>
#include <vector>

#include "handles/cutHandles.h"
#include "handles/heldOpen.h"
#include "support/shapes.h"
#include "zef/meshCheck.h"
#include "zef/reconstruction.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

TriangleMesh meshOf(const Shape& shape) {
    return {shape.vertices, shape.triples};
}

void expectGenus(const TriangleMesh& mesh, std::int64_t genus) {
    const MeshReport report = check(mesh);
    EXPECT_TRUE(report.closed && report.manifold && report.oriented);
    ASSERT_EQ(report.numComponents, 1u);
    EXPECT_EQ(report.components[0].genus, genus);
    EXPECT_EQ(countSelfIntersections(mesh), 0u);
}

// A plate with square tunnels through it, on a grid of cells.
TriangleMesh plateWith(std::initializer_list<std::array<int, 3>> tunnels) {
    const auto isFull = [&](int x, int y, int z) {
        if (x < 0 || y < 0 || z < 0 || x >= 30 || y >= 20 || z >= 3) return false;
        for (const auto& [left, low, width] : tunnels)
            if (x >= left && x < left + width && y >= low && y < low + width) return false;
        return true;
    };
    TriangleMesh mesh;
    for (int z = 0; z <= 3; ++z)
        for (int y = 0; y <= 20; ++y)
            for (int x = 0; x <= 30; ++x) mesh.vertices.emplace_back(x, y, z);
    const auto at = [](const std::array<int, 3>& p) {
        return static_cast<std::uint32_t>(p[0] + 31 * (p[1] + 21 * p[2]));
    };
    for (int i = 0; i < 30 * 20 * 3; ++i) {
        const std::array<int, 3> cell{i % 30, i / 30 % 20, i / 600};
        for (int face = 0; face < 6 && isFull(cell[0], cell[1], cell[2]); ++face) {
            const int axis = face / 2, step = face % 2;
            std::array<int, 3> other = cell, a = cell;
            other[static_cast<std::size_t>(axis)] += 2 * step - 1;
            if (isFull(other[0], other[1], other[2])) continue;
            a[static_cast<std::size_t>(axis)] += step;
            std::array<int, 3> b = a, c = a, d = a;
            const auto u = static_cast<std::size_t>((axis + 2 - step) % 3),
                       v = static_cast<std::size_t>((axis + 1 + step) % 3);
            ++b[u], ++c[u], ++c[v], ++d[v];
            for (const auto& p : {a, b, c, a, c, d}) mesh.indices.push_back(at(p));
        }
    }
    return mesh;
}

// Random points on a ring of radius 14 with a tube of radius 5, one for each unit of area, of which a piece of
// such a length is missing.
std::vector<Point3> openRing(double gap) {
    constexpr double radius = 14.0, tube = 5.0;
    std::mt19937 random(1);
    const auto draw = [&](double from, double to) {
        return from + (to - from) * static_cast<double>(random()) / 4294967296.0;
    };
    const auto place = [](double along, double off, double around) {
        const double r = radius + off * std::cos(around);
        return Point3(r * std::cos(along), r * std::sin(along), off * std::sin(around));
    };
    std::vector<Point3> vPoints;
    const double end = gap / 2.0 / radius;
    for (int i = 0; i < 3600; ++i) {
        const double along = draw(end, 2.0 * M_PI - end), around = draw(0.0, 2.0 * M_PI);
        if (draw(0.0, radius + tube) < radius + tube * std::cos(around)) vPoints.push_back(place(along, tube, around));
    }
    for (int i = 0; i < 160; ++i) {
        const double around = draw(0.0, 2.0 * M_PI), off = tube * std::sqrt(draw(0.0, 1.0));
        vPoints.push_back(place(i % 2 ? end : -end, off, around));
    }
    return vPoints;
}

}  // namespace

TEST(Handles, shortLoopIsCutAndLongOnesStay) {
    TriangleMesh mesh = meshOf(torus(10, 8, 1.5, 0.6));
    const TriangleMesh before = mesh;
    EXPECT_EQ(cutHandles(mesh, {}, 1.0, 3.5), 0u);
    EXPECT_EQ(mesh.indices, before.indices);
    EXPECT_EQ(mesh.vertices, before.vertices);
    EXPECT_EQ(cutHandles(mesh, {}, 1.0, 4.0), 1u);
    expectGenus(mesh, 0);
    // Nothing moves farther than half a cell, and old vertices keep their numbers.
    for (std::size_t i = 0; i < before.vertices.size(); ++i)
        EXPECT_LE((mesh.vertices[i] - before.vertices[i]).length(), 0.5);
}

// Three narrow ones, two of them beside each other.
TEST(Handles, narrowTunnelsAreFilledAndWideOnesStay) {
    TriangleMesh mesh = plateWith({{3, 3, 2}, {3, 12, 4}, {10, 5, 2}, {14, 5, 2}, {20, 8, 4}});
    EXPECT_EQ(cutHandles(mesh, {}, 1.0, 3.0 * M_PI), 3u);
    expectGenus(mesh, 2);
    EXPECT_EQ(cutHandles(mesh, {}, 1.0, 3.0 * M_PI), 0u);
}

// The bar goes once around the large hole, so that no short way leads around what it closes.
TEST(Handles, thinBarOfALongLoopIsCut) {
    TriangleMesh mesh = plateWith({{1, 3, 14}});
    EXPECT_EQ(cutHandles(mesh, {}, 1.0, 3.0 * M_PI), 1u);
    expectGenus(mesh, 0);
}

TEST(Handles, pointsHoldTunnelsOpenUnlessTheyLieAcross) {
    TriangleMesh mesh = plateWith({{3, 3, 2}, {14, 5, 2}});
    std::vector<Point3> vPoints;
    for (const std::uint32_t vertex : mesh.indices) vPoints.push_back(mesh.vertices[vertex]);
    EXPECT_EQ(cutHandles(mesh, vPoints, 1.0, 3.0 * M_PI), 0u);
    for (const double x : {3.5, 4.0, 4.5})
        for (const double y : {3.5, 4.0, 4.5}) vPoints.emplace_back(x, y, 1.5);
    EXPECT_EQ(cutHandles(mesh, vPoints, 1.0, 3.0 * M_PI), 1u);
    expectGenus(mesh, 1);
}

// Most of them between the corners of the loop.
TEST(Handles, pointsBesideTheSidesOfALoopAreItsOwn) {
    const std::vector<Point3> vLoop = {{0.0, 0.0, 0.0}, {8.0, 0.0, 0.0}, {8.0, 8.0, 0.0}, {0.0, 8.0, 0.0}};
    std::vector<Point3> vPoints;
    for (double at = 0.1; at < 8.0; at += 0.2)
        for (const double side : {0.1, 7.9}) vPoints.insert(vPoints.end(), {{at, side, 0.3}, {side, at, -0.3}});
    EXPECT_TRUE(isHeldOpen(vLoop, vPoints, 1.0));
    for (double x = 1.5; x < 7.0; x += 1.0)
        for (double y = 1.5; y < 7.0; y += 1.0) vPoints.emplace_back(x, y, 0.3);
    EXPECT_FALSE(isHeldOpen(vLoop, vPoints, 1.0));
}

// Two narrow ones: the tunnel of 2 x 2, and the bar of 1 x 3 beside the edge.
TEST(Handles, areToldByLength) {
    const HandleReport report = findHandles(plateWith({{3, 3, 4}, {12, 12, 3}, {20, 8, 2}, {24, 8, 5}}), 13.0);
    EXPECT_EQ(report.numHandles, 4u);
    std::vector<double> vLengths;
    for (const MeshHandle& handle : report.shortHandles) vLengths.push_back(handle.length);
    EXPECT_EQ(vLengths, (std::vector<double>{8.0, 8.0, 12.0, 12.0}));
    EXPECT_THROW(findHandles({{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {0, 0, -1}}, {0, 1, 2, 0, 1, 3, 0, 1, 4}}),
                 ArgumentError);
}

// Of the default distance of vertices they are 2.5 apart.
TEST(Handles, endsThatAGridJoinsAreParted) {
    const std::vector<Point3> vOpen = openRing(3.2);
    const Reconstruction parted = reconstruct(vOpen);
    EXPECT_EQ(parted.numCutHandles, 1u);
    expectGenus(parted.mesh, 0);
    expectGenus(reconstruct(vOpen, {.minHandle = 0.0}).mesh, 1);
    // And a tube of 4 cells stays.
    const Reconstruction whole = reconstruct(torus(100, 18, 14.0, 2.6).vertices, {.spacing = 1.3});
    EXPECT_EQ(whole.numCutHandles, 0u);
    expectGenus(whole.mesh, 1);
}

// Both faces and the rim of a plate of a cell and a half stay one closed surface.
TEST(Handles, thinWallsKeepBothFaces) {
    constexpr double width = 40.0, height = 1.5;
    std::mt19937 random(1);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    std::vector<Point3> vPoints;
    for (int i = 0; i < 8000; ++i) {
        const double u = unit(random), v = unit(random);
        const bool bRim = i % 14 == 0;
        const double end = i % 8 < 4 ? 0.0 : width;
        const double x = bRim && i % 4 == 0 ? end : width * u;
        const double y = bRim && i % 4 != 0 ? end : width * (bRim ? u : v);
        const double z = bRim ? height * v : height * (i % 2);
        vPoints.emplace_back(x, 0.8 * y - 0.6 * z, 0.6 * y + 0.8 * z);
    }
    const Reconstruction thin = reconstruct(vPoints, {.spacing = 1.0});
    EXPECT_TRUE(thin.thinWalls);
    expectGenus(thin.mesh, 0);
    EXPECT_NEAR(std::abs(check(thin.mesh).volume), width * width * height, 0.1 * width * width * height);
    EXPECT_FALSE(check(reconstruct(vPoints, {.spacing = 1.0, .thinWalls = false}).mesh).closed);
}
