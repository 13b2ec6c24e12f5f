#include "cloud/Cloud.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

#include "cloud/CloudMgr.h"
#include "frame/Progress.h"
#include "grid/Calc.h"
#include "support/capture.h"
#include "support/threads.h"

using namespace QUOR_ZEF;
using zef_test::failsWith;
using zef_test::printedText;

namespace {

void planCloud() {
    planProgress("test", {{"CL_eres", 3}, {"SM_run", 3}, {"CL_creb", 3}});
}

double measuredSpacing(const std::vector<Point3>& vPoints) {
    planCloud();
    Cloud cloud("test", -1.0, 1.0, false, -1);
    cloud.setPoints(vPoints);
    cloud.estimateResolution();
    return cloud.getEstimatedSpacing();
}

// A square of n x n points at distance 1, in the plane of two unit vectors.
std::vector<Point3> lattice(int n, const Vector3& u, const Vector3& v) {
    std::vector<Point3> vPoints;
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) vPoints.push_back(Point3(0.3, 0.2, 0.1) + u * i + v * j);
    }
    return vPoints;
}

// About numPoints points on the unit sphere, evenly spread (Fibonacci spiral).
std::vector<Point3> sphere(int numPoints) {
    std::vector<Point3> vPoints;
    for (int i = 0; i < numPoints; ++i) {
        const double z = 1.0 - (2.0 * i + 1.0) / numPoints, angle = i * 2.399963229728653;
        const double r = std::sqrt(1.0 - z * z);
        vPoints.emplace_back(r * std::cos(angle), r * std::sin(angle), z);
    }
    return vPoints;
}

// As sphere(), with noise, on a lattice so fine that sums of coordinates are exact.
std::vector<Point3> noisySphere(int numPoints, double noise) {
    std::mt19937 random(7);
    std::normal_distribution<double> offset(0.0, noise);
    std::vector<Point3> vPoints = sphere(numPoints);
    const auto snapped = [](double x) { return std::round(x * 0x1p20) * 0x1p-20; };
    for (Point3& p : vPoints) {
        const double f = 1.0 + offset(random);
        p.set(snapped(p.px * f), snapped(p.py * f), snapped(p.pz * f));
    }
    return vPoints;
}

struct Cell {
    uint64 ccd;
    Point3 sample;
    bool operator==(const Cell& c) const { return ccd == c.ccd && sample == c.sample; }
};

std::vector<Cell> preparedCells(std::vector<Point3> vPoints, bool bSmooth) {
    planCloud();
    CloudMgr cloudMgr;
    cloudMgr.inputPointsViaMemory(vPoints, -1.0, 1.2, false, 361.0, bSmooth, nullptr, 0);
    std::vector<Bundle*> vBundles;
    const Calc* pCalc = nullptr;
    cloudMgr.getBundles(vBundles, pCalc);
    std::vector<Cell> vCells;
    for (const Bundle* pBundle : vBundles) {
        EXPECT_EQ(pCalc->getCCD(*pBundle->pPoint), pBundle->ccd);
        vCells.push_back({pBundle->ccd, *pBundle->pPoint});
    }
    return vCells;
}

}  // namespace

TEST(CloudSpacing, liesNearTheTrueOne) {
    const double axisAligned = measuredSpacing(lattice(200, {1, 0, 0}, {0, 1, 0}));
    EXPECT_GT(axisAligned, 0.75);
    EXPECT_LT(axisAligned, 1.2);
    std::mt19937 random(3);
    std::normal_distribution<double> normal;
    for (int trial = 0; trial < 20; ++trial) {
        const Vector3 u = normalize({normal(random), normal(random), normal(random)});
        const Vector3 w = normalize({normal(random), normal(random), normal(random)});
        Vector3 v = w;
        v -= u * (u * w);
        v = normalize(v);
        const double spacing = measuredSpacing(lattice(200, u, v));
        EXPECT_GT(spacing, 0.75) << trial;
        EXPECT_LT(spacing, 1.4) << trial;
    }
    const double trueSpacing = std::sqrt(4.0 * 3.14159265358979 / 40000);
    const double onSphere = measuredSpacing(sphere(40000)) / trueSpacing;
    EXPECT_GT(onSphere, 1.05);
    EXPECT_LT(onSphere, 1.4);
}

TEST(CloudSpacing, scalesWithTheCloudAndWithItsDensity) {
    const std::vector<Point3> vPoints = noisySphere(20000, 0.01);
    const double spacing = measuredSpacing(vPoints);
    std::vector<Point3> vScaled = vPoints;
    for (Point3& p : vScaled) p.set(p.px * 1024, p.py * 1024, p.pz * 1024);
    EXPECT_EQ(measuredSpacing(vScaled), spacing * 1024);
    std::vector<Point3> vDoubled = vPoints;
    vDoubled.insert(vDoubled.end(), vPoints.begin(), vPoints.end());
    EXPECT_NEAR(measuredSpacing(vDoubled), spacing / std::sqrt(2.0), spacing * 1e-12);
}

TEST(CloudSpacing, saysWhatToDoWhenItCannotBeMeasured) {
    const char* const cure = "give a spacing: the cloud's own could not be measured";
    const auto failureOf = [](const std::vector<Point3>& vPoints) {
        return zef_test::failureText([&] { measuredSpacing(vPoints); });
    };
    EXPECT_NE(failureOf({{1, 2, 3}}).find(cure), std::string::npos);
    EXPECT_NE(failureOf(std::vector<Point3>(50, {1, 2, 3})).find(cure), std::string::npos);
}

TEST(CloudGrid, coversTheBoxWithAMarginOf5000Cells) {
    Cloud cloud("test", 1.0, -1.0, false, -1);
    cloud.setPoints({{0, 0, 0}, {100, 50, 20}});
    cloud.estimateResolution();
    cloud.createCalc();
    EXPECT_EQ(cloud.usedSpacing, 1.0);
    EXPECT_EQ(cloud.getEstimatedSpacing(), -1.0);
    EXPECT_EQ(cloud.getCalc()->numLevels, 14);
    EXPECT_EQ(cloud.getCalc()->getCellSize(), 1.0);
    EXPECT_EQ(cloud.getCalc()->getRCD({0, 0, 0}), packRCD(5000, 5000, 5000));
    EXPECT_EQ(cloud.getCalc()->getRCD({100, 50, 20}), packRCD(5100, 5050, 5020));
}

TEST(CloudGrid, refusesSpacingsThatCannotWork) {
    const auto gridFor = [](double spacing, double factor, double offset) {
        planCloud();
        Cloud cloud("test", spacing, factor, false, -1);
        std::vector<Point3> vPoints = sphere(2000);
        for (Point3& p : vPoints) p.px += offset;
        cloud.setPoints(vPoints);
        cloud.estimateResolution();
        cloud.createCalc();
    };
    const double nan = std::numeric_limits<double>::quiet_NaN(), inf = std::numeric_limits<double>::infinity();
    EXPECT_TRUE(failsWith("usedSpacing>0", [&] { gridFor(-1.0, -1.0, 0); }));
    EXPECT_TRUE(failsWith("usedSpacing>0", [&] { gridFor(-1.0, 0.0, 0); }));
    EXPECT_TRUE(failsWith("usedSpacing>0", [&] { gridFor(nan, nan, 0); }));
    EXPECT_TRUE(failsWith("numCReal>=numReqC", [&] { gridFor(1e-7, -1.0, 0); }));
    EXPECT_TRUE(failsWith("numCReal>=numReqC", [&] { gridFor(1e-12, -1.0, 0); }));
    const auto failureOf = [&](double spacing, double offset) {
        return zef_test::failureText([&] { gridFor(spacing, -1.0, offset); });
    };
    EXPECT_NE(failureOf(0.001, 1e15).find("move the cloud towards the origin"), std::string::npos);
    EXPECT_NE(failureOf(1e-300, 0).find("Condition"), std::string::npos);
    EXPECT_NE(failureOf(inf, 0).find("give a finite spacing"), std::string::npos);
}

TEST(CloudInput, leavesOutNonFinitePointsWithOneWarning) {
    const double nan = std::numeric_limits<double>::quiet_NaN(), inf = std::numeric_limits<double>::infinity();
    const std::vector<Point3> vIn = {{1, 1, 1}, {nan, 0, 0}, {2, 2, 2}, {0, inf, 0}, {0, 0, -inf}, {3, 3, 3}};
    Cloud scan("test", -1.0, 1.0, false, -1);
    const std::string text = printedText([&] { scan.setPoints(vIn); });
    EXPECT_NE(text.find("Skipped 3 points with non-finite coordinates"), std::string::npos);
    EXPECT_EQ(text.find("WARNING"), text.rfind("WARNING"));
    EXPECT_EQ(scan.vPoints, (std::vector<Point3>{{1, 1, 1}, {2, 2, 2}, {3, 3, 3}}));
    EXPECT_EQ(scan.numPoints, 3u);
    EXPECT_EQ(scan.bboxMax[0], 3.0);

    Cloud corners("test", 1.0, -1.0, true, -1);
    const std::vector<Point3> vTriangles = {{nan, 0, 0}, {1, 0, 0}, {0, 1, 0}, {5, 0, 0}, {6, 0, 0}, {5, 1, 0}};
    printedText([&] { corners.setPoints(vTriangles); });
    EXPECT_EQ(corners.vPoints, std::vector<Point3>(vTriangles.begin() + 3, vTriangles.end()));
}

TEST(CloudInput, anEmptyCloudWarnsAndHasNothing) {
    planCloud();
    CloudMgr cloudMgr;
    std::vector<Point3> vPoints;
    const std::string text =
        printedText([&] { cloudMgr.inputPointsViaMemory(vPoints, -1.0, 1.0, false, 361.0, false, nullptr, -1); });
    EXPECT_NE(text.find("Nothing to do for cloud inputPointsViaMemory"), std::string::npos);
    std::vector<Bundle*> vBundles;
    const Calc* pCalc = nullptr;
    cloudMgr.getBundles(vBundles, pCalc);
    EXPECT_TRUE(vBundles.empty());
    EXPECT_EQ(pCalc, nullptr);
}

TEST(CloudClean, ofSeveralSamplesInACellTheFirstStays) {
    Cloud cloud("test", 1.0, -1.0, false, -1);
    cloud.setPoints({{0, 0, 0}, {10, 10, 10}});
    cloud.estimateResolution();
    cloud.createCalc();
    std::vector<Point3> vSamples = {{5.5, 0.5, 0.5}, {0.7, 0.5, 0.5}, {0.2, 0.5, 0.5}, {5.1, 0.5, 0.5}};
    vSamples[1].setColor(1, 2, 3, 4);
    std::vector<RCDPoint> vRCDPoint;
    std::vector<uint64> vAllRCD;
    cloud.getRCD2Point(vSamples, vRCDPoint, vAllRCD);
    ASSERT_EQ(vRCDPoint.size(), 2u);
    EXPECT_EQ(vRCDPoint[0].second, Point3(0.7, 0.5, 0.5));
    EXPECT_TRUE(vRCDPoint[0].second.hasColor());
    EXPECT_EQ(vRCDPoint[1].second, Point3(5.5, 0.5, 0.5));
    EXPECT_EQ(vAllRCD, (std::vector<uint64>{vRCDPoint[0].first, vRCDPoint[1].first}));
}

TEST(CloudClean, wedgeIsSeenFromTheNeighbourInTheMiddleOfTheList) {
    EXPECT_EQ(Cloud::getMedianWedge({{0, 0, 0}, {1, 0, 0}}), 0.0);
    EXPECT_NEAR(Cloud::getMedianWedge({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}), 90.0, 1e-6);
    // The list of angles is 180 (seen from +x), 135 (from +x+y), with one for -x left out.
    EXPECT_NEAR(Cloud::getMedianWedge({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {-1, 0, 0}}), 135.0, 1e-6);
    EXPECT_NEAR(Cloud::getMedianWedge({{0, 0, 0}, {1, 1, 0}, {1, 0, 0}, {-1, 0, 0}}), 180.0, 1e-6);
}

TEST(CloudRun, cellsFollowTheSphereAndKeepItClosed) {
    const std::vector<Cell> vCells = preparedCells(noisySphere(40000, 0.002), false);
    ASSERT_GT(vCells.size(), 10000u);
    const double spacing = measuredSpacing(noisySphere(40000, 0.002)) * 1.2;
    for (const Cell& cell : vCells) {
        const double radius = (cell.sample - Point3()).length();
        EXPECT_NEAR(radius, 1.0, spacing);
    }
    EXPECT_TRUE(
        std::is_sorted(vCells.begin(), vCells.end(), [](const Cell& a, const Cell& b) { return a.ccd < b.ccd; }));
}

TEST(CloudRun, doesNotDependOnThreadsOrOnTheOrderOfTheInput) {
    std::vector<Point3> vPoints = noisySphere(30000, 0.01);
    for (const bool bSmooth : {false, true}) {
        ThreadCount one(1);
        const std::vector<Cell> vExpected = preparedCells(vPoints, bSmooth);
        for (const unsigned numThreads : {2u, 16u}) {
            ThreadCount several(numThreads);
            EXPECT_EQ(preparedCells(vPoints, bSmooth), vExpected) << numThreads;
        }
        std::shuffle(vPoints.begin(), vPoints.end(), std::mt19937(5));
        EXPECT_EQ(preparedCells(vPoints, bSmooth), vExpected);
    }
}
