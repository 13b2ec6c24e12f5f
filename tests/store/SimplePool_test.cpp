#include "store/SimplePool.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <set>

using namespace QUOR_ZEF;

namespace {

struct Record {
    std::uint64_t id;
    double value;
    char tail;
};

}  // namespace

TEST(SimplePool, addressesStayValidWhenBlocksAreAdded) {
    SimplePool<Record> pool;
    pool.init(10, 3);
    std::vector<Record*> vRecords;
    for (std::uint64_t i = 0; i < 100; ++i) vRecords.push_back(std::construct_at(pool.alloc(), Record{i, 0.5, 'x'}));
    for (std::uint64_t i = 0; i < 100; ++i) EXPECT_EQ(vRecords[i]->id, i);
    EXPECT_EQ(std::set<Record*>(vRecords.begin(), vRecords.end()).size(), 100U);
    EXPECT_EQ(pool.vBlockSizes.size(), 31U);  // 10 + 30 * 3
    EXPECT_FALSE(pool.bSingleBlock);
}

TEST(SimplePool, recordsOfABlockAreContiguousAndOneBlockHoldsWhatWasAsked) {
    SimplePool<Record> pool;
    pool.init(1000, 100);
    Record* const pFirst = pool.alloc();
    for (int i = 1; i < 1000; ++i) EXPECT_EQ(pool.alloc(), pFirst + i);
    EXPECT_TRUE(pool.bSingleBlock);
    EXPECT_EQ(pool.vBlockSizes, std::vector<int>{1000});
}

TEST(SimplePool, negativeNextSizeHalvesThenDoublesUpToTheCap) {
    struct Big {
        char bytes[10'000'000];
    };
    SimplePool<Big> pool;
    pool.init(8, -1);
    EXPECT_EQ(pool.maxBlockSize, 10);
    for (int i = 0; i < 8 + 4 + 8 + 10 + 1; ++i) pool.alloc()->bytes[0] = 1;
    EXPECT_EQ(pool.vBlockSizes, (std::vector<int>{8, 4, 8, 10, 10}));

    SimplePool<Record> single;
    single.init(1, -1);
    for (int i = 0; i < 4; ++i) single.alloc();
    EXPECT_EQ(single.vBlockSizes, (std::vector<int>{1, 1, 2}));
}

TEST(SimplePoolDeathTest, aSecondInitEndsTheProcessWithAMessage) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto initTwice = [] {
        std::cout.rdbuf(std::cerr.rdbuf());
        SimplePool<Record> pool;
        pool.init(1, 1);
        pool.init(1, 1);
    };
    EXPECT_EXIT(initTwice(), testing::ExitedWithCode(1),
                "SimplePool::init\\(\\.\\.\\), ERROR: This pool is already initialized\n");
}
