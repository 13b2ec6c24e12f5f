#include "geometry/Plane.h"

#include <gtest/gtest.h>

#include <cmath>

#include "frame/Rand15.h"
#include "support/capture.h"

using namespace QUOR_ZEF;
using zef_test::failsWith;
using zef_test::printedText;

namespace {

Point3 randomPoint(Rand15& rand15) {
    const auto draw = [&] { return rand15.next() / 1000.0 - 16.0; };
    const double x = draw(), y = draw();
    return {x, y, draw()};
}

double distance(const Plane& plane, const Point3& p) {
    return plane.normal.vx * p.px + plane.normal.vy * p.py + plane.normal.vz * p.pz - plane.d;
}

}  // namespace

TEST(Plane, holdsItsThreePointsAndFollowsTheRightHand) {
    const Plane flat(Point3(0, 0, 2), Point3(9, 0, 2), Point3(0, 1, 2));
    EXPECT_EQ(flat.normal.vz, 1.0);
    EXPECT_EQ(flat.d, 2.0);
    Rand15 rand15(1);
    for (int i = 0; i < 100; ++i) {
        const Point3 a = randomPoint(rand15), b = randomPoint(rand15), c = randomPoint(rand15);
        const Plane plane(a, b, c);
        EXPECT_NEAR(plane.normal.length(), 1.0, 1e-14);
        for (const Point3& p : {a, b, c}) EXPECT_NEAR(distance(plane, p), 0.0, 1e-11);
    }
}

TEST(Plane, throughPointsOnOneLineWarnsAndStaysEmpty) {
    Plane plane;
    const std::string text = printedText([&] { plane = Plane(Point3(1, 1, 1), Point3(2, 1, 1), Point3(4, 1, 1)); });
    EXPECT_NE(text.find("WARNING: Degenerate plane"), std::string::npos);
    EXPECT_TRUE(plane.normal.isDegenerate());
    EXPECT_EQ(plane.d, 0.0);
    EXPECT_TRUE(
        failsWith("vecLen>.99 && vecLen<1.01", [] { Plane(Point3(), Point3(1, 0, 0), Point3(0, std::nan(""), 0)); }));
}

TEST(Plane, projectionIsTheNearestPointWithoutColour) {
    Rand15 rand15(2);
    for (int i = 0; i < 100; ++i) {
        const Plane plane(randomPoint(rand15), normalize(randomPoint(rand15) - Point3()));
        Point3 p = randomPoint(rand15);
        p.setColor(1, 2, 3, 4);
        const Point3 foot = plane.projection(p);
        EXPECT_NEAR(distance(plane, foot), 0.0, 1e-12);
        EXPECT_NEAR((p - foot).length(), std::abs(distance(plane, p)), 1e-12);
        EXPECT_FALSE(foot.hasColor());
    }
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
        EXPECT_FALSE(bOK);
        EXPECT_EQ(met, Point3(1, 1, z));
        EXPECT_TRUE(met.hasColor());
    }
}
