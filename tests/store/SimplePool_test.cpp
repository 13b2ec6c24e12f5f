#include "store/SimplePool.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <new>
#include <set>
#include <string>

#include "support/sanitizers.h"

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

TEST(SimplePool, aSecondInitFailsAndLeavesThePoolAsItWas) {
    SimplePool<Record> pool;
    pool.init(1, 1);
    Record* const pFirst = pool.alloc();
    testing::internal::CaptureStdout();
    EXPECT_THROW(pool.init(5, 5), ZefBugException);
    const std::string text = testing::internal::GetCapturedStdout();
    EXPECT_EQ(text.find("SimplePool::init(..), ERROR: This pool is already initialized\n"), 0u) << text;
    EXPECT_NE(pool.alloc(), pFirst);
    EXPECT_EQ(pool.vBlockSizes, (std::vector<int>{1, 1}));
}

#if !ZEF_TEST_SANITIZED
TEST(SimplePool, noMemoryThrowsAndLeavesThePoolAsItWas) {
    struct Huge {
        char bytes[std::size_t{1} << 40];
    };
    SimplePool<Huge> pool;
    testing::internal::CaptureStdout();
    EXPECT_THROW(pool.init(1'000'000'000, 1), std::bad_alloc);
    pool.init(0, 1'000'000'000);
    for (int i = 0; i < 3; ++i) EXPECT_THROW(pool.alloc(), std::bad_alloc);
    const std::string line = "SimplePool::alloc(..), ERROR: Out of memory, sorry\n";
    EXPECT_EQ(testing::internal::GetCapturedStdout(), line + line + line + line);
    EXPECT_EQ(pool.index, -1);
}
#endif
