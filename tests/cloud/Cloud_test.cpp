#include "cloud/Cloud.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>

#include "cloud/CloudMgr.h"
#include "frame/Progress.h"
#include "grid/Calc.h"
#include "support/capture.h"
#include "support/digest.h"
#include "support/drawnCells.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

constexpr double inf = std::numeric_limits<double>::infinity();
const double notANumber = std::nan("");

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

// On the unit sphere but for some noise, with bald patches; on a lattice so fine that sums of coordinates are exact.
std::vector<Point3> noisySphere(int numPoints, double noise) {
    Draws draws(7);
    std::vector<Point3> vPoints;
    const auto snapped = [](double x) { return std::round(x * 0x1p20) * 0x1p-20; };
    while (static_cast<int>(vPoints.size()) < numPoints) {
        const double x = draws.between(-1, 1), y = draws.between(-1, 1), z = draws.between(-1, 1);
        const Vector3 v(x, y, z);
        if (v.sqLength() > 1.0 || v.sqLength() < 0.01) continue;
        const Vector3 n = normalize(v);
        if (std::fabs(n.vx) < 0.1 && std::fabs(n.vy) < 0.06 && n.vz > 0) continue;
        const double f = 1.0 + noise * draws.between(-1, 1);
        vPoints.emplace_back(snapped(n.vx * f), snapped(n.vy * f), snapped(n.vz * f));
    }
    return vPoints;
}

}  // namespace

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

TEST(CloudGrid, coversTheBoxWithAMarginOf5000Cells) {
    Cloud cloud("test", 1.0, -1.0, false, -1);
    const std::vector<Point3> vPoints = {{0, 0, 0}, {100, 50, 20}};
    cloud.setPoints(vPoints);
    cloud.estimateResolution();
    cloud.createCalc();
    EXPECT_EQ(cloud.usedSpacing, 1.0);
    EXPECT_EQ(cloud.getEstimatedSpacing(), -1.0);
    EXPECT_EQ(cloud.getCalc()->numLevels, 14);
    EXPECT_EQ(cloud.getCalc()->getCellSize(), 1.0);
    EXPECT_EQ(cloud.getCalc()->getRCD({0, 0, 0}), packRCD(5000, 5000, 5000));
    EXPECT_EQ(cloud.getCalc()->getRCD({100, 50, 20}), packRCD(5100, 5050, 5020));
    // Of several samples in a cell the first stays.
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

TEST(CloudGrid, refusesSpacingsThatCannotWork) {
    const auto gridFor = [](double spacing, double factor, double offset) {
        return [=] {
            planCloud();
            Cloud cloud("test", spacing, factor, false, -1);
            const std::vector<Point3> vPoints = {
                {offset - 1, 0, 0}, {offset + 1, 0.1, 0}, {offset, 1, 0.2}, {offset, -1, 0.9}};
            cloud.setPoints(vPoints);
            cloud.estimateResolution();
            cloud.createCalc();
        };
    };
    const std::pair<const char*, std::function<void()>> aCases[] = {
        {"Condition [ usedSpacing>0 failed ]", gridFor(-1.0, -1.0, 0)},
        {"Condition [ usedSpacing>0 failed ]", gridFor(-1.0, 0.0, 0)},
        {"Condition [ usedSpacing>0 failed ]", gridFor(notANumber, notANumber, 0)},
        {"Condition [ numCReal>=numReqC failed ]", gridFor(1e-7, -1.0, 0)},
        {"Condition [ numCReal>=numReqC failed ]", gridFor(1e-12, -1.0, 0)},
        {"move the cloud towards the origin", gridFor(0.001, -1.0, 1e15)},
        {"Condition", gridFor(1e-300, -1.0, 0)},
        {"give a finite spacing", gridFor(inf, -1.0, 0)},
        {"give a spacing: the cloud's own could not be measured",
         [] {
             measuredSpacing({{1, 2, 3}});
         }},
        {"give a spacing: the cloud's own could not be measured", [] {
             measuredSpacing(std::vector<Point3>(50, {1, 2, 3}));
         }}};
    for (const auto& [text, misuse] : aCases) EXPECT_NE(failureText(misuse).find(text), std::string::npos) << text;
}

TEST(CloudInput, leavesOutNonFinitePointsWithOneWarning) {
    const std::vector<Point3> vIn = {{1, 1, 1}, {notANumber, 0, 0}, {2, 2, 2}, {0, inf, 0}, {0, 0, -inf}, {3, 3, 3}};
    Cloud scan("test", -1.0, 1.0, false, -1);
    const std::string text = printedText([&] { scan.setPoints(vIn); });
    EXPECT_NE(text.find("Skipped 3 points with non-finite coordinates"), std::string::npos);
    EXPECT_EQ(text.find("WARNING"), text.rfind("WARNING"));
    ASSERT_EQ(scan.numPoints, 3u);
    for (const int i : {0, 1, 2}) EXPECT_EQ(scan.input[std::size_t(i)], Point3(i + 1.0, i + 1.0, i + 1.0));
    EXPECT_EQ(scan.bboxMax[0], 3.0);

    Cloud corners("test", 1.0, -1.0, true, -1);
    const std::vector<Point3> vTriangles = {{notANumber, 0, 0}, {1, 0, 0}, {0, 1, 0}, {5, 0, 0}, {6, 0, 0}, {5, 1, 0}};
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
    EXPECT_TRUE(vBundles.empty() && pCalc == nullptr);
}

TEST(CloudClean, wedgeIsSeenFromTheNeighbourInTheMiddleOfTheList) {
    EXPECT_EQ(Cloud::getMedianWedge({{0, 0, 0}, {1, 0, 0}}), 0.0);
    EXPECT_NEAR(Cloud::getMedianWedge({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}), 90.0, 1e-6);
    // The list of angles is 180 (seen from +x), 135 (from +x+y), with one for -x left out.
    EXPECT_NEAR(Cloud::getMedianWedge({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {-1, 0, 0}}), 135.0, 1e-6);
    EXPECT_NEAR(Cloud::getMedianWedge({{0, 0, 0}, {1, 1, 0}, {1, 0, 0}, {-1, 0, 0}}), 180.0, 1e-6);
}

TEST(CloudRun, cellsAreTheRecordedOnesInAnyOrderOfTheInput) {
    const auto addRun = [](unsigned k, unsigned order, Digest& digest) {
        std::vector<Point3> vPoints = noisySphere(4000 + 500 * static_cast<int>(k), 0.004 * (k % 4));
        Draws(order).shuffle(vPoints);
        planCloud();
        CloudMgr cloudMgr;
        cloudMgr.choices.bKeepBorders = k % 3 == 2;
        const double measured = cloudMgr.inputPointsViaMemory(vPoints, -1.0, 0.8 + 0.1 * (k % 5), false, 361.0, k % 2,
                                                              nullptr, 4 * static_cast<int>(k % 3));
        std::vector<Bundle*> vBundles;
        const Calc* pCalc = nullptr;
        cloudMgr.getBundles(vBundles, pCalc);
        EXPECT_GT(vBundles.size(), 500u);
        digest.add(measured);
        for (const Bundle* pBundle : vBundles) {
            digest.add(pBundle->ccd, *pBundle->pPoint);
            EXPECT_EQ(pCalc->getCCD(*pBundle->pPoint), pBundle->ccd);
        }
    };
    const Digests vRecorded = {1674446819, 2300507255, 4138228938, 115419368,  208852126, 1902252936,
                               3941740271, 829024941,  2756507185, 1122773752, 783386172, 2986550337};
    expectRecorded(vRecorded, [&](unsigned k, Digest& digest) {
        Digest other;
        addRun(k, 1, digest);
        addRun(k, 2, other);
        EXPECT_EQ(digest.get(), other.get());
    });
}
