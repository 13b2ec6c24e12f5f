#include "sampling/Smooth.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "frame/Progress.h"
#include "sampling/surroundedCells.h"
#include "support/capture.h"
#include "support/digest.h"
#include "support/drawnCells.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

// A cloud on its way through the stages.
struct Stages {
    std::vector<Point3> vPoints;
    Calc calc;
    Smooth smooth;

    explicit Stages(std::vector<Point3> vIn, double cell = 1.0)
        : vPoints(std::move(vIn)),
          calc(-8192 * cell, -8192 * cell, -8192 * cell, 16384 * cell, 16384 * cell, 16384 * cell, 14),
          smooth(&vPoints, &calc) {}

    void run(bool bSmooth) {
        planProgress("test", {{"SM_run", 3}});
        smooth.run(bSmooth);
        getProgress()->reset();
    }
};

// Rough balls with bald patches, of which some points are coloured, lattices with distances of
// exactly one and two cells, roofs and waves, in turn.
std::vector<Point3> drawnPoints(unsigned k) {
    Draws draws(k);
    std::vector<Point3> vPoints;
    for (unsigned i = 0; i < 3000 + 1000 * (k / 4); ++i) {
        const double x = draws.between(-1, 1), y = draws.between(-1, 1), z = draws.between(-1, 1);
        const Vector3 v(x, y, z);
        if (k % 4 == 0 && v.sqLength() < 1.0 && v.sqLength() > 0.01 && (i % 40 > 8 || x * y < 0.1))
            vPoints.push_back(Point3(0.3, 0.2, 0.1) + normalize(v) * (9.0 + 0.6 * draws.between(-1, 1)));
        if (k % 4 == 1 && draws.below(5) == 0)
            vPoints.emplace_back(i % 20, i / 20 % 20, draws.below(3) + (i % 2) * 0.5);
        if (k % 4 == 2) vPoints.emplace_back(10 * x, 10 * y, -std::fabs(10 * x) + 0.125 * z * (k / 4));
        if (k % 4 == 3) vPoints.emplace_back(10 * x, 10 * y, 3 * x * x - 2 * y + 0.5 * z * (k / 4));
        const auto channel = [&] { return static_cast<std::uint8_t>(draws.below(256)); };
        const std::uint8_t r = channel(), g = channel(), b = channel();
        if (!vPoints.empty() && i % 3) vPoints.back().setColor(r, g, b, channel());
    }
    return vPoints;
}

void addNodes(const Smooth& smooth, Digest& digest) {
    for (const SNode& node : smooth.vNodes) {
        digest.add(node.rcd, node.smoothedPoint, node.id, node.numInputPoints,
                   node.bKeepPosition + 2 * node.bHasPlane + 4 * node.isTrusted());
        const LinkedNodes links = smooth.getLinkedNodes(node);
        for (std::size_t i = 0; i < links.size(); ++i) digest.add(links[i]->id);
        if (!node.bHasPlane) continue;
        digest.add(node.isTrusted() ? 0.0 : node.area);
        const Vector3& n = node.plane.normal;
        for (const double value : {n.vx, n.vy, n.vz, node.plane.d}) digest.add(value);
    }
}

std::size_t numWithPlane(const Smooth& smooth) {
    return static_cast<std::size_t>(
        std::count_if(smooth.vNodes.begin(), smooth.vNodes.end(), [](const SNode& node) { return node.bHasPlane; }));
}

}  // namespace

TEST(Smooth, everyStageIsTheRecordedOne) {
    const Digests vRecorded = {4161297722, 1742420734, 910953932,  248634547,  2412573308, 20455099,
                               3631930548, 3568251644, 247523355,  1816862919, 2025608588, 841078108,
                               2463976141, 2380154585, 1819981021, 3522174130};
    expectRecorded(vRecorded, [&](unsigned k, Digest& digest) {
        resetMinArea();
        Stages stages(drawnPoints(k)), whole(drawnPoints(k));
        Smooth& smooth = stages.smooth;
        smooth.mergeCellPoints();
        digest.add(stages.vPoints);
        smooth.addBridgePoints();
        digest.add(stages.vPoints);
        smooth.createNodes();
        smooth.densifyNeigs();
        smooth.relinkNodes();
        addNodes(smooth, digest);
        whole.run(k / 4 % 2);
        addNodes(whole.smooth, digest);
        digest.add(whole.vPoints);
    });
    resetMinArea();
}

TEST(Smooth, aLonePairHasNoPlane) {
    Stages pair({Point3(0.5, 0.5, 0.5), Point3(1.5, 0.5, 0.5)});
    pair.run(false);
    ASSERT_EQ(pair.smooth.vNodes.size(), 2u);
    EXPECT_EQ(pair.smooth.vNodes[0].numLinkedNodes, 1);
    EXPECT_EQ(numWithPlane(pair.smooth), 0u);
}

TEST(Smooth, leastAreaStaysThatOfTheFirstRunUntilItIsReset) {
    const auto numOfRun = [](double scale) {
        std::vector<Point3> vPoints = drawnPoints(3);
        for (Point3& p : vPoints) p.set(p.px * scale, p.py * scale, 0.5 * scale);
        Stages stages(std::move(vPoints), scale);
        stages.run(false);
        return numWithPlane(stages.smooth);
    };
    resetMinArea();
    const std::size_t numFirst = numOfRun(1.0);
    EXPECT_GT(numFirst, 300u);
    EXPECT_EQ(numOfRun(1.0 / 64), 0u);
    resetMinArea();
    EXPECT_EQ(numOfRun(1.0 / 64), numFirst);
    resetMinArea();
}

TEST(Smooth, misuseFailsUnderItsCondition) {
    Calc calc(0, 0, 0, 64, 64, 32, 6);
    std::vector<Point3> vPoints;
    EXPECT_TRUE(
        failsWith("pCalc->cellX==pCalc->cellY && pCalc->cellX==pCalc->cellZ", [&] { Smooth smooth(&vPoints, &calc); }));
    SNode node;
    EXPECT_TRUE(failsWith("bHasPlane", [&] { node.getNNV(); }));
    EXPECT_TRUE(failsWith("bHasPlane", [&] { node.projection(Point3()); }));
}

TEST(SurroundedCells, areTheRecordedOnes) {
    EXPECT_TRUE(getSurroundedCells({}).empty());
    EXPECT_TRUE(getSurroundedCells({packCCD(5, 5, 5)}).empty());
    const Digests vRecorded = {1705193697, 3817626658, 3656194830, 2124803502, 4197979777, 3278574411,
                               2260656062, 2594224759, 3410079902, 4261726937, 891310511,  1194168322};
    expectRecorded(vRecorded, [&](unsigned k, Digest& digest) {
        std::vector<uint64> vCells;
        for (const uint64 rcd : drawnCells(k)) vCells.push_back(unitGrid().rcdToCcd(rcd));
        std::sort(vCells.begin(), vCells.end());
        const std::vector<uint64> vSurrounded = getSurroundedCells(vCells);
        EXPECT_FALSE(vSurrounded.empty());
        digest.add(vSurrounded);
    });
}
