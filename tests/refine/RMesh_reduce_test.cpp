#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>
#include <utility>
#include <vector>

#include "frame/Progress.h"
#include "frame/Rand15.h"
#include "geometry/freeFunctions.h"
#include "refine/RECandidate.h"
#include "refine/RMesh.h"
#include "support/meshQueries.h"
#include "support/shapes.h"
#include "support/threads.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

constexpr double anyLength = 1e300;

struct RMeshReduce : testing::Test {
    RMeshReduce() {
        planProgress("test", {{"RM_kdeg", 1.0}, {"RM_redborder", 1.0}, {"RM_redprioq", 1.0}, {"RM_redprocprioq", 1.0}});
    }
    ~RMeshReduce() override { getProgress()->reset(); }
};

double areaOf(const RMesh& mesh) {
    double area = 0.0;
    for (const RTriangle* pRT : liveTriangles(mesh))
        area += getTriangleArea(*pRT->getCorner(0), *pRT->getCorner(1), *pRT->getCorner(2));
    return area;
}

}  // namespace

TEST_F(RMeshReduce, candidatesStandByCostThenAgeAndFreeOnesFirst) {
    const double nan = std::nan("");
    std::vector<RECandidate> v = {{2.0, 0, 0, 0}, {1.0, 3, 1, 0}, {nan, 5, 2, 1}, {1.0, 2, 3, 0}, {nan, 4, 4, 0}};
    std::sort(v.begin(), v.end());
    std::vector<std::uint32_t> vEdges;
    for (const RECandidate& c : v) vEdges.push_back(c.edge);
    EXPECT_EQ(vEdges, (std::vector<std::uint32_t>{4, 2, 3, 1, 0}));
}

TEST_F(RMeshReduce, leavesTheCornersAndTheAreaOfAFlatSquare) {
    const Shape shape = gridSheet(21, 21);
    RMesh mesh(shape.vertices, shape.triples, 1.0);
    EXPECT_GT(mesh.reduce(anyLength, 1.0), 700);
    EXPECT_NEAR(areaOf(mesh), 400.0, 1e-9);
    for (const std::uint32_t corner : {0u, 20u, 420u, 440u}) EXPECT_FALSE(mesh.getFan(mesh.getVertex(corner)).empty());
    EXPECT_EQ(eulerNumber(mesh), 1u);
    // The length bound holds for each collapse.
    RMesh bound(shape.vertices, shape.triples, 1.0);
    EXPECT_EQ(bound.reduce(0.99 * 0.99, 1.0), 0);
    RMesh single({Point3(0, 0, 0), Point3(1, 0, 0), Point3(0, 1, 0)}, {0, 1, 2}, 1.0);
    EXPECT_EQ(single.reduce(anyLength, 180.0), 0);
}

TEST_F(RMeshReduce, noCollapseTurnsATriangleBeyondTheLimit) {
    // A step of a quarter across an edge of the cube turns what reaches down the
    // whole side by 7 degrees; along the edge it turns nothing.
    Shape cube;
    const Shape side = gridSheet(9, 9, 0.25);
    std::vector<std::pair<Point3, std::uint32_t>> vKnown;
    for (int face = 0; face < 6; ++face) {
        std::vector<std::uint32_t> vIndex;
        for (const Point3& p : side.vertices) {
            const double u = p.px - 1.0, v = p.py - 1.0, w = face % 2 == 0 ? 1.0 : -1.0;
            const Point3 q = face < 2 ? Point3(w * u, v, w) : face < 4 ? Point3(v, w, w * u) : Point3(w, w * u, v);
            const auto it = std::find_if(vKnown.begin(), vKnown.end(), [&](auto& known) { return known.first == q; });
            vIndex.push_back(it != vKnown.end() ? it->second : std::uint32_t(vKnown.size()));
            if (it == vKnown.end()) vKnown.emplace_back(q, vIndex.back());
        }
        for (const std::uint32_t i : side.triples) cube.triples.push_back(vIndex[i]);
    }
    for (const auto& known : vKnown) cube.vertices.push_back(known.first);
    RMesh mesh(cube.vertices, cube.triples, 0.25);
    ASSERT_EQ(eulerNumber(mesh), 2u);
    mesh.reduce(anyLength, 5.0);
    EXPECT_EQ(mesh.getNumLiveTriangles(), 12u);
    EXPECT_NEAR(areaOf(mesh), 24.0, 1e-9);
    bool bOK = false;
    for (RTriangle* pRT : liveTriangles(mesh)) EXPECT_EQ(pRT->getNormal(&bOK).getMaxAbsComponent(), 1.0);
}
