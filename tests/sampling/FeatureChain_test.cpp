#include "sampling/FeatureChain.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

using namespace QUOR_ZEF;

namespace {

// The corners of a line that turns by so many degrees at each inner corner.
std::vector<Point3> bentLine(const std::vector<double>& vTurns) {
    std::vector<Point3> vPoints{{0, 0, 0}, {1, 0, 0}};
    double angle = 0.0;
    for (const double turn : vTurns) {
        angle += turn * M_PI / 180.0;
        vPoints.push_back(vPoints.back() + Vector3(std::cos(angle), std::sin(angle), 0));
    }
    return vPoints;
}

// Edges of that line with these values; every other one points backwards.
std::vector<FeatureRecord> lineRecords(const std::vector<Point3>& vPoints, const std::vector<double>& vValues) {
    std::vector<FeatureRecord> vRecords;
    for (std::size_t i = 0; i < vValues.size(); ++i) {
        const Point3 *p = &vPoints[i], *q = &vPoints[i + 1];
        if (i % 2 == 1) std::swap(p, q);
        vRecords.push_back({vValues[i], p, q});
    }
    std::stable_sort(vRecords.begin(), vRecords.end(),
                     [](const FeatureRecord& a, const FeatureRecord& b) { return a.value < b.value; });
    return vRecords;
}

std::vector<std::size_t> lengthsOf(const std::vector<FeatureRecord>& vRecords) {
    std::vector<std::size_t> vLengths;
    const FeatureChains chains(vRecords);
    for (const FeatureChain& chain : chains.getChains()) vLengths.push_back(chain.num);
    return vLengths;
}

using Lengths = std::vector<std::size_t>;

}  // namespace

TEST(FeatureChains, goOnUpToSixtyDegrees) {
    const std::vector<Point3> vGentle = bentLine({59.0, -59.0, 59.0}), vSteep = bentLine({30.0, 61.0, 30.0});
    const std::vector<double> vValues{40, 70, 60, 50};
    EXPECT_EQ(lengthsOf(lineRecords(vGentle, vValues)), Lengths{4});
    EXPECT_EQ(lengthsOf(lineRecords(vSteep, vValues)), (Lengths{2, 2}));
}

TEST(FeatureChains, bordersAndSharpEdgesPartAndBordersComeLast) {
    const std::vector<Point3> vPoints = bentLine({0, 0, 0, 0});
    std::vector<FeatureRecord> vRecords = lineRecords(vPoints, {borderEdgeValue, borderEdgeValue, 80, 80, 80});
    EXPECT_EQ(lengthsOf(vRecords), (Lengths{3, 2}));
    FeatureChains(vRecords).rewrite(vRecords);
    ASSERT_EQ(vRecords.size(), 5u);
    EXPECT_EQ(vRecords[2].value, 80.0);
    EXPECT_EQ(vRecords[3].value, borderEdgeValue);
}

TEST(FeatureChains, rewriteMakesPathsOfAllEdges) {
    // Random edges between the points of a lattice, two of them never the same.
    std::mt19937 random(3);
    std::vector<Point3> vPoints;
    for (int i = 0; i < 125; ++i) vPoints.emplace_back(i % 5, i / 5 % 5, i / 25);
    std::vector<FeatureRecord> vRecords;
    for (std::size_t i = 0; i < vPoints.size(); ++i) {
        for (std::size_t j = i + 1; j < vPoints.size(); ++j) {
            const double value = random() % 4 == 0 ? borderEdgeValue : static_cast<double>(random() % 90 + 1);
            if ((vPoints[j] - vPoints[i]).length() < 1.5 && random() % 3 == 0)
                vRecords.push_back({value, &vPoints[i], &vPoints[j]});
        }
    }
    std::stable_sort(vRecords.begin(), vRecords.end(),
                     [](const FeatureRecord& a, const FeatureRecord& b) { return a.value < b.value; });
    const FeatureChains chains(vRecords);
    std::vector<FeatureRecord> vOut;
    chains.rewrite(vOut);
    const auto undirected = [](const std::vector<FeatureRecord>& v) {
        std::vector<std::pair<const Point3*, const Point3*>> vEnds;
        for (const FeatureRecord& r : v) vEnds.emplace_back(std::min(r.pSrc, r.pTrg), std::max(r.pSrc, r.pTrg));
        std::sort(vEnds.begin(), vEnds.end());
        return vEnds;
    };
    EXPECT_EQ(undirected(vOut), undirected(vRecords));
    std::size_t first = 0, longest = 0;
    double lastValue = 0.0;
    for (const FeatureChain& chain : chains.getChains()) {
        double sum = 0.0;
        for (std::size_t i = first; i < first + chain.num; ++i) {
            sum += vOut[i].value;
            EXPECT_EQ(vOut[i].value == borderEdgeValue, vOut[first].value == borderEdgeValue);
            if (i == first) continue;
            EXPECT_EQ(vOut[i].pSrc, vOut[i - 1].pTrg);
            const Vector3 u = normalize(*vOut[i].pTrg - *vOut[i].pSrc);
            const Vector3 v = normalize(*vOut[i - 1].pTrg - *vOut[i - 1].pSrc);
            EXPECT_GT(u * v, 0.5 - 1e-9);
        }
        EXPECT_NEAR(chain.value, sum / static_cast<double>(chain.num), 1e-9);
        EXPECT_GE(chain.value, lastValue);
        lastValue = chain.value;
        first += chain.num;
        longest = std::max(longest, chain.num);
    }
    EXPECT_EQ(first, vOut.size());
    EXPECT_GT(longest, 4u);
}

TEST(FeatureChains, aLoopEndsWhereItBegan) {
    std::vector<Point3> vPoints;
    for (int i = 0; i < 12; ++i) vPoints.emplace_back(std::cos(i * M_PI / 6), std::sin(i * M_PI / 6), 0);
    std::vector<FeatureRecord> vRecords;
    for (std::size_t i = 0; i < 12; ++i) vRecords.push_back({borderEdgeValue, &vPoints[i], &vPoints[(i + 1) % 12]});
    EXPECT_EQ(lengthsOf(vRecords), Lengths{12});
    FeatureChains(vRecords).rewrite(vRecords);
    EXPECT_EQ(vRecords.front().pSrc, vRecords.back().pTrg);
}
