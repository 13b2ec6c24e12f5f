#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <vector>

#include "check/checkTriangles.h"
#include "frame/Progress.h"
#include "frame/Rand15.h"
#include "geometry/freeFunctions.h"
#include "refine/RMesh.h"
#include "refine/flatten.h"
#include "support/meshQueries.h"
#include "support/shapes.h"
#include "support/threads.h"
#include "zef/meshOperations.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

struct RMeshSmooth : testing::Test {
    RMeshSmooth() { planProgress("test", {{"RM_smooth", 1.0}}); }
    ~RMeshSmooth() override { getProgress()->reset(); }
};

SmoothingOptions stepsOf(int numSteps, bool bKeepVolume = false) {
    SmoothingOptions options;
    options.numSteps = numSteps;
    options.bKeepVolume = bKeepVolume;
    return options;
}

RMesh meshOf(const Shape& shape) {
    return RMesh(shape.vertices, shape.triples, 1.0);
}

Shape noisySphere() {
    Shape shape = icosphere(4, 10.0);
    Rand15 rand(4);
    for (Point3& p : shape.vertices) {
        const double f = 0.98 + 0.04 * rand.next() / 32767.0;
        p.set(p.px * f, p.py * f, p.pz * f);
    }
    return shape;
}

struct Radii {
    double mean = 0.0, spread = 0.0;
};

double enclosedVolume(const RMesh& mesh) {
    return checkTriangles(flatten(mesh, VertexOrder::MESH)).volume;
}

Radii radiiOf(const RMesh& mesh) {
    Radii radii;
    double squares = 0.0;
    for (std::uint32_t i = 0; i < mesh.getNumVertices(); ++i) {
        const double r = (*mesh.getVertex(i) - Point3()).length();
        radii.mean += r / mesh.getNumVertices();
        squares += r * r / mesh.getNumVertices();
    }
    radii.spread = std::sqrt(squares - radii.mean * radii.mean);
    return radii;
}

}  // namespace

TEST_F(RMeshSmooth, aStepGoesHalfWayToTheMeanOfTheOldNeighbours) {
    const Shape shape = noisySphere();
    RMesh mesh = meshOf(shape);
    const RMesh old = meshOf(shape);
    mesh.laplacianSmoothing(stepsOf(1));
    for (std::uint32_t i = 0; i < mesh.getNumVertices(); ++i) {
        const Point3* p = old.getVertex(i);
        std::vector<REdge*> vIncRE;
        old.getIncidentEdges(p, vIncRE);
        Vector3 sum;
        for (const REdge* pRE : vIncRE)
            sum += (*pRE->getOtherPoint(p) - *p) * (0.5 / static_cast<double>(vIncRE.size()));
        ASSERT_LT((*mesh.getVertex(i) - (*p + sum)).length(), 1e-12);
    }
    EXPECT_TRUE(mesh.hasVertexAt(*mesh.getVertex(7)));
    EXPECT_FALSE(mesh.hasVertexAt(*old.getVertex(7)));
    bool bOK = false;
    EXPECT_EQ(mesh.getTriangle(3)->getNormal(&bOK).vx,
              triNormal(mesh.getTriangle(3)->getCorner(0), mesh.getTriangle(3)->getCorner(1),
                        mesh.getTriangle(3)->getCorner(2), bOK)
                  .vx);
}

TEST_F(RMeshSmooth, evensASphereOutAndKeepsItsVolumeOnlyIfAsked) {
    const Shape shape = noisySphere();
    RMesh plain = meshOf(shape), kept = meshOf(shape);
    const Radii before = radiiOf(plain);
    const double volume = enclosedVolume(plain);
    plain.laplacianSmoothing(stepsOf(20));
    kept.laplacianSmoothing(stepsOf(20, true));
    EXPECT_LT(radiiOf(plain).spread, 0.4 * before.spread);
    EXPECT_LT(radiiOf(kept).spread, 0.5 * before.spread);
    EXPECT_LT(enclosedVolume(plain), 0.95 * volume);
    EXPECT_NEAR(enclosedVolume(kept), volume, 0.005 * volume);
    for (const int numSteps : {0, -3}) {
        RMesh same = meshOf(shape);
        same.laplacianSmoothing(stepsOf(numSteps));
        EXPECT_EQ(contentsOf(same), contentsOf(meshOf(shape)));
    }
}

TEST_F(RMeshSmooth, keepsTheOutlineItsCornersAndColors) {
    Shape shape = gridSheet(9, 9);
    Rand15 rand;
    for (Point3& p : shape.vertices) {
        p.setColor(std::uint8_t(rand.next()), 0, 0, 255);
        const bool bInner = p.px > 0.0 && p.py > 0.0 && p.px < 8.0 && p.py < 8.0;
        if (bInner) p.pz = rand.next() / 1e5;
    }
    shape.vertices[3].px += 0.3;  // along the border, between its neighbours
    RMesh mesh = meshOf(shape);
    mesh.laplacianSmoothing(stepsOf(1));
    EXPECT_DOUBLE_EQ(mesh.getVertex(3)->px, 3.15);
    mesh.laplacianSmoothing(stepsOf(30));
    for (const std::uint32_t corner : {0u, 8u, 72u, 80u}) EXPECT_EQ(*mesh.getVertex(corner), shape.vertices[corner]);
    for (std::uint32_t i = 0; i < 81; ++i) {
        const Point3 &p = *mesh.getVertex(i), &old = shape.vertices[i];
        EXPECT_EQ(p.r, old.r);
        EXPECT_LT(std::abs(p.pz), 0.1);
        EXPECT_TRUE(old.py != 0.0 || p.py == 0.0);
        EXPECT_TRUE(old.px != 8.0 || p.px == 8.0);
    }
}

TEST_F(RMeshSmooth, leavesVerticesAtEdgesOfThreeTriangles) {
    RMesh mesh({Point3(0, 0, 0), Point3(2, 0, 0), Point3(1, 1, 0), Point3(1, -1, 0), Point3(1, 0, 1)},
               {0, 1, 2, 1, 0, 3, 0, 1, 4}, 1.0);
    const auto before = contentsOf(mesh);
    mesh.laplacianSmoothing(stepsOf(3));
    EXPECT_EQ(contentsOf(mesh), before);
}

TEST_F(RMeshSmooth, neverTurnsATriangleOverNorMovesOntoAnotherVertex) {
    // A step of more than the whole way turns many triangles over if it may.
    const Shape shape = noisySphere();
    RMesh mesh = meshOf(shape);
    SmoothingOptions wild = stepsOf(1);
    wild.lambda = 2.5;
    for (int i = 0; i < 10; ++i) {
        std::vector<Vector3> vNormals;
        bool bOK = false;
        for (RTriangle* pRT : liveTriangles(mesh)) vNormals.push_back(pRT->getNormal(&bOK));
        const auto before = contentsOf(mesh);
        mesh.laplacianSmoothing(wild);
        ASSERT_NE(contentsOf(mesh), before);
        for (RTriangle* pRT : liveTriangles(mesh)) ASSERT_GE(pRT->getNormal(&bOK) * vNormals[pRT->getNumber()], -1e-9);
    }
    // The middles of two squares on one another want to the same place; a bare
    // vertex stands where that of a third one wants to.
    Shape squares;
    std::uint32_t n = 0;
    for (const double x : {0.0, 0.0, 5.0}) {
        for (const Point3& p : {Point3(x - 1, -1, 0), Point3(x + 1, -1, 0), Point3(x + 1, 1, 0), Point3(x - 1, 1, 0)})
            squares.vertices.push_back(p);
        squares.vertices.emplace_back(x, 0.0, 1.0);
        for (const std::uint32_t i : {0u, 1u, 4u, 1u, 2u, 4u, 2u, 3u, 4u, 3u, 0u, 4u}) squares.triples.push_back(n + i);
        n += 5;
    }
    squares.vertices.emplace_back(5.0, 0.0, 0.5);
    RMesh taken = meshOf(squares);
    taken.laplacianSmoothing(stepsOf(1));
    EXPECT_EQ(taken.getVertex(4)->pz, 0.5);
    EXPECT_EQ(taken.getVertex(9)->pz, 1.0);
    EXPECT_EQ(taken.getVertex(14)->pz, 1.0);
}

TEST_F(RMeshSmooth, givesTheSameBytesForAnyNumberOfThreadsAndSurvivesSoups) {
    for (std::uint32_t seed = 0; seed < 40; ++seed) {
        Shape shape = seed == 0 ? noisySphere() : randomSoup(seed);
        if (seed > 30) shape.vertices[seed].px = seed % 2 ? std::nan("") : 1e300;
        std::set<std::vector<double>> sResults;
        for (const unsigned numThreads : {1u, 2u, 16u}) {
            const ThreadCount threads(numThreads);
            RMesh mesh = meshOf(shape);
            mesh.laplacianSmoothing(stepsOf(5, seed % 2 == 0));
            std::vector<double> contents = contentsOf(mesh);
            for (double& value : contents)
                if (std::isnan(value)) value = 1e301;
            sResults.insert(contents);
        }
        ASSERT_EQ(sResults.size(), 1u) << seed;
    }
}
