#include "grid/cellTopology.h"

#include <gtest/gtest.h>

#include "support/digest.h"
#include "support/drawnCells.h"

using namespace QUOR_ZEF;
using namespace zef_test;

TEST(cellTopology, answersAreTheRecordedOnes) {
    Draws draws(1);
    const auto draw = [&] { return draws.below(1u << 27); };
    std::vector<Digest> vDigests(12);
    for (unsigned k = 0; k < 200000; ++k) {
        // Sparse, even and dense ones, as combinations of even ones.
        const std::uint32_t a = draw(), b = draw(), c = draw();
        const std::uint32_t aMasks[5] = {a & b & c, a & b, a, a | b, a | b | c};
        const std::uint32_t mask = aMasks[k % 5];
        const bool aAnswers[7] = {isCriticalBlock(mask),         isBorderBlock(mask),  isRimBlock(mask, 17),
                                  isRimBlock(mask, 19),          mayGoBlock(mask, 17), mayGoBlock(mask, 19),
                                  mayGoBlock(mask, noRimMissing)};
        for (std::size_t i = 0; i < 7; ++i) vDigests[i].add(aAnswers[i]);
        vDigests[7].add(countCells(mask));
        const int dir = static_cast<int>(k % 6);
        vDigests[8].add(oppStateOfBlock(mask & ~(1u << blockFace[k % 6]), dir));
        // Mostly a sheet, so that there are holes of one cell.
        const std::uint32_t sheet = 0x1efu << 9 ^ (1u << a % 27) ^ (1u << b % 27);
        vDigests[9].add(isPinholeBlock(sheet));
        vDigests[10].add(isRimBlock(sheet, 17));
        vDigests[11].add(floodBlock(1u << c % 27, ~mask & blockAll));
    }
    Digests vFound;
    for (const Digest& digest : vDigests) vFound.push_back(digest.get());
    EXPECT_EQ(vFound, (Digests{3788862470, 3371631161, 829817530, 2637901596, 3335696890, 367439340, 3615963125,
                               442002429, 3334375510, 3327684485, 3751730663, 2662796957}));
}

TEST(cellTopology, cellsInKnownPlaces) {
    constexpr std::uint32_t alone = blockCentreBit, sheet = 0x1ffu << 9;  // in x and y
    constexpr std::uint32_t rim = 0xdbu << 9;                             // without the column at +x
    EXPECT_TRUE(isBorderBlock(alone) && isBorderBlock(rim) && !isBorderBlock(blockAll));
    EXPECT_TRUE(isCriticalBlock(sheet) && !isCriticalBlock(alone) && !isCriticalBlock(rim));
    EXPECT_TRUE(oppStateOfBlock(sheet, 4) == OS_SEPARATED && oppStateOfBlock(rim, 5) == OS_CONNECTED);
    constexpr std::uint32_t pinhole = sheet & ~blockCentreBit;
    EXPECT_TRUE(isPinholeBlock(pinhole) && isPinholeBlock(pinhole | 1u << 18));
    EXPECT_FALSE(isPinholeBlock(pinhole & ~(1u << 12)) || isPinholeBlock(pinhole | 0xbu << 18));
}
