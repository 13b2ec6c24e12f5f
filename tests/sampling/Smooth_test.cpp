#include "sampling/Smooth.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <random>
#include <set>
#include <tuple>
#include <utility>
#include <vector>

#include "frame/Progress.h"
#include "geometry/freeFunctions.h"
#include "support/capture.h"
#include "zef/threads.h"

using namespace QUOR_ZEF;

namespace {

Calc gridOf(double cell) {
    return Calc(-8192 * cell, -8192 * cell, -8192 * cell, 16384 * cell, 16384 * cell, 16384 * cell, 14);
}

using Value = std::tuple<double, double, double, bool, int, int, int, int>;

Value valueOf(const Point3& p) {
    return {p.px, p.py, p.pz, p.bHasColor, p.r, p.g, p.b, p.a};
}

std::vector<Value> valuesOf(const std::vector<Point3>& vPoints) {
    std::vector<Value> vOut;
    for (const Point3& p : vPoints) vOut.push_back(valueOf(p));
    return vOut;
}

// A rough ball of radius 9 with bald patches; two of three points are coloured.
std::vector<Point3> makeCloud(int num = 2500) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> unit(-1.0, 1.0);
    std::vector<Point3> vPoints;
    while (static_cast<int>(vPoints.size()) < num) {
        const Vector3 v(unit(random), unit(random), unit(random));
        if (v.sqLength() > 1.0 || v.sqLength() < 0.01 || std::sin(9 * v.vx) * std::sin(7 * v.vy) > 0.7) continue;
        Point3 p = Point3(0.3, 0.2, 0.1) + normalize(v) * (9.0 + 0.6 * unit(random));
        const auto channel = [&] { return static_cast<std::uint8_t>(random() % 256); };
        if (random() % 3 != 0) p.setColor(channel(), channel(), channel(), channel());
        vPoints.push_back(p);
    }
    return vPoints;
}

// Points on the corners, and in the middle, of cells: distances of exactly one
// and two cells, and coordinates on the border between cells.
std::vector<Point3> makeLattice() {
    std::mt19937 random(5);
    std::vector<Point3> vPoints;
    for (int i = 0; i < 4000; ++i) {
        if (random() % 5 == 0) {
            const double z = static_cast<double>(random() % 3);
            vPoints.emplace_back(i % 20, i / 20 % 20, z + (i % 2) * 0.5);
        }
    }
    return vPoints;
}

// The nodes by order of creation.
std::vector<const SNode*> byId(const Smooth& smooth) {
    std::vector<const SNode*> vOut(smooth.vNodes.size());
    for (const SNode& node : smooth.vNodes) vOut[node.id] = &node;
    return vOut;
}

// A cloud on its way through the stages.
struct Stages {
    std::vector<Point3> vPoints;
    Calc calc;
    Smooth smooth;

    explicit Stages(std::vector<Point3> vIn, double cell = 1.0)
        : vPoints(std::move(vIn)), calc(gridOf(cell)), smooth(&vPoints, &calc) {}

    void toNodes() {
        smooth.mergeCellPoints();
        smooth.addBridgePoints();
        smooth.createNodes();
    }
    void toLinks() {
        toNodes();
        smooth.densifyNeigs();
        smooth.relinkNodes();
    }
    void run(bool bSmooth) {
        planProgress("test", {{"SM_run", 3}});
        smooth.run(bSmooth);
        getProgress()->reset();
    }
};

// ---- the rules, told plainly

struct PlainMean {
    double x = 0, y = 0, z = 0;
    int num = 0, numColored = 0, r = 0, g = 0, b = 0, a = 0;

    void add(const Point3& p) {
        x += p.px;
        y += p.py;
        z += p.pz;
        ++num;
        if (!p.bHasColor) return;
        ++numColored;
        r += p.r;
        g += p.g;
        b += p.b;
        a += p.a;
    }
    Value get() const {
        const int n = std::max(numColored, 1);
        return {x / num, y / num, z / num, numColored > 0, r / n, g / n, b / n, a / n};
    }
};

std::vector<Value> mergePlainly(const std::vector<Point3>& vPoints, const Calc& calc) {
    std::map<uint64, PlainMean> mMeans;
    for (const Point3& p : vPoints) mMeans[calc.getRCD(p)].add(p);
    std::vector<Value> vOut;
    for (const auto& [cell, mean] : mMeans) vOut.push_back(mean.get());
    return vOut;
}

std::vector<Point3> bridgesPlainly(const std::vector<Point3>& vPoints, const Calc& calc) {
    const double spacing = calc.getCellSize();
    std::set<uint64> sCells;
    for (const Point3& p : vPoints) sCells.insert(calc.getRCD(p));
    std::map<uint64, Point3> mLowest;
    for (std::size_t i = 0; i < vPoints.size(); ++i) {
        const Point3& p = vPoints[i];
        uint64 lastCode = calc.getRCD(p);
        for (std::size_t j = i + 1; j < vPoints.size(); ++j) {
            const Point3& q = vPoints[j];
            const double d = (q - p).length();
            if (d > 2 * spacing || d < spacing) continue;
            for (double t = spacing; d > t; t += spacing) {
                Point3 candidate = p + (q - p) * t / d;
                candidate.copyColorFrom(p, q);
                const uint64 c = calc.getRCD(candidate);
                if (c == calc.getRCD(p) || c == lastCode || c == calc.getRCD(q) || sCells.count(c)) continue;
                lastCode = c;
                const auto it = mLowest.emplace(c, candidate).first;
                if (candidate < it->second) it->second = candidate;
            }
        }
    }
    std::vector<Point3> vOut;
    for (const auto& [cell, p] : mLowest) vOut.push_back(p);
    return vOut;
}

// The ids of each node's links, by id.
std::vector<std::vector<std::uint32_t>> linksPlainly(const Smooth& smooth) {
    std::map<uint64, std::vector<std::uint32_t>> mCornerNodes;
    for (const SNode* pNode : byId(smooth)) {
        std::vector<uint64> vCorners;
        smooth.pCalc->getCorners_RCD({pNode->rcd}, vCorners, false);
        for (const uint64 corner : vCorners) mCornerNodes[corner].push_back(pNode->id);
    }
    std::vector<std::vector<std::uint32_t>> vLinks(smooth.vNodes.size());
    for (const auto& [corner, vIds] : mCornerNodes) {
        for (std::size_t a = 0; a < vIds.size(); ++a) {
            for (std::size_t b = a + 1; b < vIds.size(); ++b) {
                auto& vOfA = vLinks[vIds[a]];
                if (std::find(vOfA.begin(), vOfA.end(), vIds[b]) != vOfA.end()) continue;
                vOfA.push_back(vIds[b]);
                vLinks[vIds[b]].push_back(vIds[a]);
            }
        }
    }
    return vLinks;
}

std::vector<std::vector<std::uint32_t>> linksOf(const Smooth& smooth) {
    std::vector<std::vector<std::uint32_t>> vOut;
    for (const SNode* pNode : byId(smooth)) {
        const LinkedNodes vLinkedNodes = smooth.getLinkedNodes(*pNode);
        vOut.emplace_back();
        for (std::size_t i = 0; i < vLinkedNodes.size(); ++i) vOut.back().push_back(vLinkedNodes[i]->id);
    }
    return vOut;
}

// Points on the surface z = height(x, y), about four a cell.
template <class Height>
std::vector<Point3> makeRelief(const Height& height) {
    std::mt19937 random(11);
    std::uniform_real_distribution<double> side(-10, 10);
    std::vector<Point3> vPoints;
    for (int i = 0; i < 1600; ++i) {
        const double x = side(random), y = side(random);
        vPoints.emplace_back(x, y, height(x, y));
    }
    return vPoints;
}

std::size_t numWithPlane(const Smooth& smooth) {
    return static_cast<std::size_t>(
        std::count_if(smooth.vNodes.begin(), smooth.vNodes.end(), [](const SNode& node) { return node.bHasPlane; }));
}

}  // namespace

TEST(Smooth, mergesThePointsOfACellAtTheirMeanInCodeOrder) {
    Stages stages(makeCloud());
    const auto vExpected = mergePlainly(stages.vPoints, stages.calc);
    stages.smooth.mergeCellPoints();
    EXPECT_LT(stages.vPoints.size(), 2000u);
    EXPECT_EQ(valuesOf(stages.vPoints), vExpected);
}

TEST(Smooth, bridgesWhatAPlainSearchBridges) {
    for (const auto& vInput : {makeCloud(900), makeLattice()}) {
        Stages stages(vInput);
        stages.smooth.mergeCellPoints();
        std::vector<Point3> vExpected = stages.vPoints;
        const auto vBridges = bridgesPlainly(stages.vPoints, stages.calc);
        EXPECT_GT(vBridges.size(), 50u);
        vExpected.insert(vExpected.end(), vBridges.begin(), vBridges.end());
        stages.smooth.addBridgePoints();
        EXPECT_EQ(valuesOf(stages.vPoints), valuesOf(vExpected));
    }
}

TEST(Smooth, bridgesTakeColourFromTheFirstPointOnly) {
    const Point3 plain(0.5, 0.5, 0.5), coloured(0.5, 0.5, 0.5, 10, 20, 30, 40);
    const Point3 farPlain(2.5, 0.5, 0.5), farColoured(2.5, 0.5, 0.5, 11, 20, 30, 43);
    const auto bridge = [](const Point3& p, const Point3& q) {
        Stages stages({p, q});
        stages.smooth.mergeCellPoints();
        stages.smooth.addBridgePoints();
        EXPECT_EQ(stages.vPoints.size(), 3u);
        return valueOf(stages.vPoints.back());
    };
    EXPECT_EQ(bridge(coloured, farColoured), valueOf({1.5, 0.5, 0.5, 11, 20, 30, 42}));
    EXPECT_EQ(bridge(coloured, farPlain), valueOf({1.5, 0.5, 0.5, 10, 20, 30, 40}));
    EXPECT_EQ(bridge(plain, farColoured), valueOf({1.5, 0.5, 0.5}));
}

TEST(Smooth, linksNodesInTheOrderInWhichCornersShowThem) {
    Stages stages(makeCloud());
    stages.toLinks();
    EXPECT_EQ(linksOf(stages.smooth), linksPlainly(stages.smooth));
    Stages smoothed(makeCloud());
    smoothed.run(true);
    EXPECT_EQ(linksOf(smoothed.smooth), linksPlainly(smoothed.smooth));
    // The case of several nodes in a cell was there; they stand by id.
    const auto& vNodes = smoothed.smooth.vNodes;
    EXPECT_TRUE(std::is_sorted(vNodes.begin(), vNodes.end(), [](const SNode& a, const SNode& b) {
        return std::pair(a.rcd, a.id) < std::pair(b.rcd, b.id);
    }));
    const auto isTwin = [](const SNode& a, const SNode& b) { return a.rcd == b.rcd; };
    EXPECT_NE(std::adjacent_find(vNodes.begin(), vNodes.end(), isTwin), vNodes.end());
}

// The nodes of a rough ball come nearer to the sphere, and stay in or at their cells.
TEST(Smooth, smoothingEvensOutNoise) {
    const auto roughness = [](const Smooth& smooth) {
        double sum = 0.0;
        for (const SNode& node : smooth.vNodes)
            sum += std::pow((node.smoothedPoint - Point3(0.3, 0.2, 0.1)).length() - 9.0, 2);
        return std::sqrt(sum / static_cast<double>(smooth.vNodes.size()));
    };
    Stages stages(makeCloud(12000));
    stages.toLinks();
    const double before = roughness(stages.smooth);
    const std::size_t numBefore = stages.smooth.vNodes.size();
    stages.smooth.smoothOnce();
    EXPECT_LT(roughness(stages.smooth), 0.8 * before);
    // Nodes are added where the correction leaves the cell.
    EXPECT_GT(stages.smooth.vNodes.size(), numBefore + 20);
}

TEST(Smooth, findsTheNormalsOfASphereAndOfATiltedPlane) {
    Stages tilted(makeRelief([](double x, double y) { return 0.3 * x + 0.2 * y; }));
    tilted.run(false);
    const Vector3 normal = normalize(Vector3(-0.3, -0.2, 1.0));
    for (const SNode& node : tilted.smooth.vNodes) {
        ASSERT_TRUE(node.bHasPlane);
        EXPECT_NEAR(std::fabs(node.getNNV() * normal), 1.0, 1e-9);
        EXPECT_FALSE(node.bKeepPosition);
    }
    std::vector<Point3> vBall = makeCloud(12000);
    for (Point3& p : vBall) p = Point3(0.3, 0.2, 0.1) + normalize(p - Point3(0.3, 0.2, 0.1)) * 12.0;
    Stages ball(std::move(vBall));
    ball.run(false);
    double worst = 0.0;
    for (const SNode& node : ball.smooth.vNodes) {
        if (!node.isTrusted()) continue;
        const double cosine = normalize(node.smoothedPoint - Point3(0.3, 0.2, 0.1)) * node.getNNV();
        worst = std::max(worst, getAngleDeg(Vector3(1, 0, 0), Vector3(std::fabs(cosine), 0, 0)));
    }
    EXPECT_LT(worst, 25.0);
    EXPECT_GT(numWithPlane(ball.smooth), ball.smooth.vNodes.size() * 99 / 100);
}

TEST(Smooth, keepsPositionsBesideACreaseOnly) {
    Stages roof(makeRelief([](double x, double) { return -std::fabs(x); }));
    roof.run(false);
    int numKept = 0;
    for (const SNode& node : roof.smooth.vNodes) {
        EXPECT_TRUE(!node.bKeepPosition || std::fabs(node.smoothedPoint.px) < 4.0);
        numKept += node.bKeepPosition;
    }
    EXPECT_GT(numKept, 20);
}

TEST(Smooth, aLonePairHasNoPlane) {
    Stages pair({Point3(0.5, 0.5, 0.5), Point3(1.5, 0.5, 0.5)});
    pair.run(false);
    ASSERT_EQ(pair.smooth.vNodes.size(), 2u);
    EXPECT_EQ(pair.smooth.vNodes[0].numLinkedNodes, 1);
    EXPECT_EQ(numWithPlane(pair.smooth), 0u);
}

TEST(Smooth, leastAreaStaysThatOfTheFirstRunUntilItIsReset) {
    const auto numOfSmallRun = [] {
        std::vector<Point3> vSmall = makeRelief([](double, double) { return 0.5; });
        for (Point3& p : vSmall) p.set(p.px / 64, p.py / 64, p.pz / 64);
        Stages stages(std::move(vSmall), 1.0 / 64);
        stages.run(false);
        return numWithPlane(stages.smooth);
    };
    resetMinArea();
    Stages first(makeRelief([](double, double) { return 0.5; }));
    first.run(false);
    EXPECT_GT(numWithPlane(first.smooth), 300u);
    EXPECT_EQ(numOfSmallRun(), 0u);
    resetMinArea();
    EXPECT_EQ(numOfSmallRun(), numWithPlane(first.smooth));
    resetMinArea();
}

TEST(Smooth, resultDoesNotDependOnTheNumberOfThreads) {
    const auto bytes = [](unsigned numThreads, bool bSmooth) {
        setNumThreads(numThreads);
        Stages stages(makeCloud(60000), 0.25);
        stages.run(bSmooth);
        EXPECT_GT(stages.smooth.vNodes.size(), 10000u);
        std::vector<double> vOut;
        for (const SNode& node : stages.smooth.vNodes) {
            const Point3& p = node.smoothedPoint;
            const Vector3& n = node.plane.normal;
            for (const double value : {p.px, p.py, p.pz, n.vx, n.vy, n.vz, node.plane.d, node.area}) {
                vOut.push_back(value);
            }
            vOut.insert(vOut.end(), {double(node.id), double(node.bKeepPosition), double(node.numLinkedNodes)});
            vOut.insert(vOut.end(), {double(p.r), double(p.bHasColor), double(node.bHasPlane)});
        }
        vOut.insert(vOut.end(), stages.smooth.vLinks.begin(), stages.smooth.vLinks.end());
        for (const Point3& p : stages.vPoints) vOut.insert(vOut.end(), {p.px, p.py, p.pz});
        return vOut;
    };
    for (const bool bSmooth : {false, true}) {
        const auto vExpected = bytes(1, bSmooth);
        EXPECT_TRUE(bytes(2, bSmooth) == vExpected);
        EXPECT_TRUE(bytes(16, bSmooth) == vExpected);
    }
    setNumThreads(0);
}

TEST(Smooth, refusesCellsThatAreNoCubes) {
    Calc calc(0, 0, 0, 64, 64, 32, 6);
    std::vector<Point3> vPoints;
    EXPECT_TRUE(zef_test::failsWith("pCalc->cellX==pCalc->cellY && pCalc->cellX==pCalc->cellZ",
                                    [&] { Smooth smooth(&vPoints, &calc); }));
}
