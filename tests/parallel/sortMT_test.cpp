#include "parallel/sortMT.h"

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <string>

#include "parallel/keyPacking.h"
#include "support/sanitizers.h"
#include "support/threads.h"

using namespace QUOR_ZEF;

namespace {

constexpr std::size_t largeSize = ZEF_TEST_SANITIZED ? 300'000 : 3'000'000;

using Words = std::vector<uint64>;
struct Payload {
    std::array<uint64, 4> fields;
};
using Record = std::pair<uint64, uint64>;      // the payload is the original index
using BigRecord = std::pair<uint64, Payload>;  // field 0 is the original index

const char* const shapes[] = {"random",     "few prefixes", "many prefixes",         "sorted", "reversed", "two-valued",
                              "organ-pipe", "all-equal",    "sorted but for the end"};

uint64 prefix(uint64 i) {
    return (i * 0x9e3779b97f4a7c15) & ~uint64{0xff};
}

Words makeKeys(const std::string& shape, std::size_t n) {
    std::mt19937_64 random(n);
    Words v(n);
    for (std::size_t i = 0; i < n; ++i) {
        if (shape == "random") v[i] = random();
        // Keys that differ in the high bits of one of few prefixes, and in low bits
        // for which a packed word has no room.
        if (shape == "few prefixes") v[i] = prefix(random() % 3) | random() % 5 << 3;
        if (shape == "many prefixes") v[i] = prefix(random() % (n / 4 + 1)) | random() % 5 << 3;
        if (shape == "sorted") v[i] = 3 * i;
        if (shape == "reversed") v[i] = 3 * (n - i);
        if (shape == "two-valued") v[i] = random() & 1U << 20;
        if (shape == "organ-pipe") v[i] = std::min(i, n - i);
        if (shape == "all-equal") v[i] = 42;
        if (shape == "sorted but for the end") v[i] = i + 1 == n ? 1 : 5 * i;
    }
    return v;
}

std::vector<Record> withIndices(const Words& vKeys) {
    std::vector<Record> v;
    for (const uint64 key : vKeys) v.emplace_back(key, v.size());
    return v;
}

std::vector<BigRecord> withPayloads(const Words& vKeys) {
    std::vector<BigRecord> v;
    for (const uint64 key : vKeys) v.emplace_back(key, Payload{{v.size(), ~uint64{v.size()}, key, 0}});
    return v;
}

// The records in any order of their own, by original index.
std::vector<Record> expectedRecords(const Words& vKeys) {
    auto v = withIndices(vKeys);
    std::sort(v.begin(), v.end());
    return v;
}

class Sorts : public testing::TestWithParam<unsigned> {
    ThreadCount count{GetParam()};
};

constexpr std::size_t smallSizes[] = {0, 1, 2, 3, 63, 64, 499, 500, 501, 999, 1000, 1001, 4'999, 5'000, 40'000};

}  // namespace

INSTANTIATE_TEST_SUITE_P(Threads, Sorts, testing::Values(1U, 2U, 6U, 16U));

TEST_P(Sorts, wordsAndPairsOfAllShapesAndSizes) {
    const auto lastDigitsFirst = [](uint64 a, uint64 b) { return a % 1000 != b % 1000 ? a % 1000 < b % 1000 : a < b; };
    for (const char* shape : shapes) {
        for (const std::size_t n : smallSizes) {
            const Words vKeys = makeKeys(shape, n);
            Words v = vKeys, vUnique = vKeys, vDigits = vKeys, vExpected = vKeys;
            sortMT(v.begin(), v.end());
            std::sort(vExpected.begin(), vExpected.end());
            EXPECT_TRUE(v == vExpected) << shape << n;

            sortUniqueMT(vUnique);
            v.erase(std::unique(v.begin(), v.end()), v.end());
            EXPECT_TRUE(vUnique == v) << shape << n;

            sortMT(vDigits.begin(), vDigits.end(), lastDigitsFirst);
            std::sort(vExpected.begin(), vExpected.end(), lastDigitsFirst);
            EXPECT_TRUE(vDigits == vExpected) << shape << n;

            auto vPairs = withIndices(vKeys);
            for (Record& record : vPairs) record.second = record.second * 7919 % 1009;  // out of order, with repeats
            auto vExpectedPairs = vPairs;
            std::sort(vExpectedPairs.begin(), vExpectedPairs.end());
            sortMT(vPairs.begin(), vPairs.end());
            EXPECT_TRUE(vPairs == vExpectedPairs) << shape << n;
        }
    }
}

TEST_P(Sorts, byFirstKeepsEachPayloadWithItsKey) {
    for (const char* shape : shapes) {
        for (const std::size_t n : smallSizes) {
            const Words vKeys = makeKeys(shape, n);
            auto v = withPayloads(vKeys);
            std::vector<std::pair<double, uint64>> vDoubles;
            for (const uint64 key : vKeys) vDoubles.emplace_back(static_cast<double>(key) - 1e9, vDoubles.size());
            sortByFirstMT(v.begin(), v.end());
            sortByFirstMT(vDoubles.begin(), vDoubles.end());
            std::vector<Record> vBack;
            for (const auto& [key, payload] : v) {
                EXPECT_TRUE(payload.fields[1] == ~payload.fields[0] && payload.fields[2] == key);
                vBack.emplace_back(key, payload.fields[0]);
            }
            EXPECT_TRUE(std::is_sorted(vBack.begin(), vBack.end(), Func_ltFirstComponent<Record>()));
            std::sort(vBack.begin(), vBack.end());
            EXPECT_TRUE(vBack == expectedRecords(vKeys)) << shape << n;
            EXPECT_TRUE(std::is_sorted(vDoubles.begin(), vDoubles.end(),
                                       [](const auto& a, const auto& b) { return a.first < b.first; }));
            for (const auto& [key, i] : vDoubles) EXPECT_EQ(key, static_cast<double>(vKeys[i]) - 1e9);
        }
    }
}

TEST_P(Sorts, stableOrdersEqualKeysByIndex) {
    for (const char* shape : shapes) {
        for (const std::size_t n : smallSizes) {
            const Words vKeys = makeKeys(shape, n);
            const auto vExpected = expectedRecords(vKeys);
            auto v = withIndices(vKeys);
            sortStableByFirstMT(v.begin(), v.end());
            EXPECT_TRUE(v == vExpected) << shape << n;
            auto vBig = withPayloads(vKeys);
            sortStableByFirstMT(vBig.begin(), vBig.end());
            for (std::size_t i = 0; i < n; ++i) ASSERT_EQ(vBig[i].second.fields[0], vExpected[i].second) << shape << n;
        }
    }
}

TEST_P(Sorts, aComparatorThatThrowsLeavesTheSort) {
    Words v = makeKeys("random", 3000);
    const auto throwing = [](uint64 a, uint64 b) { return a < 1'000'000'000'000'000'000 ? throw 7 : a < b; };
    EXPECT_THROW(sortMT(v.begin(), v.end(), throwing), int);
    sortMT(v.begin(), v.end());
    EXPECT_TRUE(std::is_sorted(v.begin(), v.end()));
}

TEST(SortsLarge, wordsAndRecordsOfAllShapes) {
    const ThreadCount count(2);
    for (const char* shape : shapes) {
        const Words vKeys = makeKeys(shape, largeSize);
        Words v = vKeys;
        sortMT(v.begin(), v.end());
        EXPECT_TRUE(std::is_sorted(v.begin(), v.end())) << shape;
        auto vRecords = withIndices(vKeys);
        sortStableByFirstMT(vRecords.begin(), vRecords.end());
        // Ascending (key, index) with the keys of their indices: one possibility only.
        bool bRight = std::is_sorted(vRecords.begin(), vRecords.end());
        for (std::size_t i = 0; i < largeSize; ++i) {
            bRight &= vRecords[i].first == v[i] && vRecords[i].first == vKeys[vRecords[i].second];
            bRight &= i == 0 || vRecords[i - 1] != vRecords[i];
        }
        EXPECT_TRUE(bRight) << shape;
    }
}

TEST(KeyPacking, keepsTheOrderAndSaysWhetherItIsExact) {
    std::mt19937_64 random(7);
    const uint64 packedCells = 0x1ffULL << 42 | 0x1ffULL << 21 | 0x1ff;  // three fields of 9 bits
    for (const auto& [varying, bExact] : {std::pair{packedCells, true},
                                          {~uint64{0}, false},
                                          {uint64{0}, true},
                                          {uint64{0xaaaa}, true},
                                          {uint64{0xaaaa'aaaa'aaaa'aaaa}, false}}) {
        const KeyPacking packing(varying, 40);
        EXPECT_EQ(packing.bExact, bExact);
        const uint64 shared = random() & ~varying;
        for (int i = 0; i < 1000; ++i) {
            const uint64 a = shared | (random() & varying), b = shared | (random() & random() & varying);
            EXPECT_LT(packing.pack(a), uint64{1} << 40);
            EXPECT_LE(packing.pack(std::min(a, b)), packing.pack(std::max(a, b)));
            EXPECT_TRUE(!bExact || (a == b) == (packing.pack(a) == packing.pack(b)));
        }
    }
}

TEST(BlockSort, adversarialDepthStillSorts) {
    for (const char* shape : shapes) {
        Words v = makeKeys(shape, 3000), vExpected = v;
        std::sort(vExpected.begin(), vExpected.end());
        blockSort(v.begin(), v.end(), std::less<>(), 2);
        EXPECT_TRUE(v == vExpected) << shape;
    }
}
