#include "store/Adjacency.h"

#include <gtest/gtest.h>

#include <cstdint>

using namespace QUOR_ZEF;

TEST(Adjacency, aFanLongerThanAChunkKeepsItsOrder) {
    Adjacency adjacency;
    for (int filling = 0; filling < 2; ++filling) {
        adjacency.reset(2);
        for (std::uint32_t t = 0; t < 200000; ++t) adjacency.addToFan(t % 100 == 99, t);
        std::uint32_t expected = 0;
        for (const std::uint32_t t : adjacency.fan(0)) {
            if (expected % 100 == 99) ++expected;
            ASSERT_EQ(t, expected++);
        }
        EXPECT_EQ(adjacency.fan(0).size(), 198000u);
        EXPECT_EQ(adjacency.fan(1).size(), 2000u);
    }
    EXPECT_FALSE(adjacency.removeFromFan(1, 98));
    EXPECT_EQ(adjacency.removeEdge(0, 1), Adjacency::none);
}
