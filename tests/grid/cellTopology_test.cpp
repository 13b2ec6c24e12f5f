#include "grid/cellTopology.h"

#include <gtest/gtest.h>

#include <random>

#include "support/blockModel.h"

using namespace QUOR_ZEF;
using zef_test::Block;

namespace {

// Sparse, even and dense ones, as combinations of even ones.
std::uint32_t drawMask(std::mt19937& random) {
    const auto draw = [&] { return static_cast<std::uint32_t>(random()); };
    switch (draw() % 5) {
        case 0:
            return draw() & draw() & draw() & blockAll;
        case 1:
            return draw() & draw() & blockAll;
        case 2:
            return draw() & blockAll;
        case 3:
            return (draw() | draw()) & blockAll;
        default:
            return (draw() | draw() | draw()) & blockAll;
    }
}

TEST(cellTopology, answersAreThoseOfAFloodOverCoordinates) {
    std::mt19937 random(1);
    int numBorder = 0, numCritical = 0, numThickRim = 0;
    for (int k = 0; k < 1000000; ++k) {
        const std::uint32_t mask = drawMask(random);
        const Block block = Block::ofMask(mask);
        const bool bCritical = block.isCritical();
        ASSERT_EQ(isCriticalBlock(mask), bCritical) << mask;
        const bool bCentre = mask & blockCentreBit;
        for (const int minMissing : {17, 19}) {
            const bool bRim = bCentre && block.isRim(minMissing);
            ASSERT_EQ(isRimBlock(mask, minMissing), bRim) << mask;
            const bool bMayGo = bCentre && block.firstMissingFace() >= 0 && !bCritical && !bRim;
            ASSERT_EQ(mayGoBlock(mask, minMissing), bMayGo) << mask;
        }
        ASSERT_EQ(isBorderBlock(mask), block.isBorder()) << mask;
        numCritical += isCriticalBlock(mask);
        numBorder += isBorderBlock(mask);
        numThickRim += isRimBlock(mask, 17) && !isRimBlock(mask, 19);
    }
    // The masks must hold enough of each kind.
    EXPECT_GT(numCritical, 10000);
    EXPECT_GT(numBorder, 10000);
    EXPECT_GT(numThickRim, 1000);
}

TEST(cellTopology, oppStateIsThatOfAFloodOverCoordinates) {
    std::mt19937 random(2);
    int numOf[3] = {};
    for (int k = 0; k < 200000; ++k) {
        const int dir = k % 6;
        const std::uint32_t mask = drawMask(random) & ~(1u << blockFace[static_cast<std::size_t>(dir)]);
        const OppState state = oppStateOfBlock(mask, dir);
        ASSERT_EQ(state, Block::ofMask(mask).oppState(dir)) << mask << " " << dir;
        ++numOf[state];
    }
    EXPECT_GT(*std::min_element(numOf, numOf + 3), 1000);
}

TEST(cellTopology, cellsInKnownPlaces) {
    constexpr std::uint32_t alone = blockCentreBit;
    EXPECT_FALSE(isCriticalBlock(alone));
    EXPECT_TRUE(isBorderBlock(alone));
    EXPECT_FALSE(isBorderBlock(blockAll)) << "six face neighbours";
    EXPECT_FALSE(mayGoBlock(blockAll, noRimMissing)) << "nothing exposed";

    constexpr std::uint32_t sheet = 0x1ffu << 9;  // in x and y
    EXPECT_TRUE(isCriticalBlock(sheet));
    EXPECT_EQ(oppStateOfBlock(sheet, 4), OS_SEPARATED);
    EXPECT_EQ(oppStateOfBlock(sheet, 5), OS_SEPARATED);
    constexpr std::uint32_t rim = 0xdbu << 9;  // without the column at +x
    EXPECT_FALSE(isCriticalBlock(rim));
    EXPECT_TRUE(isBorderBlock(rim));
    EXPECT_EQ(oppStateOfBlock(rim, 5), OS_CONNECTED);
    EXPECT_EQ(oppStateOfBlock(rim, 1), OS_SOLID);
    constexpr std::uint32_t thickRim = rim | rim >> 9;
    EXPECT_FALSE(isRimBlock(thickRim, thickRimMissing)) << "15 missing cells";
    constexpr std::uint32_t pinhole = sheet & ~blockCentreBit, corner = 1u << 18;
    EXPECT_TRUE(isPinholeBlock(pinhole) && isPinholeBlock(pinhole | corner));
    EXPECT_FALSE(isPinholeBlock(pinhole & ~(1u << 12))) << "open to the side";
    EXPECT_FALSE(isPinholeBlock(pinhole & ~(1u << 9))) << "round a corner";
    EXPECT_FALSE(isPinholeBlock(pinhole | 0xbu << 18)) << "clutter";
    constexpr std::uint32_t tapered = rim | (0x49u);  // below, only the column at -x
    EXPECT_TRUE(isRimBlock(tapered, thickRimMissing));
    EXPECT_FALSE(isRimBlock(tapered, borderMissing));
}

}  // namespace
