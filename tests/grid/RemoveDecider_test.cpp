#include "grid/RemoveDecider.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "support/blockModel.h"
#include "support/voxels.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

using Codes = std::vector<uint64>;

Codes toSortedCCD(const Codes& vRCD) {
    Codes v;
    for (const uint64 rcd : vRCD) v.push_back(unitGrid().rcdToCcd(rcd));
    std::sort(v.begin(), v.end());
    return v;
}

TEST(RemoveDecider, answersAreThoseOfASet) {
    std::mt19937 random(1);
    const Calc calc = unitGrid();
    int numAllowed = 0;
    for (int k = 0; k < 12; ++k) {
        const Codes vRCD = randomCells(random, 1020, 9, 0.2 + 0.06 * k);
        const Codes vCCD = toSortedCCD(vRCD);
        RemoveDecider decider(&vCCD, &calc);
        SlowDecider slow;
        slow.sListed = {vRCD.begin(), vRCD.end()};
        // Removal changes the answers for the cells around.
        for (const uint64 rcd : voxelBox(1019, 1019, 1019, 1029, 1029, 1029)) {
            const uint64 ccd = calc.rcdToCcd(rcd);
            const bool bAllowed = slow.mayGo(rcd, false, false);
            ASSERT_EQ(decider.isBorder(ccd), slow.block(rcd).isBorder());
            ASSERT_EQ(decider.allowsRemoval(ccd), bAllowed);
            if (!bAllowed) continue;
            ++numAllowed;
            EXPECT_TRUE(decider.doom(ccd));
            EXPECT_FALSE(decider.doom(ccd));
            EXPECT_TRUE(decider.isDoomed(ccd));
            EXPECT_FALSE(decider.allowsRemoval(ccd));
            slow.sDoomed.insert(rcd);
        }
    }
    EXPECT_GT(numAllowed, 1000);
}

TEST(RemoveDecider, pruneStrongGoesByPassesFromTheBack) {
    std::mt19937 random(2);
    const Calc calc = unitGrid();
    std::size_t numDoomed = 0, numKept = 0;
    for (int k = 0; k < 40; ++k) {
        const Codes vRCD = randomCells(random, 1020, 8, 0.1 + 0.02 * k);
        const Codes vCCD = toSortedCCD(vRCD);
        SlowDecider slow;
        slow.sListed = {vRCD.begin(), vRCD.end()};
        // Listed cells and empty ones, in any order.
        Codes vCandidates;
        for (const uint64 rcd : voxelBox(1019, 1019, 1019, 1028, 1028, 1028)) {
            if (random() % 2) vCandidates.push_back(calc.rcdToCcd(rcd));
        }
        std::shuffle(vCandidates.begin(), vCandidates.end(), random);

        Codes vSlowDoomed, vWork = vCandidates;
        for (bool bMore = true; bMore;) {
            bMore = false;
            Codes vRefused;
            for (; !vWork.empty(); vWork.pop_back()) {
                const uint64 rcd = calc.ccdToRcd(vWork.back());
                if (slow.block(rcd).isBorder()) {
                    slow.doom(rcd, vSlowDoomed);
                    bMore = true;
                } else {
                    vRefused.push_back(vWork.back());
                }
            }
            vWork = vRefused;
        }
        for (uint64& code : vSlowDoomed) code = calc.rcdToCcd(code);

        RemoveDecider decider(&vCCD, &calc);
        Codes vDoomed{1}, vKept{2};
        EXPECT_EQ(decider.pruneStrong(vCandidates, vDoomed, vKept), vSlowDoomed.size());
        ASSERT_EQ(vDoomed, vSlowDoomed);
        ASSERT_EQ(vKept, vWork);
        numDoomed += vDoomed.size();
        numKept += vKept.size();
    }
    EXPECT_GT(numDoomed, 500u);
    EXPECT_GT(numKept, 500u);
}

}  // namespace
