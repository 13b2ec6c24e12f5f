#include "refine/RTriangle.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "refine/RMesh.h"
#include "support/capture.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

// Two triangles over the edge 0-1, and two more pages on the same edge.
//
//      2
//     / \        0 (0,0)  1 (2,0)  2 (1,1)  3 (1,-1)
//    0---1
//     \ /
//      3
RMesh makeQuad(std::vector<std::uint32_t> vTriples) {
    return RMesh({Point3(0, 0, 0), Point3(2, 0, 0), Point3(1, 1, 0), Point3(1, -1, 0), Point3(1, 0, 1)}, vTriples, 1.0);
}

}  // namespace

TEST(RTriangle, cornerMoveAngleTellsTheTurnAndTheMissingNormals) {
    RMesh mesh = makeQuad({0, 1, 2});
    const RTriangle* pRT = mesh.getTriangle(0);
    const Point3 up(1, 0, 1), onLine(7, 0, 0), below(1, -3, 0), equal(2, 0, 0);
    EXPECT_NEAR(pRT->getCornerMoveAngle(2, &up, true), 90.0, 1e-6);
    EXPECT_NEAR(pRT->getCornerMoveAngle(2, &below, true), 180.0, 1e-6);
    EXPECT_EQ(pRT->getCornerMoveAngle(2, &onLine, true), 360.0);
    EXPECT_EQ(pRT->getCornerMoveAngle(2, &equal, true), 0.0);
    EXPECT_EQ(pRT->getCornerMoveAngle(2, &equal, false), 360.0);
    mesh.getVertex(2)->set(1, 0, 0);
    EXPECT_EQ(pRT->getCornerMoveAngle(2, &up, true), -1.0);
    EXPECT_EQ(pRT->getCornerMoveAngle(2, &onLine, true), 360.0);
}

TEST(REdge, answersFollowItsLiveTriangles) {
    RMesh mesh = makeQuad({0, 1, 2, 1, 0, 3, 0, 1, 4, 1, 0, 4});
    REdge* pRE = mesh.findEdge(mesh.getVertex(1), mesh.getVertex(0));
    ASSERT_EQ(pRE->getDegree(), 4);
    RTriangle *pRT0 = nullptr, *pRT1 = nullptr;
    EXPECT_FALSE(pRE->getTwoTriangles(pRT0, pRT1, true));
    EXPECT_TRUE(pRE->getTwoTriangles(pRT0, pRT1, false));
    EXPECT_EQ(pRE->getOtherTriangle(pRT0), nullptr);
    mesh.getTriangle(0)->kill(&mesh);  // the last takes its place
    mesh.getTriangle(1)->kill(&mesh);
    EXPECT_TRUE(pRE->getTwoTriangles(pRT0, pRT1, true));
    EXPECT_EQ(pRT0, mesh.getTriangle(3));
    EXPECT_EQ(pRE->getOtherTriangle(pRT0), mesh.getTriangle(2));
    EXPECT_TRUE(failsWith("bAlive", [&] { mesh.getTriangle(0)->kill(&mesh); }));
    const std::string text = failureText([&] { pRE->checkOut(mesh.getTriangle(0)); });
    EXPECT_NE(text.find("REdge::checkOut, triangle live state: 0"), std::string::npos) << text;
}
