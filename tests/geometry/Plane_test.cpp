#include "geometry/Plane.h"

#include <gtest/gtest.h>

#include <cmath>

#include "frame/Rand15.h"
#include "support/capture.h"

using namespace QUOR_ZEF;
using zef_test::failsWith;
using zef_test::printedText;

TEST(Plane, holdsItsThreePointsAndProjectsToTheNearestPointWithoutColour) {
    const Plane flat(Point3(0, 0, 2), Point3(9, 0, 2), Point3(0, 1, 2));
    EXPECT_EQ(flat.normal.vz, 1.0);
    EXPECT_EQ(flat.d, 2.0);
    Rand15 rand15(1);
    const auto draw = [&] {
        const double x = rand15.next() / 1000.0 - 16.0, y = rand15.next() / 1000.0 - 16.0;
        return Point3(x, y, rand15.next() / 1000.0 - 16.0, 1, 2, 3, 4);
    };
    for (int i = 0; i < 100; ++i) {
        const Point3 a = draw(), b = draw(), c = draw(), p = draw();
        const Plane plane(a, b, c);
        const auto distance = [&](const Point3& q) { return (q - Point3()) * plane.normal - plane.d; };
        EXPECT_NEAR(plane.normal.length(), 1.0, 1e-14);
        for (const Point3& corner : {a, b, c}) EXPECT_NEAR(distance(corner), 0.0, 1e-11);
        EXPECT_NEAR(Plane(a, plane.normal).d, plane.d, 1e-11);
        const Point3 foot = plane.projection(p);
        EXPECT_NEAR(distance(foot), 0.0, 1e-11);
        EXPECT_NEAR((p - foot).length(), std::abs(distance(p)), 1e-11);
        EXPECT_FALSE(foot.hasColor());
    }
}

TEST(Plane, throughPointsOnOneLineWarnsAndStaysEmpty) {
    Plane plane;
    const std::string text = printedText([&] { plane = Plane(Point3(1, 1, 1), Point3(2, 1, 1), Point3(4, 1, 1)); });
    EXPECT_NE(text.find("WARNING: Degenerate plane"), std::string::npos);
    EXPECT_TRUE(plane.normal.isDegenerate() && plane.d == 0.0);
    EXPECT_TRUE(
        failsWith("vecLen>.99 && vecLen<1.01", [] { Plane(Point3(), Point3(1, 0, 0), Point3(0, std::nan(""), 0)); }));
}

TEST(Plane, lineMeetsItBetweenAndBeyondItsPoints) {
    const Plane plane(Point3(0, 0, 3), Vector3(0, 0, 1));
    EXPECT_TRUE(plane.isPositive(Point3(5, 9, 3.001)));
    EXPECT_FALSE(plane.isPositive(Point3(5, 9, 3)));
    bool bOK = false;
    const Point3 between = plane.intersect(Point3(0, 0, 0, 1, 1, 1, 1), Point3(4, 8, 12), bOK);
    EXPECT_EQ(between, Point3(1, 2, 3));
    EXPECT_FALSE(between.hasColor());
    EXPECT_EQ(plane.intersect(Point3(0, 0, 0), Point3(-1, 0, 1), bOK), Point3(-3, 0, 3));
    EXPECT_TRUE(bOK);
    // A parallel line gives its first point, colour and all.
    for (const double z : {3.0, 1.0}) {
        bOK = true;
        const Point3 met = plane.intersect(Point3(1, 1, z, 5, 6, 7, 8), Point3(9, 9, z), bOK);
        EXPECT_TRUE(!bOK && met == Point3(1, 1, z) && met.hasColor());
    }
}
