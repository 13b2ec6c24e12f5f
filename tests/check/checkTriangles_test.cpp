#include "check/checkTriangles.h"

#include <gtest/gtest.h>

#include "support/shapes.h"

using namespace QUOR_ZEF;

namespace {

MeshReport reportOf(const zef_test::Shape& shape) {
    return checkTriangles({shape.vertices, shape.triples});
}

}  // namespace

TEST(checkTriangles, knowsClosedSurfaces) {
    const MeshReport sphere = reportOf(zef_test::icosphere(4, 2.0));
    EXPECT_TRUE(sphere.closed && sphere.manifold && sphere.oriented);
    EXPECT_EQ(sphere.numTriangles, 20u * 256u);
    EXPECT_EQ(sphere.euler, 2);
    EXPECT_EQ(sphere.components.at(0).genus, 0);
    EXPECT_NEAR(sphere.area, 4 * M_PI * 4, 0.2);
    EXPECT_NEAR(sphere.volume, 4 * M_PI * 8 / 3, 0.2);

    const MeshReport torus = reportOf(zef_test::torus(100, 50, 3.0, 1.0));
    EXPECT_TRUE(torus.closed && torus.manifold && torus.oriented);
    EXPECT_EQ(torus.euler, 0);
    EXPECT_EQ(torus.components.at(0).genus, 1);
    EXPECT_NEAR(torus.volume, 2 * M_PI * M_PI * 3, 0.5);
}

TEST(checkTriangles, knowsBordersAndOneSidedSurfaces) {
    const MeshReport cylinder = reportOf(zef_test::openCylinder(30, 5, 1.0, 2.0));
    EXPECT_FALSE(cylinder.closed);
    EXPECT_EQ(cylinder.numBorderEdges, 60u);
    EXPECT_EQ(cylinder.numBorderLoops, 2u);
    ASSERT_EQ(cylinder.borderLoops.size(), 2u);
    for (const MeshBorderLoop& loop : cylinder.borderLoops) {
        EXPECT_EQ(loop.low.pz, loop.high.pz);
        EXPECT_EQ(loop.numEdges * 2, cylinder.numBorderEdges);
        EXPECT_NEAR(loop.length, M_PI * (loop.high.px - loop.low.px), 0.02 * loop.length);
    }
    EXPECT_EQ(cylinder.components.at(0).genus, 0);
    EXPECT_EQ(cylinder.volume, 0.0);

    const MeshReport strip = reportOf(zef_test::moebiusStrip(20));
    EXPECT_EQ(strip.numBorderLoops, 1u);
    EXPECT_EQ(strip.euler, 0);
    EXPECT_EQ(strip.numOrientationConflicts, 1u);
    EXPECT_TRUE(strip.manifold);
    EXPECT_EQ(strip.components.at(0).genus, -1);
}

// Two triangles at a vertex; three at an edge; a duplicate; one without area.
TEST(checkTriangles, countsWhatIsWrong) {
    const std::vector<Point3> vVertices = {{0, 0, 0},  {1, 0, 0}, {0, 1, 0}, {-1, 0, 0},
                                           {0, -1, 0}, {0, 0, 1}, {2, 0, 0}};
    const MeshReport bowTie = reportOf({vVertices, {0, 1, 2, 0, 3, 4}});
    EXPECT_EQ(bowTie.numNonManifoldVertices, 1u);
    EXPECT_EQ(bowTie.numNonManifoldEdges, 0u);
    EXPECT_EQ(bowTie.numComponents, 2u);
    EXPECT_EQ(bowTie.numBorderLoops, 2u);
    EXPECT_EQ(bowTie.numVertices, 5u);

    const MeshReport fin = reportOf({vVertices, {0, 1, 2, 1, 0, 4, 0, 1, 5}});
    EXPECT_EQ(fin.numNonManifoldEdges, 1u);
    EXPECT_EQ(fin.numNonManifoldVertices, 2u);
    EXPECT_EQ(fin.numComponents, 1u);
    EXPECT_EQ(fin.numOrientationConflicts, 0u);
    EXPECT_EQ(fin.numBorderEdges, 6u);

    const MeshReport twice = reportOf({vVertices, {0, 1, 2, 2, 1, 0, 0, 1, 2, 0, 1, 6}});
    EXPECT_EQ(twice.numDuplicateTriangles, 2u);
    EXPECT_EQ(twice.numDegenerateTriangles, 1u);

    const MeshReport none = reportOf({vVertices, {}});
    EXPECT_FALSE(none.closed);
    EXPECT_EQ(none.numVertices + none.numEdges, 0u);
}
