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
#include "grid/RemoveDecider.h"
#include "sampling/surroundedCells.h"
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

// What densifyNeigs adds: cells and positions.
std::vector<std::pair<uint64, Value>> densifyPlainly(const Smooth& smooth) {
    const Calc& calc = *smooth.pCalc;
    std::map<uint64, const SNode*> mSamples;
    for (const SNode* pNode : byId(smooth)) mSamples.emplace(calc.getCCD(pNode->smoothedPoint), pNode);
    std::vector<uint64> vCells, vDoomed, vKept;
    for (const auto& [cell, pNode] : mSamples) vCells.push_back(cell);
    const std::vector<uint64> vCandidates = getSurroundedCells(vCells);
    RemoveDecider(&vCells, &calc).pruneStrong(vCandidates, vDoomed, vKept);
    std::vector<std::pair<uint64, Value>> vOut;
    for (const uint64 cell : vDoomed) {
        uint64 a27[27];
        calc.completeArray27(cell, a27);
        PlainMean mean;
        for (int i = 0; i < 27; ++i) {
            if (i != 13 && mSamples.count(a27[i])) mean.add(mSamples[a27[i]]->smoothedPoint);
        }
        vOut.emplace_back(calc.ccdToRcd(cell), mean.get());
    }
    return vOut;
}

void expectDensifiedPlainly(Smooth& smooth) {
    const auto vExpected = densifyPlainly(smooth);
    const std::size_t numOld = smooth.vNodes.size();
    smooth.densifyNeigs();
    ASSERT_GT(vExpected.size(), 5u);
    ASSERT_EQ(smooth.vNodes.size(), numOld + vExpected.size());
    const auto vById = byId(smooth);
    for (std::size_t i = 0; i < vExpected.size(); ++i) {
        const SNode& node = *vById[numOld + i];
        EXPECT_EQ(node.rcd, vExpected[i].first);
        EXPECT_EQ(valueOf(node.smoothedPoint), vExpected[i].second);
        EXPECT_EQ(node.numInputPoints, 0);
    }
}

// The stages of fitPlanes on pointers, one node after the other.
class PlainPlanes {
public:
    explicit PlainPlanes(const Smooth& s) : smooth(s), vNodes(s.vNodes) {}

    void fit() {
        for (SNode& node : vNodes) smooth.estimateNNVatCentroid(&node, links(node));
        std::vector<std::pair<std::pair<double, std::uint32_t>, SNode*>> vList;
        for (SNode& node : vNodes) {
            if (countsAsTrusted(node)) vTrusted.push_back(&node);
        }
        for (SNode* pNode : vTrusted) pNode->area = SNode::trustedArea;
        for (SNode& node : vNodes) {
            if (!node.isTrusted()) vList.push_back({{node.area, node.id}, &node});
        }
        std::sort(vList.rbegin(), vList.rend());
        for (const auto& entry : vList) fromNeighbours(*entry.second);
        for (const auto& entry : vList) {
            if (!entry.second->isTrusted()) fromWideBlock(*entry.second);
        }
        for (SNode& node : vNodes) keepAtCrease(node);
    }

    const Smooth& smooth;
    std::vector<SNode> vNodes;
    std::vector<SNode*> vTrusted;
    int numFromNeighbours = 0, numFromWide = 0;

private:
    LinkedNodes links(const SNode& node) const {
        const LinkedNodes theirs = smooth.getLinkedNodes(node);
        return {vNodes.data(), std::span(smooth.vLinks).subspan(node.firstLink, theirs.size())};
    }

    bool countsAsTrusted(const SNode& node) const {
        int good = 0, bad = 0;
        const LinkedNodes vLinks = links(node);
        for (std::size_t i = 0; node.bHasPlane && i < vLinks.size(); ++i) {
            if (!vLinks[i]->bHasPlane) continue;
            ++(getAngleDeg(vLinks[i]->getNNV(), node.getNNV()) >= 15 ? bad : good);
        }
        return good >= 4 && good > 2 * bad;
    }

    void fromNeighbours(SNode& node) {
        std::vector<Vector3> n;
        const LinkedNodes vLinks = links(node);
        for (std::size_t i = 0; i < vLinks.size(); ++i) {
            if (vLinks[i]->isTrusted()) n.push_back(vLinks[i]->getNNV());
        }
        if (n.size() < 4) return;
        Vector3 sum = n[1];
        for (std::size_t i = 1; i < n.size(); ++i) sum += n[i] * (getAngleDeg(n[i], n[0]) < 90 ? 1.0 : -1.0);
        sum = normalize(sum);
        for (const Vector3& normal : n) {
            if (getAngleDeg(normal, sum) > 20) return;
        }
        node.plane = Plane(node.smoothedPoint, sum);
        node.bHasPlane = true;
        node.area = SNode::trustedArea;
        ++numFromNeighbours;
    }

    void fromWideBlock(SNode& node) {
        const GridCoords at = unpackRCD(node.rcd);
        const auto isNear = [](uint64 a, uint64 b) { return std::abs(static_cast<int64>(a - b)) <= 2; };
        std::vector<std::int32_t> vBlock;
        for (const SNode& other : vNodes) {
            const GridCoords o = unpackRCD(other.rcd);
            if (&other == &node || !isNear(o.x, at.x) || !isNear(o.y, at.y) || !isNear(o.z, at.z)) continue;
            vBlock.push_back(static_cast<std::int32_t>(&other - vNodes.data()));
        }
        if (!smooth.estimateNNVatCentroid(&node, {vNodes.data(), vBlock})) return;
        node.area = SNode::trustedArea;
        ++numFromWide;
    }

    void keepAtCrease(SNode& node) {
        if (node.bKeepPosition || !node.bHasPlane) return;
        const LinkedNodes vLinks = links(node);
        for (std::size_t i = 0; i < vLinks.size(); ++i) {
            SNode& other = vNodes[static_cast<std::size_t>(vLinks.position(i))];
            if (!other.bHasPlane) continue;
            const double angle = getAngleDeg(node.getNNV(), other.getNNV());
            if (angle <= 20 || angle >= 160) continue;
            node.bKeepPosition = other.bKeepPosition = true;
            return;
        }
    }
};

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

TEST(Smooth, makesOneNodePerCell) {
    Stages stages(makeCloud());
    stages.toNodes();
    std::set<uint64> sCells;
    for (const Point3& p : stages.vPoints) sCells.insert(stages.calc.getRCD(p));
    ASSERT_EQ(stages.smooth.vNodes.size(), sCells.size());
    auto it = sCells.begin();
    for (const SNode& node : stages.smooth.vNodes) {
        EXPECT_EQ(node.rcd, *it++);
        EXPECT_EQ(stages.calc.getRCD(node.smoothedPoint), node.rcd);
        EXPECT_EQ(node.numInputPoints, 1);
    }
}

TEST(Smooth, fillsCloselySurroundedCellsLikeThePlainCount) {
    Stages stages(makeCloud());
    stages.toNodes();
    expectDensifiedPlainly(stages.smooth);
    stages.smooth.relinkNodes();
    stages.smooth.smoothOnce();
    expectDensifiedPlainly(stages.smooth);
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

TEST(Smooth, smoothingMovesNodesToTheMeanAndAddsWhereTheCorrectionLeavesTheCell) {
    Stages stages(makeCloud());
    stages.toLinks();
    Smooth& smooth = stages.smooth;
    const std::vector<SNode> vBefore = smooth.vNodes;
    const auto vLinks = linksOf(smooth);
    std::vector<SNode> vById(vBefore.size());
    for (const SNode& node : vBefore) vById[node.id] = node;

    std::vector<Value> vMoved, vAdded;
    std::vector<Vector3> vDelta(vById.size());
    for (std::size_t i = 0; i < vById.size(); ++i) {
        PlainMean mean;
        for (const std::uint32_t id : vLinks[i]) {
            if (vById[id].numInputPoints != 0) mean.add(vById[id].smoothedPoint);
        }
        const Point3& p = vById[i].smoothedPoint;
        vMoved.push_back(mean.num > 0 ? mean.get() : valueOf(p));
        if (vLinks[i].empty()) continue;
        const auto [x, y, z, bColour, r, g, b, a] = vMoved.back();
        const Point3 target = mean.num > 0 ? Point3(x, y, z) : Point3();
        vDelta[i] = target - Point3(0.7 * p.px + 0.3 * p.px, 0.7 * p.py + 0.3 * p.py, 0.7 * p.pz + 0.3 * p.pz);
    }
    for (std::size_t i = 0; i < vById.size(); ++i) {
        if (vLinks[i].size() <= 7) continue;
        Vector3 m;
        for (const std::uint32_t id : vLinks[i]) m += vDelta[id];
        m *= 0.8 / static_cast<double>(vLinks[i].size());
        m += vDelta[i] * 0.2;
        auto [x, y, z, bColour, r, g, b, a] = vMoved[i];
        const Point3 w = Point3(x, y, z) - m;
        if (std::max({std::fabs(m.vx), std::fabs(m.vy), std::fabs(m.vz)}) >= 1.0) continue;
        if (stages.calc.getRCD(w) != vById[i].rcd) vAdded.push_back({w.px, w.py, w.pz, bColour, r, g, b, a});
    }

    smooth.smoothOnce();
    ASSERT_GT(vAdded.size(), 20u);
    ASSERT_EQ(smooth.vNodes.size(), vMoved.size() + vAdded.size());
    const auto vAfter = byId(smooth);
    for (std::size_t i = 0; i < vMoved.size(); ++i) {
        EXPECT_EQ(vAfter[i]->rcd, vById[i].rcd);
        EXPECT_EQ(valueOf(vAfter[i]->smoothedPoint), vMoved[i]);
    }
    for (std::size_t i = 0; i < vAdded.size(); ++i) {
        const SNode& node = *vAfter[vMoved.size() + i];
        EXPECT_EQ(valueOf(node.smoothedPoint), vAdded[i]);
        EXPECT_EQ(node.rcd, stages.calc.getRCD(node.smoothedPoint));
        EXPECT_EQ(node.numInputPoints, -1);
    }
}

TEST(Smooth, fitsPlanesLikeThePlainRule) {
    Stages stages(makeCloud());
    stages.toLinks();
    PlainPlanes plain(stages.smooth);
    plain.fit();
    stages.smooth.fitPlanes();
    int numKept = 0;
    for (std::size_t i = 0; i < plain.vNodes.size(); ++i) {
        const SNode& node = stages.smooth.vNodes[i];
        const SNode& expected = plain.vNodes[i];
        ASSERT_EQ(node.bHasPlane, expected.bHasPlane);
        ASSERT_EQ(node.area, expected.area);
        ASSERT_EQ(node.plane.d, expected.plane.d);
        ASSERT_EQ(node.plane.normal.vx, expected.plane.normal.vx);
        ASSERT_EQ(node.bKeepPosition, expected.bKeepPosition);
        numKept += node.bKeepPosition;
    }
    // Each of the roads was taken.
    EXPECT_GT(plain.vTrusted.size(), 20u);
    EXPECT_GT(plain.numFromNeighbours, 5);
    EXPECT_GT(plain.numFromWide, 20);
    EXPECT_GT(numKept, 20);
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
