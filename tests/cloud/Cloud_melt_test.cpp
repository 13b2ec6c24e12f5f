#include <gtest/gtest.h>

#include <cmath>
#include <set>

#include "cloud/CloudMgr.h"
#include "frame/Progress.h"
#include "grid/Calc.h"
#include "support/capture.h"
#include "support/samplingPlan.h"
#include "support/shapes.h"

using namespace QUOR_ZEF;
using zef_test::failsWith;
using zef_test::printedText;
using zef_test::soupOf;

namespace {

// From the origin, of size 8; every other 0 of a coordinate is negative.
std::vector<Point3> boxSoup() {
    std::vector<Point3> vCorners = soupOf(zef_test::box({0, 0, 0}, {8, 8, 8}));
    int numZeros = 0;
    const auto signedZero = [&](double c) { return c != 0.0 ? c : ++numZeros % 2 ? 0.0 : -0.0; };
    for (Point3& p : vCorners) {
        const double x = signedZero(p.px), y = signedZero(p.py);
        p.set(x, y, signedZero(p.pz));
    }
    return vCorners;
}

double input(CloudMgr& cloudMgr, std::vector<Point3> vCorners, double spacing, double featureAngle) {
    zef_test::planSampling();
    return cloudMgr.inputPointsViaMemory(vCorners, spacing, -1.0, true, featureAngle, false, nullptr, -1);
}

}  // namespace

TEST(CloudMelt, equalPositionsAreOneCornerWhateverTheSignOfZero) {
    CloudMgr cloudMgr;
    EXPECT_EQ(input(cloudMgr, boxSoup(), 0.7, 45.0), -1.0);
    const Cloud& cloud = *cloudMgr.getClouds().front();
    EXPECT_EQ(cloud.usedSpacing, 0.7);
    EXPECT_TRUE(cloud.vBorderEdges.empty());
    // Twelve edges, each of 11 steps or, where it ends behind a border, one more.
    EXPECT_GE(cloud.vFeatureEdges.size(), 12u * 11u);
    EXPECT_LE(cloud.vFeatureEdges.size(), 12u * 12u);
}

TEST(CloudMelt, positionsThatDifferByTheLastBitStayApart) {
    std::vector<Point3> vCorners = boxSoup();
    vCorners[1].pz = std::nextafter(8.0, 9.0);
    CloudMgr cloudMgr;
    input(cloudMgr, vCorners, 0.7, 361.0);
    EXPECT_FALSE(cloudMgr.getClouds().front()->vBorderEdges.empty());
}

TEST(CloudMelt, makesOneBundlePerSampleInACellOfItsOwn) {
    CloudMgr cloudMgr;
    input(cloudMgr, soupOf(zef_test::icosphere(3, 10.0)), 0.5, 45.0);
    const Cloud& cloud = *cloudMgr.getClouds().front();
    ASSERT_EQ(cloud.vBundles.size(), cloud.vPoints.size());
    std::set<uint64> sCells;
    for (std::size_t i = 0; i < cloud.vBundles.size(); ++i) {
        const Bundle& bundle = *cloud.vBundles[i];
        EXPECT_EQ(bundle.pPoint, &cloud.vPoints[i]);
        EXPECT_EQ(bundle.ccd, cloud.getCalc()->getCCD(*bundle.pPoint));
        EXPECT_TRUE(sCells.insert(bundle.ccd).second);
        // The triangles lie up to 0.11 inside the sphere of their corners, and a
        // sample within the diagonal of a cell of them.
        EXPECT_NEAR((*bundle.pPoint - Point3()).length(), 10.0, 0.11 + 0.87);
    }
    EXPECT_NEAR(static_cast<double>(sCells.size()), 4.0 * M_PI * 100.0 / 0.25 * 1.4, 1000.0);
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
