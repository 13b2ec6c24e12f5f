#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "closing/LoopCutter.h"
#include "closing/bodies.h"
#include "closing/closeLoops.h"
#include "closing/thickenSheets.h"
#include "frame/Rand15.h"
#include "support/shapes.h"
#include "zef/meshCheck.h"
#include "zef/reconstruction.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

// The triangles of a shape whose middle is below a height.
TriangleMesh cutAt(const Shape& shape, double height) {
    TriangleMesh mesh{shape.vertices, {}};
    for (std::size_t t = 0; t < shape.triples.size(); t += 3) {
        const std::uint32_t* const p = &shape.triples[t];
        double z = 0.0;
        for (std::size_t i = 0; i < 3; ++i) z += shape.vertices[p[i]].pz / 3.0;
        if (z < height) mesh.indices.insert(mesh.indices.end(), p, p + 3);
    }
    return mesh;
}

TriangleMesh closed(TriangleMesh mesh, double cellSize) {
    const std::size_t numBefore = mesh.numTriangles();
    closeLoops(mesh, cellSize);
    keepBodies(mesh, numBefore, cellSize, false);
    return mesh;
}

void expectEmbeddedBody(const TriangleMesh& mesh) {
    const MeshReport report = check(mesh);
    EXPECT_TRUE(report.closed && report.manifold && report.oriented);
    EXPECT_EQ(countSelfIntersections(mesh), 0u);
}

}  // namespace

// Loops of about 80 and 320 edges, which are filled in different ways.
TEST(Closing, halfSphereGetsFlatBottom) {
    for (const int numSplits : {4, 6}) {
        const double edge = 1.1 / (1 << numSplits);
        const TriangleMesh open = cutAt(icosphere(numSplits), 0.0), mesh = closed(open, edge);
        expectEmbeddedBody(mesh);
        EXPECT_NEAR(check(mesh).volume, 2.0 / 3.0 * M_PI, 0.06);
        EXPECT_NEAR(check(mesh).area, 3.0 * M_PI, 0.1);
        EXPECT_GT(mesh.numTriangles(), 1.3 * static_cast<double>(open.numTriangles()));
        for (const Point3& p : mesh.vertices) EXPECT_LT(p.pz, edge);
    }
}

TEST(Closing, holeOfSphereGoesOnRound) {
    const TriangleMesh mesh = closed(cutAt(icosphere(4), 0.85), 0.07);
    expectEmbeddedBody(mesh);
    for (const Point3& p : mesh.vertices) EXPECT_NEAR((p - Point3()).length(), 1.0, 0.03);
}

TEST(Closing, innerSphereAndSheetsGo) {
    TriangleMesh mesh = cutAt(icosphere(3), 2.0);
    for (const Shape& other : {icosphere(2, 0.5), gridSheet(9, 9, 0.1)}) {
        const auto offset = static_cast<std::uint32_t>(mesh.vertices.size());
        for (const std::uint32_t i : other.triples) mesh.indices.push_back(offset + i);
        mesh.vertices.insert(mesh.vertices.end(), other.vertices.begin(), other.vertices.end());
    }
    const std::size_t numBefore = mesh.numTriangles();
    EXPECT_EQ(closeLoops(mesh, 0.1).size(), 1u);
    TriangleMesh all = mesh;
    EXPECT_EQ(keepBodies(all, numBefore, 0.1, true).numSheets, 1u);
    EXPECT_EQ(check(all).numComponents, 2u);
    EXPECT_EQ(keepBodies(mesh, numBefore, 0.1, false).numInner, 1u);
    EXPECT_NEAR(check(mesh).volume, 4.0 / 3.0 * M_PI, 0.1);
}

namespace {

// Of a loop in a plane that is cut properly, triangles tile the inside.
void expectTiled(const std::vector<Point3>& vPlaces) {
    const auto area = [](const Point3& a, const Point3& b, const Point3& c) {
        return 0.5 * ((b.px - a.px) * (c.py - a.py) - (c.px - a.px) * (b.py - a.py));
    };
    double whole = 0.0, sum = 0.0;
    std::vector<Point3> vBeside;
    for (std::size_t i = 0; i < vPlaces.size(); ++i) {
        const Point3 &p = vPlaces[i], &q = vPlaces[(i + 1) % vPlaces.size()];
        whole += area(Point3(), p, q);
        vBeside.emplace_back((p.px + q.px) / 2.0, (p.py + q.py) / 2.0, -1.0);
    }
    std::vector<std::uint32_t> vTriangles;
    const std::vector<std::uint32_t> vLast = LoopCutter(vPlaces, vBeside).cut(3, vTriangles);
    ASSERT_EQ(vLast.size(), 3u);
    vTriangles.insert(vTriangles.end(), vLast.begin(), vLast.end());
    for (std::size_t i = 0; i < vTriangles.size(); i += 3)
        sum += std::abs(area(vPlaces[vTriangles[i]], vPlaces[vTriangles[i + 1]], vPlaces[vTriangles[i + 2]]));
    EXPECT_NEAR(sum, whole, 1e-9);
}

}  // namespace

TEST(LoopCutter, tilesStars) {
    Rand15 rand(11);
    for (int num = 5; num < 45; ++num) {
        std::vector<Point3> vPlaces;
        for (int i = 0; i < num; ++i) {
            const double angle = 2.0 * M_PI * i / num, radius = 0.1 + rand.next() / 32768.0;
            vPlaces.emplace_back(radius * std::cos(angle), radius * std::sin(angle), 0.0);
        }
        expectTiled(vPlaces);
    }
}

TEST(LoopCutter, leavesTheShortestEarWhereSomethingReachesIntoIt) {
    for (const double tip : {0.3, 2.0}) {
        const std::vector<Point3> vSpike = {{0, 0, 0},     {1, 0, 0},   {4, 0, 0}, {4, 3.5, 0},
                                            {tip, tip, 0}, {3.5, 4, 0}, {0, 4, 0}, {0, 1, 0}};
        std::vector<Point3> vBeside(vSpike.size(), Point3(2.0, 2.0, -9.0));
        std::vector<std::uint32_t> vTriangles;
        EXPECT_EQ(LoopCutter(vSpike, vBeside).cut(7, vTriangles).size(), 7u);
        ASSERT_EQ(vTriangles.size(), 3u);
        EXPECT_EQ(vTriangles[1] == 0, tip > 1.0);
    }
}

// Each place inside a sphere is looked at from another side; beside it, above and below nothing is inside.
TEST(Closing, whatIsInsideOthersIsTold) {
    Rand15 rand(3);
    int numInside = 0;
    for (int round = 0; round < 200; ++round) {
        TriangleMesh mesh = cutAt(icosphere(1), 2.0);
        const auto draw = [&] { return rand.next() / 13653.0 - 1.2; };
        const double x = draw(), y = draw(), z = draw(), distance = std::sqrt(x * x + y * y + z * z);
        if (distance > 0.8 && distance < 1.1) continue;  // the sphere has flat sides
        const Shape small = icosphere(0, 0.02);
        for (const std::uint32_t i : small.triples)
            mesh.indices.push_back(static_cast<std::uint32_t>(mesh.vertices.size()) + i);
        for (const Point3& p : small.vertices) mesh.vertices.emplace_back(p.px + x, p.py + y, p.pz + z);
        EXPECT_EQ(keepBodies(mesh, mesh.numTriangles(), 0.01, false).numInner, distance < 1.0 ? 1u : 0u)
            << x << ' ' << y << ' ' << z;
        numInside += distance < 1.0;
    }
    EXPECT_GT(numInside, 20);
}

TEST(Closing, sheetsBecomeBodiesBehindWhereTheyLook) {
    TriangleMesh mesh = cutAt(icosphere(3), 0.5);  // and vertices of no triangle
    const std::size_t numOfBowl = mesh.vertices.size();
    Shape wave = gridSheet(41, 31, 0.05);
    for (Point3& p : wave.vertices) p = Point3(p.px + 2.0, p.py, 0.1 * std::sin(3.0 * p.px), 10, 20, 30, 255);
    for (const std::uint32_t i : wave.triples) mesh.indices.push_back(static_cast<std::uint32_t>(numOfBowl) + i);
    mesh.vertices.insert(mesh.vertices.end(), wave.vertices.begin(), wave.vertices.end());
    const TriangleMesh before = mesh;
    const double areaOfWave = check(TriangleMesh{wave.vertices, wave.triples}).area;
    TriangleMesh bowl = cutAt(icosphere(3), 0.5);
    closeLoops(bowl, 0.05);
    const ThickenedSheets thickened = thickenSheets(mesh, 0.08, 0.05);
    EXPECT_EQ(thickened.num, 1u);
    EXPECT_EQ(thickened.numLoops, 1u) << "the bowl closes to a body";
    ASSERT_TRUE(std::equal(before.vertices.begin(), before.vertices.end(), mesh.vertices.begin()));
    ASSERT_TRUE(std::equal(before.indices.begin(), before.indices.end(), mesh.indices.begin()));
    const MeshReport report = check(mesh);
    EXPECT_TRUE(report.manifold && report.oriented);
    ASSERT_EQ(report.numComponents, 2u);
    EXPECT_TRUE(report.components[0].closed && report.components[1].closed);
    EXPECT_EQ(check(bowl).volume, report.components[0].volume) << "as if it were alone";
    EXPECT_EQ(mesh.numTriangles() - thickened.firstOfPatches,
              bowl.numTriangles() - cutAt(icosphere(3), 0.5).numTriangles());
    EXPECT_NEAR(report.components[1].volume, 0.08 * areaOfWave, 0.002);
    for (std::size_t i = before.vertices.size(); i < before.vertices.size() + wave.vertices.size(); ++i) {
        const Point3& front = before.vertices[numOfBowl + i - before.vertices.size()];
        EXPECT_NEAR((mesh.vertices[i] - front).length(), 0.08, 1e-9);
        EXPECT_LT(mesh.vertices[i].pz, front.pz) << "the wave looks up";
        EXPECT_EQ(mesh.vertices[i].g, 20);
    }
    EXPECT_EQ(countSelfIntersections(mesh), 0u);
}

TEST(Closing, randomHolesClose) {
    Rand15 rand;
    const Shape shape = torus(80, 40, 3.0, 1.0);
    for (int round = 0; round < 10; ++round) {
        TriangleMesh mesh{shape.vertices, {}};
        std::vector<Point3> vHoles;
        for (int i = 0; i < 8; ++i)
            vHoles.push_back(shape.vertices[static_cast<std::size_t>(rand.next()) % shape.vertices.size()]);
        for (std::size_t t = 0; t < shape.triples.size(); t += 3) {
            const Point3& p = shape.vertices[shape.triples[t]];
            if (std::ranges::all_of(vHoles,
                                    [&](const Point3& q) { return (p - q).length() > 0.5 + rand.next() / 9e4; }))
                mesh.indices.insert(mesh.indices.end(), &shape.triples[t], &shape.triples[t] + 3);
        }
        ManifoldOptions options;
        options.fillHoles = false;
        mend(mesh, options);
        if (round % 2 == 1) widenHoles(mesh, 1);
        EXPECT_GT(check(mesh).numBorderLoops, 0u);
        mesh = closed(mesh, 0.2);
        untangle(mesh);
        expectEmbeddedBody(mesh);
    }
}

// All that lies in its loop is there already.
TEST(Closing, loneTriangleGetsABack) {
    TriangleMesh mesh{{{0.0, 0.0, 0.0}, {1.0, 0.0, 0.0}, {0.5, 0.9, 0.0}}, {0, 1, 2}};
    EXPECT_EQ(closeLoops(mesh, 1.0), std::vector<std::uint32_t>{0});
    EXPECT_EQ(mesh.numTriangles(), 2u);
    EXPECT_EQ(check(mesh).numBorderEdges, 0u);
}

// Two discs would close the ends of the tube too, but they are far from where it went.
TEST(Closing, growsWhereMoreIsMissingThanGapsAreClosedFor) {
    std::vector<Point3> vPoints = torus(250, 76, 40.0, 12.0).vertices;
    std::erase_if(vPoints, [](const Point3& p) { return p.px > 40.0 * std::cos(0.65) && std::abs(p.py) < 0.7 * p.px; });
    ReconstructOptions options;
    options.spacing = 1.2;
    EXPECT_GT(check(reconstruct(vPoints, options).mesh).numBorderEdges, 0u);
    options.closed = true;
    const Reconstruction whole = reconstruct(vPoints, options);
    EXPECT_TRUE(whole.closing.holds);
    EXPECT_EQ(check(whole.mesh).euler, 0);
}

TEST(Closing, whereAnObjectStoodIsFlat) {
    constexpr double radius = 32.0, height = 0.5 * radius;
    const Vector3 down = Vector3(1.0, 2.0, 3.0) / std::sqrt(14.0);
    std::vector<Point3> vPoints;
    for (const Point3& p : icosphere(6).vertices) {
        const Point3 scaled(radius * p.px, radius * p.py, radius * p.pz);
        if ((scaled - Point3()) * down < height) vPoints.push_back(scaled);
    }
    ReconstructOptions options;
    options.spacing = 1.0;
    options.closed = true;
    const Reconstruction body = reconstruct(vPoints, options);
    EXPECT_TRUE(body.closing.holds);
    for (const Point3& p : body.mesh.vertices) EXPECT_LT((p - Point3()) * down, height + 1.0);
}

TEST(Closing, planeIsRefused) {
    const Shape sheet = gridSheet(20, 20);
    ReconstructOptions options;
    options.closed = true;
    options.growSteps = 0;
    EXPECT_THROW(reconstruct(sheet.vertices, options), NoSurfaceError);
    for (const double thickness : {5.0, 1e-3}) {
        options.thicken = thickness;
        const Reconstruction thick = reconstruct(sheet.vertices, options);
        EXPECT_TRUE(thick.closing.holds);
        EXPECT_EQ(thick.closing.numThickened, 1u);
        expectEmbeddedBody(thick.mesh);
        EXPECT_NEAR(check(thick.mesh).volume, 19.0 * 19.0 * std::max(thickness, 0.75 * thick.spacing), 200.0);
    }
    options.thicken = 0.0;
    std::vector<Point3> vPoints = icosphere(3).vertices;
    EXPECT_TRUE(reconstruct(vPoints, options).closing.holds);
    for (const Point3& p : gridSheet(12, 12, 0.15).vertices) vPoints.emplace_back(p.px + 5.0, p.py, p.pz);
    const ClosingReport closing = reconstruct(vPoints, options).closing;
    EXPECT_EQ(closing.numSheets, 1u);
    EXPECT_EQ(closing.numThickened, 0u);
}
