#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <set>
#include <string>
#include <vector>

#include "frame/Progress.h"
#include "frame/Rand15.h"
#include "geometry/freeFunctions.h"
#include "refine/RMesh.h"
#include "refine/finishTriangles.h"
#include "refine/flatten.h"
#include "refine/isFinished.h"
#include "support/capture.h"
#include "support/meshQueries.h"
#include "support/shapes.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

struct RMeshRepair : testing::Test {
    RMeshRepair() { planProgress("test", {{"RM_cpo", 1.0}, {"RM_kdeg", 1.0}}); }
    ~RMeshRepair() override { getProgress()->reset(); }
};

std::size_t numPatchesOf(const RMesh& mesh) {
    for (const RTriangle* pRT : liveTriangles(mesh)) EXPECT_NE(pRT->pPatch, nullptr);
    return mesh.getNumPatches();
}

double angleAtCorner0(const RTriangle* pRT) {
    const Point3& p = *pRT->getCorner(0);
    return getAngleDeg(normalize(*pRT->getCorner(1) - p), normalize(*pRT->getCorner(2) - p));
}

// Five vertices: a square with its middle, vertex 4.
RMesh makeSquare(const std::vector<std::uint32_t>& vTriples) {
    return RMesh({Point3(0, 0, 0), Point3(2, 0, 0), Point3(2, 2, 0), Point3(0, 2, 0), Point3(1, 1, 0)}, vTriples, 1.0);
}

std::size_t countOf(const std::string& text, const std::string& word) {
    std::size_t num = 0;
    for (std::size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) ++num;
    return num;
}

// A sphere in which some vertices lie on or between their neighbours, and some triangles are turned, gone, or have
// others on their edges.
TriangleMesh damagedSphere(std::uint32_t seed) {
    const Shape shape = icosphere(4);
    TriangleMesh mesh{shape.vertices, shape.triples};
    Rand15 rand(seed + 1);
    const auto draw = [&](std::size_t below) {
        const auto high = static_cast<std::size_t>(rand.next());
        return ((high << 15) + static_cast<std::size_t>(rand.next())) % below;
    };
    for (std::size_t i = 0; i < 12; ++i) {
        const std::size_t side = 3 * draw(mesh.numTriangles());
        std::uint32_t* const k = &mesh.indices[side];
        Point3 &a = mesh.vertices[k[0]], &b = mesh.vertices[k[1]], &c = mesh.vertices[k[2]];
        if (i % 4 == 0) std::swap(k[1], k[2]);
        if (i % 4 == 1) a.set(b);
        if (i % 4 == 2) a.set(b + (c - b) * 0.5);
        if (i % 4 == 3 && seed % 2 == 0)
            mesh.indices.erase(mesh.indices.begin() + static_cast<std::ptrdiff_t>(side),
                               mesh.indices.begin() + static_cast<std::ptrdiff_t>(side) + 3);
        if (i % 4 == 3 && seed % 2 == 1) {
            const std::array<std::uint32_t, 3> fin = {k[0], k[1], static_cast<std::uint32_t>(mesh.vertices.size())};
            mesh.indices.insert(mesh.indices.end(), fin.begin(), fin.end());
            const Point3 tip(1.3 * a.px, 1.3 * a.py, 1.3 * a.pz);
            mesh.vertices.push_back(tip);
        }
    }
    return mesh;
}

// Whether finishTriangles() took the mesh; holds what it makes of it against the RMesh.
bool finishesAsRMesh(const TriangleMesh& mesh) {
    RMesh whole(mesh.vertices, mesh.indices, 0.1);
    whole.finishMesh();
    const TriangleMesh wanted = flatten(whole, VertexOrder::MESH);
    TriangleMesh found = mesh;
    if (!finishTriangles(found, 0.1)) {
        EXPECT_EQ(found.indices, mesh.indices);
        return false;
    }
    EXPECT_TRUE(found.vertices == mesh.vertices);
    renumberVertices(found, VertexOrder::MESH);
    EXPECT_EQ(found.indices, wanted.indices);
    EXPECT_TRUE(found.vertices == wanted.vertices);
    return true;
}

}  // namespace

TEST_F(RMeshRepair, orientPatchesStopsAtNonManifoldEdgesAndLeavesOneSeamOnAOneSidedStrip) {
    RMesh mesh = makeSquare({0, 1, 2, 0, 2, 3, 0, 2, 4});
    mesh.orientPatches();
    EXPECT_EQ(numPatchesOf(mesh), 3u);
    EXPECT_EQ(mesh.getTriangle(1)->pPatch, mesh.getPatch(1));
    EXPECT_EQ(mesh.getPatch(1)->id, mesh.getPatch(0)->id + 1);
    const Shape shape = moebiusStrip(15);
    RMesh strip(shape.vertices, shape.triples, 0.1);
    strip.orientPatches();
    EXPECT_EQ(numConflicts(strip), 1u);
    EXPECT_EQ(numPatchesOf(strip), 1u);
}

TEST_F(RMeshRepair, killDegenerateKeepsAClosedSphereClosed) {
    const Shape shape = icosphere(3);
    RMesh mesh(shape.vertices, shape.triples, 0.1);
    // Every 40th vertex onto a neighbour or into the middle of an edge next to it.
    for (std::uint32_t i = 0; i < mesh.getNumVertices(); i += 40) {
        const RTriangle* pRT = mesh.getTriangle(mesh.getFan(mesh.getVertex(i)).front());
        const int ici = pRT->getICI(mesh.getVertex(i));
        const Point3 &p = *pRT->getCorner((ici + 1) % 3), &q = *pRT->getCorner((ici + 2) % 3);
        mesh.getVertex(i)->set(i % 80 == 0 ? p : p + (q - p) * 0.5);
    }
    mesh.finishMesh();
    EXPECT_LT(mesh.getNumLiveTriangles(), 1280u - 20u);
    EXPECT_EQ(edgesOfDegree(mesh, 2).size(), edgesOfDegree(mesh, -99).size());
    EXPECT_EQ(eulerNumber(mesh), 2u);
    EXPECT_EQ(numConflicts(mesh), 0u);
    for (const RTriangle* pRT : liveTriangles(mesh)) EXPECT_GT(angleAtCorner0(pRT), 0.01);
}

TEST_F(RMeshRepair, isFinishedTellsWhereFinishingChangesNothing) {
    int numFinished = 0;
    for (std::uint32_t seed = 0; seed < 400; ++seed) {
        const Shape soup = randomSoup(seed);
        const std::vector<std::uint32_t> vFew(soup.triples.begin(), soup.triples.begin() + 3 + seed % 6 * 3);
        RMesh mesh(soup.vertices, vFew, 1.0);
        const bool bFinished = isFinished({soup.vertices, cornerNumbers(mesh)});
        const std::vector<double> before = contentsOf(mesh);
        mesh.finishMesh();
        ASSERT_EQ(bFinished, contentsOf(mesh) == before) << seed;
        numFinished += bFinished;
    }
    EXPECT_GT(numFinished, 100);
    EXPECT_LT(numFinished, 350);
    const Shape fin{{{0, 0, 0}, {2, 0, 0}, {1, 1, 0}, {1, -1, 0}, {1, 0, 1}}, {0, 1, 2, 1, 0, 3, 0, 1, 4}};
    EXPECT_TRUE(isFinished({fin.vertices, fin.triples}));
    EXPECT_FALSE(isFinished({fin.vertices, {0, 1, 2, 0, 1, 3}}));
    EXPECT_FALSE(isFinished({fin.vertices, {0, 1, 2, 2, 1, 0}}));
}

TEST_F(RMeshRepair, finishTrianglesGivesTheTrianglesOfAFinishedRMesh) {
    int numTaken = 0;
    for (std::uint32_t seed = 0; seed < 40; ++seed) numTaken += finishesAsRMesh(damagedSphere(seed));
    EXPECT_GT(numTaken, 30);
    for (std::uint32_t seed = 0; seed < 400; ++seed) {
        const Shape soup = randomSoup(seed);
        const std::vector<std::uint32_t> vFew(soup.triples.begin(), soup.triples.begin() + 3 + seed % 6 * 3);
        finishesAsRMesh({soup.vertices, cornerNumbers(RMesh(soup.vertices, vFew, 1.0))});
    }
    const Shape strip = moebiusStrip(15);
    EXPECT_FALSE(finishesAsRMesh({strip.vertices, strip.triples}));
}

TEST_F(RMeshRepair, killDegenerateEndsOnFansWithoutAnyArea) {
    for (const double height : {0.0, 1e-9}) {
        std::vector<Point3> vPoints = {Point3(0, 0, 0)};
        std::vector<std::uint32_t> vTriples;
        for (std::uint32_t i = 1; i <= 200; ++i) {
            vPoints.emplace_back(i, height * (i % 3), 0.0);
            if (i > 1)
                for (const std::uint32_t v : {0u, i - 1, i}) vTriples.push_back(v);
        }
        RMesh mesh(vPoints, vTriples, 1.0);
        mesh.killDegenerate();
        EXPECT_EQ(mesh.getNumLiveTriangles(), 0u);
    }
}

TEST_F(RMeshRepair, updateVertexMovesOneOfTwoAtOnePosition) {
    RMesh mesh = makeSquare({0, 1, 4, 1, 2, 4});
    mesh.getVertex(3)->set(*mesh.getVertex(4));
    mesh.getVertex(4)->setColor(1, 2, 3, 4);
    const Point3 old = *mesh.getVertex(4), first(5, 5, 5), second(6, 6, 6);
    bool bOK = false;
    mesh.getTriangle(0)->getNormal(&bOK);
    mesh.updateVertex(mesh.getVertex(4), first);
    EXPECT_TRUE(mesh.getTriangle(0)->normal.isDegenerate());
    EXPECT_EQ(*mesh.getVertex(4), first);
    EXPECT_EQ(mesh.getVertex(4)->g, 2);
    EXPECT_TRUE(mesh.hasVertexAt(old));
    mesh.updateVertex(mesh.getVertex(3), second);
    EXPECT_FALSE(mesh.hasVertexAt(old));
    mesh.updateVertex(mesh.getVertex(3), old);
    EXPECT_TRUE(failsWith("*pVtx!=newPoint", [&] { mesh.updateVertex(mesh.getVertex(3), old); }));
    EXPECT_TRUE(failsWith("bOK", [&] { mesh.updateVertex(mesh.getVertex(3), first); }));
}

TEST_F(RMeshRepair, relaxVertexTakesASmallStepToAFreePlaceAndRepeatsItself) {
    const std::vector<std::uint32_t> vFan = {0, 1, 4, 1, 2, 4, 2, 3, 4, 3, 0, 4};
    std::vector<Point3> vResults;
    RMesh mesh = makeSquare(vFan);
    for (int i = 0; i < 2; ++i) {
        // To the middle of its neighbours, so taken by itself.
        if (i > 0) mesh.updateVertex(mesh.getVertex(4), Point3(1.0, 1.0, 0.0));
        mesh.reseed();
        const std::string text = printedText([&] { EXPECT_TRUE(mesh.relaxVertex(mesh.getVertex(4))); });
        EXPECT_EQ(countOf(text, "devAngle would be "), 1u);
        EXPECT_EQ(countOf(text, "updateVertex\n"), 1u);
        vResults.push_back(*mesh.getVertex(4));
        const Vector3 step = vResults.back() - Point3(1, 1, 0);
        EXPECT_TRUE(step.vx >= 0.0 && step.vx <= 0.1 && step.vy >= 0.0 && step.vy <= 0.1 && step.vz >= 0.0);
    }
    EXPECT_EQ(vResults[0], vResults[1]);
    mesh.updateVertex(mesh.getVertex(4), Point3(1, 1, 3));
    printedText([&] { EXPECT_TRUE(mesh.relaxVertex(mesh.getVertex(4))); });
    EXPECT_EQ(*mesh.getVertex(4), Point3(1, 1, 2.9));
}

TEST_F(RMeshRepair, relaxVertexRefusesToFoldAndToLookForEver) {
    // The tip of a flat ear goes through the line of the others.
    RMesh mesh({Point3(0, 0, 0), Point3(2, 0, 0), Point3(1, 0.01, 0), Point3(1, -9, 0)}, {0, 1, 2, 0, 3, 2}, 1.0);
    const Point3 before = *mesh.getVertex(2);
    const std::string text = printedText([&] { EXPECT_FALSE(mesh.relaxVertex(mesh.getVertex(2))); });
    EXPECT_EQ(countOf(text, "devAngle would be 180"), 1u);
    EXPECT_EQ(*mesh.getVertex(2), before);
    // So far out that no step of a tenth of a cell leaves the taken position.
    const Point3 far(1e20, 1e20, 1e20);
    RMesh point({far, far, far}, {0, 1, 2}, 1.0);
    EXPECT_FALSE(point.relaxVertex(point.getVertex(0)));
    RMesh bare = makeSquare({});
    EXPECT_FALSE(bare.relaxVertex(bare.getVertex(0)));
}
