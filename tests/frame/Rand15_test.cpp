#include "frame/Rand15.h"

#include <gtest/gtest.h>

using namespace QUOR_ZEF;

TEST(Rand15, drawsAreTheKnownOnes) {
    Rand15 rand15(1);
    for (const int expected : {41, 18467, 6334, 26500, 19169}) EXPECT_EQ(rand15.next(), expected);
    std::uint32_t i = 0;
    for (const int expected : {10934, 12801, 11555, 3049, 31619, 27305}) {
        EXPECT_EQ(Rand15::at(1 + i % 2, i / 2 * std::uint64_t{1000003}), expected);
        ++i;
    }
}
