#include "repair/Rotx.h"

#include <gtest/gtest.h>

#include <map>

#include "repair/Top.h"
#include "support/capture.h"
#include "support/digest.h"
#include "topology/TestMesh.h"

using namespace zef_test;

namespace {

std::map<std::uint32_t, std::int32_t> tableOf(const Rotx& rotx) {
    return {rotx.mRank.begin(), rotx.mRank.end()};
}

}  // namespace

// Recorded while they were in the exact order of the half planes, by integers.
TEST(Rotx, ranksOfAllAxesAreTheRecordedOnes) {
    TestMesh m(2);
    const Rotx rotx(m.pMesh.get(), true);
    EXPECT_EQ(rotx.sAxisPairs.size(), 56u);
    EXPECT_EQ(rotx.mRank.size(), 672u);
    std::vector<uint64> vAll;
    for (const auto& [key, rank] : tableOf(rotx)) vAll.insert(vAll.end(), {key, uint64(rank)});
    for (const auto& [a, b] : rotx.sAxisPairs) {
        Rotx::getThirdRCDs(a, b, vAll);
        vAll.insert(vAll.end(), {a, b});
    }
    EXPECT_EQ(digest(vAll), 0x7faefc85ee368ee9u);
}

TEST(Rotx, anAngleShortOfAFullTurnKeepsARankOfItsOwn) {
    // Axis along z. In cells of 1 x 400 the directions (1,0), (3,1) and (3,-1) are
    // not a degree apart from those next to them only where x is stretched.
    TestMesh m(2);
    m.calc.cellX = 400.0;
    Rotx rotx(m.pMesh.get(), false);
    EXPECT_TRUE(rotx.mRank.empty());
    const uint64 a = packRCD(1, 1, 1), b = packRCD(1, 1, 2);
    const uint64 ahead = packRCD(3, 1, 1), above = packRCD(3, 2, 1), below = packRCD(3, 0, 1);
    std::vector<uint64> vThird = {ahead, above, below};
    rotx.sortThirdRCDs(a, b, vThird);
    EXPECT_EQ(vThird, (std::vector<uint64>{ahead, above, below}));
    const auto mRank = tableOf(rotx);
    EXPECT_EQ(mRank.at(Rotx::getKey(a, b, ahead)), 0);
    EXPECT_EQ(mRank.at(Rotx::getKey(a, b, above)), 0);
    EXPECT_EQ(mRank.at(Rotx::getKey(a, b, below)), 1);
    vThird = {packRCD(1, 1, 3)};
    EXPECT_TRUE(failsWith("bOK", [&] { rotx.sortThirdRCDs(a, b, vThird); }));
}
