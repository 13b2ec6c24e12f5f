#include "frame/Rand15.h"

#include <gtest/gtest.h>

#include <array>

using namespace QUOR_ZEF;

TEST(Rand15, firstDrawsOfSeedOneAreTheKnownOnes) {
    Rand15 rand15(1);
    for (const int expected : {41, 18467, 6334, 26500, 19169}) EXPECT_EQ(rand15.next(), expected);
}

// Chi-square over 32 classes of draws, of differences of neighbours, which would
// cluster if the index were not mixed, and of seeds. 31 degrees of freedom: beyond
// 80 once in a hundred thousand.
TEST(Rand15, drawsOfNeighbouringElementsAreSpread) {
    std::array<int, 32> values{}, steps{}, seeds{};
    for (std::uint64_t i = 0; i < 32000; ++i) {
        const int draw = Rand15::at(1, i);
        ASSERT_TRUE(draw >= 0 && draw <= Rand15::maxValue);
        ++values[static_cast<std::size_t>(draw / 1024)];
        ++steps[static_cast<std::size_t>(((Rand15::at(1, i + 1) - draw) & 0x7fff) / 1024)];
        ++seeds[static_cast<std::size_t>(((Rand15::at(2, i) - draw) & 0x7fff) / 1024)];
    }
    for (const auto& counts : {values, steps, seeds}) {
        double sum = 0.0;
        for (const int count : counts) sum += (count - 1000.0) * (count - 1000.0) / 1000.0;
        EXPECT_LT(sum, 80.0);
    }
}
