#include "sampling/FeatureChain.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "support/digest.h"
#include "support/drawnCells.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

using Lengths = std::vector<std::size_t>;

Lengths lengthsOf(const std::vector<FeatureRecord>& vRecords) {
    Lengths vLengths;
    const FeatureChains chains(vRecords);
    for (const FeatureChain& chain : chains.getChains()) vLengths.push_back(chain.num);
    return vLengths;
}

void sortByValue(std::vector<FeatureRecord>& vRecords) {
    std::stable_sort(vRecords.begin(), vRecords.end(),
                     [](const FeatureRecord& a, const FeatureRecord& b) { return a.value < b.value; });
}

}  // namespace

TEST(FeatureChains, goOnUpToSixtyDegrees) {
    for (const double steepest : {59.0, 61.0}) {
        std::vector<Point3> vPoints{{0, 0, 0}, {1, 0, 0}};
        for (const double angle : {30.0, 30 - steepest, 0.0})
            vPoints.push_back(vPoints.back() + Vector3(std::cos(angle * M_PI / 180), std::sin(angle * M_PI / 180), 0));
        // Every other edge points backwards.
        std::vector<FeatureRecord> vRecords = {{40, &vPoints[0], &vPoints[1]},
                                               {50, &vPoints[4], &vPoints[3]},
                                               {60, &vPoints[2], &vPoints[3]},
                                               {70, &vPoints[2], &vPoints[1]}};
        EXPECT_EQ(lengthsOf(vRecords), steepest < 60 ? Lengths{4} : (Lengths{2, 2}));
    }
}

TEST(FeatureChains, chainsOfLatticeEdgesAreTheRecordedOnes) {
    const Digests vRecorded = {1145012433, 2332356221, 957705593, 2565120799, 2013524,    2405294021,
                               2072985310, 3441379887, 530735624, 4247013172, 2747966506, 4175781945};
    expectRecorded(vRecorded, [&](unsigned k, Digest& digest) {
        // Random edges between the points of a lattice, two of them never the same.
        Draws draws(k);
        std::vector<Point3> vPoints;
        for (int i = 0; i < 125; ++i) vPoints.emplace_back(i % 5, i / 5 % 5, i / 25);
        std::vector<FeatureRecord> vRecords;
        for (std::size_t i = 0; i < vPoints.size(); ++i) {
            for (std::size_t j = i + 1; j < vPoints.size(); ++j) {
                const double value = draws.below(4) == 0 ? borderEdgeValue : draws.below(90) + 1.0;
                const bool bTurned = draws.below(2);
                if ((vPoints[j] - vPoints[i]).length() < 1.5 && draws.below(3 + k) == 0)
                    vRecords.push_back({value, &vPoints[bTurned ? j : i], &vPoints[bTurned ? i : j]});
            }
        }
        sortByValue(vRecords);
        const FeatureChains chains(vRecords);
        std::vector<FeatureRecord> vOut;
        chains.rewrite(vOut);
        ASSERT_EQ(vOut.size(), vRecords.size());
        for (const FeatureChain& chain : chains.getChains()) {
            digest.add(chain.num, chain.value);
        }
        for (const FeatureRecord& record : vOut) {
            digest.add(record.value, *record.pSrc, *record.pTrg);
        }
    });
}
