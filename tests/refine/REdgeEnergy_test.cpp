#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <vector>

#include "frame/Rand15.h"
#include "refine/REdgeEnergy.h"
#include "support/capture.h"
#include "support/digest.h"
#include "support/meshQueries.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

//        5 --- 0 --- 4      Vertices 0 and 1 stand opposite the edge 2-3, the
//         \   / \   /       others beyond the four sides.
//           2 --- 3
//         /   \ /   \       .
//        6 --- 1 --- 7
const std::vector<Point3> vFlatQuad = {Point3(0, 1, 0), Point3(0, -1, 0), Point3(-1, 0, 0),  Point3(1, 0, 0),
                                       Point3(2, 1, 0), Point3(-2, 1, 0), Point3(-2, -1, 0), Point3(2, -1, 0)};
const std::vector<std::array<std::uint32_t, 3>> vQuadTriangles = {{0, 2, 3}, {1, 3, 2}, {0, 3, 4},
                                                                  {0, 5, 2}, {1, 2, 6}, {1, 7, 3}};

// The quad with its triangles' corners turned at random, and with bTurns some of
// them the other way round. Beyond the two, triangles are left out at random.
Shape randomQuad(Rand15& rand, double noise, bool bTurns) {
    std::vector<Point3> vPoints = vFlatQuad;
    const auto jitter = [&] { return noise * (rand.next() / 16383.5 - 1.0); };
    for (Point3& p : vPoints) {
        const double dx = jitter(), dy = jitter(), dz = jitter();
        p.set(p.px + dx, p.py + dy, p.pz + dz);
    }
    std::vector<std::uint32_t> vTriples;
    for (std::size_t i = 0; i < vQuadTriangles.size(); ++i) {
        if (i > 1 && rand.next() % 8 == 0) continue;
        auto t = vQuadTriangles[i];
        std::rotate(t.begin(), t.begin() + rand.next() % 3, t.end());
        if (bTurns && rand.next() % 2 == 0) std::swap(t[0], t[1]);
        vTriples.insert(vTriples.end(), t.begin(), t.end());
    }
    return {vPoints, vTriples};
}

REdge* middleOf(RMesh& mesh) {
    return mesh.findEdge(mesh.getVertex(2), mesh.getVertex(3));
}

RMesh flatQuad(const std::vector<Point3>& vPoints = vFlatQuad) {
    return RMesh(vPoints, {0, 2, 3, 1, 3, 2}, 1.0);
}

}  // namespace

// Recorded while they were those of all bends before less all bends after a flip of a copy.
TEST(REdgeEnergy, energiesOfRandomQuadsAreTheRecordedOnes) {
    Rand15 rand(5);
    std::vector<std::uint64_t> vEnergies;
    int numRefused = 0;
    for (int i = 0; i < 4'000; ++i) {
        const Shape shape = randomQuad(rand, i % 2 ? 0.9 : 0.2, false);
        RMesh mesh(shape.vertices, shape.triples, 1.0);
        const double energy = REdgeEnergy(&mesh, middleOf(mesh)).energy;
        numRefused += energy == REdgeEnergy::refused;
        vEnergies.push_back(std::uint64_t(std::llround(std::max(energy, -1e6) * 1e6)));
    }
    EXPECT_GT(numRefused, 5);
    EXPECT_EQ(digest(vEnergies), 0xf31b9f666387628bu);
}

TEST(REdgeEnergy, scoreOfATurnedPairIsThatAfterRepairAndChangesNothing) {
    Rand15 rand(6);
    for (int i = 0; i < 500; ++i) {
        const Shape shape = randomQuad(rand, 0.5, true);
        RMesh mesh(shape.vertices, shape.triples, 1.0);
        REdgeEnergy energy(&mesh, nullptr);
        energy.pRE = middleOf(mesh);
        bool bOK = false;
        for (RTriangle* pRT : liveTriangles(mesh)) pRT->getNormal(&bOK);
        const auto before = cornerNumbers(mesh);
        energy.score();
        const double scored = energy.energy;
        ASSERT_EQ(cornerNumbers(mesh), before);
        std::vector<double> vCosts;
        for (std::uint32_t k = 0; k < mesh.getNumEdges(); ++k)
            vCosts.push_back(REdgeEnergy::bendCost(*mesh.getEdge(k)));
        energy.score(scored, vCosts.data());
        ASSERT_EQ(energy.energy, scored);
        if (scored != REdgeEnergy::refused) energy.score(scored + 1e-9);
        ASSERT_TRUE(energy.energy == scored || energy.energy == REdgeEnergy::refused);
        const bool bTurned = mesh.getTriangle(0)->needFlip(mesh.getTriangle(1));
        ASSERT_EQ(energy.needsRepair(), bTurned);
        energy.compute();
        ASSERT_EQ(energy.energy, scored);
        ASSERT_FALSE(mesh.getTriangle(0)->needFlip(mesh.getTriangle(1)));
        ASSERT_EQ(energy.computeMayFlip(), scored != REdgeEnergy::refused);
    }
}

TEST(REdgeEnergy, rewardsAnEdgeThatComesToLieAlongAStepOfColor) {
    const auto energyOf = [](std::uint8_t across, std::uint8_t along, bool bAll) {
        std::vector<Point3> vPoints = vFlatQuad;
        for (const std::size_t i : {0u, 1u}) vPoints[i].setColor(along, along, along, 255);
        vPoints[2].setColor(0, 0, 0, 255);
        if (bAll) vPoints[3].setColor(across, across, across, 255);
        RMesh mesh = flatQuad(vPoints);
        return REdgeEnergy(&mesh, middleOf(mesh)).energy;
    };
    EXPECT_EQ(energyOf(255, 128, true), 20.0);  // the most there is
    EXPECT_EQ(energyOf(255, 128, false), 0.0);  // one of the four has none
    EXPECT_EQ(energyOf(0, 255, true), 0.0);     // the step is across the other diagonal only by one colour
    const double some = energyOf(35, 0, true);  // some 13 in colour distance
    EXPECT_GT(some, 5.0);
    EXPECT_LT(some, 20.0);
}

TEST(REdgeEnergy, refusesWhatIsNoQuadOrHasNoArea) {
    const auto energyOf = [](const Shape& shape) {
        RMesh mesh(shape.vertices, shape.triples, 1.0);
        return REdgeEnergy(&mesh, middleOf(mesh)).energy;
    };
    const double refused = REdgeEnergy::refused;
    EXPECT_EQ(energyOf({vFlatQuad, {0, 2, 3}}), refused);
    EXPECT_EQ(energyOf({vFlatQuad, {0, 2, 3, 1, 3, 2, 4, 2, 3}}), refused);
    EXPECT_EQ(energyOf({vFlatQuad, {0, 2, 3, 1, 3, 2, 0, 1, 7}}), refused);  // the other diagonal is taken
    std::vector<Point3> vPoints = vFlatQuad;
    vPoints[3] = vPoints[2];  // an edge without length, below a wide angle
    EXPECT_EQ(energyOf({vPoints, {0, 2, 3, 1, 3, 2}}), refused);
    for (const double far : {1e200, 1e308, std::nan("")}) {
        vPoints = vFlatQuad;
        vPoints[1].py = far;
        EXPECT_EQ(energyOf({vPoints, {0, 2, 3, 1, 3, 2}}), refused) << far;
    }
}

TEST(REdgeEnergy, movesOppositeCornersAtOnePositionApart) {
    std::vector<Point3> vPoints = vFlatQuad;
    vPoints[1] = vPoints[0];
    RMesh mesh = flatQuad(vPoints);
    REdgeEnergy energy(&mesh, nullptr);
    energy.pRE = middleOf(mesh);
    EXPECT_TRUE(energy.needsRepair());
    printedText([&] { energy.compute(); });
    const double gap = (*mesh.getVertex(0) - *mesh.getVertex(1)).length();
    EXPECT_GT(gap, 0.0);
    EXPECT_LT(gap, 0.5);
    EXPECT_FALSE(energy.needsRepair());
    // Where a tenth of a cell is nothing, there is no way.
    for (Point3& p : vPoints) p.set(p.px + 1e20, p.py, p.pz);
    RMesh far = flatQuad(vPoints);
    EXPECT_TRUE(failsWith("p0!=px", [&] { REdgeEnergy(&far, middleOf(far)); }));
}

TEST(REdgeEnergy, tryFlipEdgeKeepsTheOrientationOfTheFirstTriangle) {
    for (const bool bReverse : {false, true}) {
        RMesh mesh = flatQuad();
        if (bReverse)
            for (RTriangle* pRT : liveTriangles(mesh)) pRT->reverse();
        REdge* pOld = middleOf(mesh);
        REdge* pNew = pOld->tryFlipEdge(&mesh, nullptr, nullptr);
        ASSERT_EQ(pNew, mesh.findEdge(mesh.getVertex(0), mesh.getVertex(1)));
        EXPECT_EQ(pOld->getDegree(), 0);
        EXPECT_EQ(cornerNumbers(mesh), (bReverse ? std::vector<std::uint32_t>{1, 2, 0, 0, 3, 1}
                                                 : std::vector<std::uint32_t>{0, 2, 1, 1, 3, 0}));
    }
}

TEST(RMesh, tellsHowManyEdgesHaveHowManyTriangles) {
    const Shape sheet = gridSheet(3, 2);
    const RMesh mesh(sheet.vertices, sheet.triples, 1.0);
    EXPECT_EQ(printedText([&] { mesh.printStatistics("sheet"); }),
              "\nRMesh::printStatistics(sheet)\n NumTriangles: 4\n Degree 1: 6\n Degree 2: 3\n");
    const RMesh tent(box({0, 0, 0}, {1, 1, 1}).vertices, {0, 1, 2, 1, 0, 3, 0, 1, 4}, 1.0);
    EXPECT_NE(printedText([&] { tent.printStatistics(""); }).find(" Degree 1: 6\n Degree 3: 1\n"), std::string::npos);
}
