#include "sampling/SNode.h"

#include <gtest/gtest.h>

#include "support/capture.h"

using namespace QUOR_ZEF;
using zef_test::failsWith;

TEST(SNode, answersAboutItsPlaneOnlyIfItHasOne) {
    SNode node;
    EXPECT_TRUE(failsWith("bHasPlane", [&] { node.getNNV(); }));
    EXPECT_TRUE(failsWith("bHasPlane", [&] { node.projection(Point3()); }));
    node.plane = Plane(Point3(0, 0, 2), Vector3(0, 0, 1));
    node.bHasPlane = true;
    EXPECT_EQ(node.getNNV().vz, 1.0);
    EXPECT_EQ(node.projection(Point3(3, 4, 5)), Point3(3, 4, 2));
}
