#include <gtest/gtest.h>

#include <cmath>

#include "cloud/CloudMgr.h"
#include "grid/Calc.h"
#include "support/capture.h"
#include "support/samplingPlan.h"
#include "support/shapes.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

// From the origin, of size 8; every other 0 of a coordinate is negative.
std::vector<Point3> boxSoup() {
    std::vector<Point3> vCorners = soupOf(box({0, 0, 0}, {8, 8, 8}));
    int numZeros = 0;
    const auto signedZero = [&](double c) { return c != 0.0 ? c : ++numZeros % 2 ? 0.0 : -0.0; };
    for (Point3& p : vCorners) {
        const double x = signedZero(p.px), y = signedZero(p.py);
        p.set(x, y, signedZero(p.pz));
    }
    return vCorners;
}

double input(CloudMgr& cloudMgr, std::vector<Point3> vCorners, double spacing, double featureAngle) {
    planSampling();
    return cloudMgr.inputPointsViaMemory(vCorners, spacing, -1.0, true, featureAngle, false, nullptr, -1);
}

}  // namespace

TEST(CloudMelt, equalPositionsAreOneCornerWhateverTheSignOfZero) {
    CloudMgr cloudMgr, apart;
    EXPECT_EQ(input(cloudMgr, boxSoup(), 0.7, 45.0), -1.0);
    const Cloud& cloud = *cloudMgr.getClouds().front();
    EXPECT_EQ(cloud.usedSpacing, 0.7);
    EXPECT_TRUE(cloud.vBorderEdges.empty());
    // Twelve edges, each of 11 steps or, where it ends behind a border, one more.
    EXPECT_GE(cloud.vFeatureEdges.size(), 12u * 11u);
    EXPECT_LE(cloud.vFeatureEdges.size(), 12u * 12u);
    // Positions that differ by the last bit stay apart.
    std::vector<Point3> vCorners = boxSoup();
    vCorners[1].pz = std::nextafter(8.0, 9.0);
    input(apart, vCorners, 0.7, 361.0);
    EXPECT_FALSE(apart.getClouds().front()->vBorderEdges.empty());
}

TEST(CloudMelt, saysWhatIsWrongWithItsInput) {
    CloudMgr cloudMgr;
    const std::string text = printedText([&] { input(cloudMgr, {}, 1.0, 45.0); });
    EXPECT_NE(text.find("Nothing to do for cloud inputPointsViaMemory"), std::string::npos) << text;
    EXPECT_EQ(cloudMgr.getClouds().front()->getCalc(), nullptr);
    EXPECT_TRUE(failsWith("usedSpacing>0", [&] { input(cloudMgr, boxSoup(), -1.0, 45.0); }));
    std::vector<Point3> vOneTooMany = boxSoup();
    vOneTooMany.emplace_back(1, 2, 3);
    EXPECT_TRUE(failsWith("vTriangleCorners.size()%3==0", [&] { input(cloudMgr, vOneTooMany, 1.0, 45.0); }));
    Cloud scan("scan", 1.0, -1.0, false, -1);
    EXPECT_TRUE(failsWith("bMelt", [&] { scan.preparePixelsAndFeatures(45.0); }));
}
