#include "frame/Rand15.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>

using namespace QUOR_ZEF;

TEST(Rand15, firstDrawsOfSeedOneAreTheKnownOnes) {
    Rand15 rand15(1);
    for (const int expected : {41, 18467, 6334, 26500, 19169}) EXPECT_EQ(rand15.next(), expected);
}

TEST(Rand15, leavesTheGeneratorOfTheHostAlone) {
    std::srand(7);
    const int expected = std::rand();
    std::srand(7);
    Rand15 rand15(7);
    rand15.next();
    Rand15::at(7, 0);
    EXPECT_EQ(std::rand(), expected);
}

// Chi-square over 32 classes of draws, and of differences of neighbours, which
// would cluster if the index were not mixed. 31 degrees of freedom: beyond 80
// once in a hundred thousand.
TEST(Rand15, drawsOfNeighbouringElementsAreSpread) {
    constexpr int numDraws = 32000;
    std::array<int, 32> values{}, steps{};
    for (int i = 0; i < numDraws; ++i) {
        const int draw = Rand15::at(1, static_cast<std::uint64_t>(i));
        const int next = Rand15::at(1, static_cast<std::uint64_t>(i) + 1);
        ASSERT_TRUE(draw >= 0 && draw <= Rand15::maxValue);
        ++values[static_cast<std::size_t>(draw / 1024)];
        ++steps[static_cast<std::size_t>(((next - draw) & 0x7fff) / 1024)];
    }
    const auto chiSquare = [](const std::array<int, 32>& counts) {
        double sum = 0.0;
        for (const int count : counts) sum += (count - 1000.0) * (count - 1000.0) / 1000.0;
        return sum;
    };
    EXPECT_LT(chiSquare(values), 80.0);
    EXPECT_LT(chiSquare(steps), 80.0);
}

TEST(Rand15, drawOfAnElementDependsOnSeedAndIndexOnly) {
    const int draw = Rand15::at(3, 1000);
    Rand15::at(4, 1);
    EXPECT_EQ(Rand15::at(3, 1000), draw);
    int numEqual = 0;
    for (std::uint64_t i = 0; i < 1000; ++i) numEqual += Rand15::at(3, i) == Rand15::at(4, i);
    EXPECT_LT(numEqual, 10);
}
