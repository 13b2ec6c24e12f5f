#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <set>
#include <utility>
#include <vector>

#include "frame/Progress.h"
#include "frame/Rand15.h"
#include "refine/REdgeEnergy.h"
#include "refine/RMesh.h"
#include "support/capture.h"
#include "support/meshQueries.h"
#include "support/shapes.h"
#include "support/threads.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

struct RMeshFlips : testing::Test {
    RMeshFlips() {
        planProgress("test", {{"RM_kdeg", 1.0}, {"RM_gEfCandMT", 1.0}, {"efLoop", 1.0}});
        for (const double temperature : RMesh::getAnnealingSchedule())
            getProgress()->createChild(RMesh::getCandidateStage(temperature), 1.0);
    }
    ~RMeshFlips() override { getProgress()->reset(); }
};

using Height = std::function<double(double, double)>;

// A sheet of 31 x 31 vertices on the surface z = height(x, y), all diagonals in
// one direction; noise moves the vertices along it.
Shape sheetOn(const Height& height, double noise) {
    Shape shape = gridSheet(31, 31);
    Rand15 rand(3);
    const auto jitter = [&] { return noise * (rand.next() / 16383.5 - 1.0); };
    for (Point3& p : shape.vertices) {
        const double x = p.px - 15.0 + jitter(), y = p.py - 15.0 + jitter();
        p.set(x, y, height(x, y));
    }
    return shape;
}

// From samples of the mesh along z, over the inner part of the sheet.
double meanDistance(const RMesh& mesh, const Height& height) {
    double sum = 0.0;
    int num = 0;
    for (const RTriangle* pRT : liveTriangles(mesh)) {
        const Point3 &a = *pRT->getCorner(0), &b = *pRT->getCorner(1), &c = *pRT->getCorner(2);
        for (int i = 0; i <= 8; ++i) {
            for (int j = 0; i + j <= 8; ++j) {
                const Point3 p = a + ((b - a) * (i / 8.0)) + ((c - a) * (j / 8.0));
                sum += std::abs(p.pz - height(p.px, p.py));
                ++num;
            }
        }
    }
    return sum / num;
}

// What flips must keep.
struct Counts {
    std::size_t numT, numEdges, euler;
    std::vector<std::pair<Point3*, Point3*>> vBorder;
    std::size_t numMany;
    bool operator==(const Counts&) const = default;
};

Counts countsOf(const RMesh& mesh) {
    Counts counts{mesh.getNumLiveTriangles(),
                  edgesOfDegree(mesh, -99).size(),
                  eulerNumber(mesh),
                  {},
                  edgesOfDegree(mesh, -1).size()};
    for (const REdge* pRE : edgesOfDegree(mesh, 1)) counts.vBorder.emplace_back(pRE->p0, pRE->p1);
    return counts;
}

std::vector<Height> creases() {
    return {[](double x, double y) { return -std::abs(x + y) * 0.5; },
            [](double x, double y) { return -std::abs(x - 2.0 * y) * 0.4; },
            [](double x, double y) { return -std::abs(x + 2.0 * y) * 0.4; }};
}

}  // namespace

TEST_F(RMeshFlips, straightenCreasesAndKeepVerticesBordersAndTopology) {
    for (const double noise : {0.0, 0.15}) {
        for (const Height& height : creases()) {
            const Shape shape = sheetOn(height, noise);
            RMesh mesh(shape.vertices, shape.triples, 1.0);
            const double before = meanDistance(mesh, height);
            const Counts counts = countsOf(mesh);
            EXPECT_GT(mesh.edgeFlips(), 10u);
            EXPECT_LT(meanDistance(mesh, height), 0.5 * before);
            EXPECT_EQ(countsOf(mesh), counts);
            mesh.edgeFlipsSimA();
            EXPECT_LT(meanDistance(mesh, height), 0.5 * before);
            EXPECT_EQ(countsOf(mesh), counts);
            for (std::uint32_t i = 0; i < mesh.getNumVertices(); ++i) EXPECT_EQ(*mesh.getVertex(i), shape.vertices[i]);
        }
    }
}

TEST_F(RMeshFlips, candidatesAreTheEdgesThatGainBestFirst) {
    const Shape shape = sheetOn(creases()[1], 0.2);
    RMesh mesh(shape.vertices, shape.triples, 1.0);
    std::vector<REdge*> vRE;
    mesh.getAllEdges(vRE);
    std::vector<std::pair<double, REdge*>> vFound, vExpected;
    mesh.getEdgeFlipCandidates_MT(vRE, 0.005, 0.0, vFound);
    for (REdge* pRE : vRE) {
        const REdgeEnergy energy(&mesh, pRE);
        if (energy.energy >= 0.0) vExpected.emplace_back(energy.energy, pRE);
    }
    std::stable_sort(vExpected.begin(), vExpected.end(), [](auto& a, auto& b) { return a.first > b.first; });
    EXPECT_EQ(vFound, vExpected);
    EXPECT_TRUE(failsWith("vImpRE.empty()", [&] { mesh.getEdgeFlipCandidates_MT(vRE, 0.005, 0.0, vFound); }));
    // Heat admits worse ones.
    std::vector<std::pair<double, REdge*>> vHot;
    mesh.getEdgeFlipCandidates_MT(vRE, 0.0, RMesh::getAnnealingSchedule().front(), vHot);
    EXPECT_GT(vHot.size(), vFound.size());
    EXPECT_EQ(RMesh::getAnnealingSchedule().size(), 29u);
    EXPECT_EQ(RMesh::getCandidateStage(RMesh::getAnnealingSchedule().front()), "RM_gEfCandMT_0.018");
}
