#include <gtest/gtest.h>

#include <cmath>

#include "check/checkTriangles.h"
#include "flat/EdgeTable.h"
#include "frame/Progress.h"
#include "frame/Rand15.h"
#include "geometry/freeFunctions.h"
#include "smooth/smoothing.h"
#include "support/shapes.h"
#include "zef/refinement.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

TriangleMesh smoothed(const Shape& shape, const SmoothingOptions& options) {
    planProgress("test", {{"RM_smooth", 1.0}});
    TriangleMesh mesh{shape.vertices, shape.triples};
    laplacianSmoothing(mesh, options);
    getProgress()->reset();
    return mesh;
}

Shape noisySphere() {
    Shape shape = icosphere(4, 10.0);
    Rand15 rand(4);
    for (Point3& p : shape.vertices) p = p + (p - Point3()) * (0.04 * rand.next() / 32767.0);
    return shape;
}

}  // namespace

TEST(Smoothing, aStepGoesHalfWayToTheMeanOfTheOldNeighbours) {
    const Shape shape = noisySphere();
    const TriangleMesh mesh = smoothed(shape, {1});
    std::vector<Vector3> vSums(shape.vertices.size());
    std::vector<double> vNum(shape.vertices.size());
    EdgeTable(shape.triples, shape.vertices.size()).forEachEdge([&](const Edge& edge) {
        for (const auto& [i, j] : {edge.ends(), VertexPair(edge.high(), edge.low)}) {
            vSums[i] += shape.vertices[j] - shape.vertices[i];
            ++vNum[i];
        }
    });
    for (std::size_t i = 0; i < vSums.size(); ++i)
        ASSERT_LT((mesh.vertices[i] - (shape.vertices[i] + vSums[i] * (0.5 / vNum[i]))).length(), 1e-12);
}

TEST(Smoothing, keepsTheVolumeOnlyIfAskedAndDoesNothingInNoSteps) {
    const Shape shape = noisySphere();
    const double volume = checkTriangles({shape.vertices, shape.triples}).volume;
    EXPECT_LT(checkTriangles(smoothed(shape, {20})).volume, 0.95 * volume);
    EXPECT_NEAR(checkTriangles(smoothed(shape, {20, true})).volume, volume, 0.005 * volume);
    EXPECT_EQ(smoothed(shape, {-3}).vertices, shape.vertices);
}

TEST(Smoothing, noFoldedVertexRunsAwayWhenTheVolumeIsKept) {
    Shape shape = icosphere(4, 10.0);
    Rand15 rand(4);
    const auto draw = [&] { return rand.next() / 16383.5 - 1.0; };  // edges are 0.6 to 0.8 long
    for (Point3& p : shape.vertices) p = p + Vector3(draw(), draw(), draw());
    for (const Point3& p : smoothed(shape, {10, true}).vertices) ASSERT_NEAR((p - Point3()).length(), 10.0, 1.8);
}

TEST(Smoothing, keepsTheOutlineAndItsCorners) {
    Shape shape = gridSheet(9, 9);
    for (Point3& p : shape.vertices)
        if (p.px > 0.0 && p.py > 0.0 && p.px < 8.0 && p.py < 8.0) p.pz = 0.2;
    shape.vertices[3].px += 0.3;  // along the border, between its neighbours
    EXPECT_DOUBLE_EQ(smoothed(shape, {1}).vertices[3].px, 3.15);
    const TriangleMesh mesh = smoothed(shape, {30});
    for (const std::uint32_t corner : {0u, 8u, 72u, 80u}) EXPECT_EQ(mesh.vertices[corner], shape.vertices[corner]);
    for (std::uint32_t i = 0; i < 81; ++i) {
        EXPECT_LT(std::abs(mesh.vertices[i].pz), 0.1);
        EXPECT_TRUE(shape.vertices[i].py != 0.0 || mesh.vertices[i].py == 0.0);
    }
    const Shape fin{{{0, 0, 0}, {2, 0, 0}, {1, 1, 0}, {1, -1, 0}, {1, 0, 1}}, {0, 1, 2, 1, 0, 3, 0, 1, 4}};
    EXPECT_EQ(smoothed(fin, {3}).vertices, fin.vertices);
}

TEST(Smoothing, neverTurnsATriangleOverNorMovesOntoAnotherVertex) {
    // A step of more than the whole way turns many triangles over if it may.
    const Shape shape = noisySphere();
    const TriangleMesh mesh = smoothed(shape, {1, false, 2.5});
    for (std::size_t t = 0; t < shape.triples.size(); t += 3) {
        const auto normalIn = [&](const std::vector<Point3>& v) {
            const std::uint32_t* const k = &shape.triples[t];
            return cross(v[k[1]] - v[k[0]], v[k[2]] - v[k[0]]);
        };
        ASSERT_GE(normalIn(mesh.vertices) * normalIn(shape.vertices), 0.0);
    }
    // The middles of two squares on one another want to the same place; a bare
    // vertex stands where that of a third one wants to.
    Shape squares;
    for (const double x : {0.0, 0.0, 5.0}) {
        const auto n = static_cast<std::uint32_t>(squares.vertices.size());
        for (const Point3& p : {Point3(x - 1, -1, 0), Point3(x + 1, -1, 0), Point3(x + 1, 1, 0), Point3(x - 1, 1, 0)})
            squares.vertices.push_back(p);
        squares.vertices.emplace_back(x, 0.0, 1.0);
        for (const std::uint32_t i : {0u, 1u, 4u, 1u, 2u, 4u, 2u, 3u, 4u, 3u, 0u, 4u}) squares.triples.push_back(n + i);
    }
    squares.vertices.emplace_back(5.0, 0.0, 0.5);
    const TriangleMesh taken = smoothed(squares, {1});
    EXPECT_EQ(taken.vertices[4].pz, 0.5);
    EXPECT_EQ(taken.vertices[9].pz, 1.0);
    EXPECT_EQ(taken.vertices[14].pz, 1.0);
}
