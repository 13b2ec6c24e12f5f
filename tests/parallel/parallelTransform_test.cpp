#include "parallel/parallelTransform.h"

#include <gtest/gtest.h>

#include <atomic>
#include <numeric>
#include <stdexcept>
#include <thread>

#include "frame/tools.h"
#include "support/threads.h"

using namespace QUOR_ZEF;

namespace {

constexpr std::size_t sizes[] = {0, 1, 2, 3, 7, 8, 63, 1001};

std::vector<int> firstInts(std::size_t n) {
    std::vector<int> v(n);
    std::iota(v.begin(), v.end(), 0);
    return v;
}

class Loops : public testing::TestWithParam<unsigned> {
    ThreadCount count{GetParam()};
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(Threads, Loops, testing::Values(1U, 2U, 16U));

TEST_P(Loops, transformAppendsInTheOrderOfTheInput) {
    for (const std::size_t n : sizes) {
        const std::vector<int> vBefore = firstInts(n % 5);
        std::vector<double> vOut(vBefore.begin(), vBefore.end()), vExpected = vOut;
        for (std::size_t i = 0; i < n; ++i) vExpected.push_back(0.5 * static_cast<double>(i));
        parallelTransform(firstInts(n), vOut, [](int i) { return 0.5 * i; });
        EXPECT_EQ(vOut, vExpected) << n;
    }
}

TEST_P(Loops, transformNAppendsNOutputsPerElement) {
    for (const std::size_t n : sizes) {
        std::vector<int> vOut = firstInts(n % 5), vExpected = vOut;
        for (int i = 0; i < static_cast<int>(n); ++i) vExpected.insert(vExpected.end(), {i, -i, 7});
        parallelTransform_N(firstInts(n), vOut, 3, [](int i, auto out) {
            *out++ = i;
            *out++ = -i;
            *out = 7;
        });
        EXPECT_EQ(vOut, vExpected) << n;
    }
}

TEST_P(Loops, forEachVisitsEachElementOnce) {
    for (const std::size_t n : sizes) {
        std::vector<std::atomic<int>> vVisits(n);
        parallelForEach(firstInts(n), [&](int i) { ++vVisits[static_cast<std::size_t>(i)]; });
        for (const auto& visits : vVisits) EXPECT_EQ(visits, 1) << n;
    }
}

TEST_P(Loops, chunksTileTheRangeInOrderAndKeepTheirLeastSize) {
    using Chunk = std::pair<std::size_t, std::size_t>;
    for (const std::size_t n : sizes) {
        for (const std::size_t minChunk : {0U, 1U, 3U, 10U, 1001U, 5000U}) {
            const auto vChunks =
                parallelChunkResults<Chunk>(n, minChunk, [](std::size_t b, std::size_t e) { return Chunk(b, e); });
            std::size_t next = 0;
            for (const auto& [begin, end] : vChunks) {
                EXPECT_EQ(begin, next);
                EXPECT_GE(end - begin, std::min(std::max<std::size_t>(minChunk, 1), n));
                next = end;
            }
            EXPECT_EQ(next, n);
            EXPECT_LE(vChunks.size(), 2 * GetParam());
            std::vector<std::atomic<int>> vVisits(n);
            parallelChunks(n, minChunk, [&](std::size_t b, std::size_t e) {
                for (; b < e; ++b) ++vVisits[b];
            });
            for (const auto& visits : vVisits) EXPECT_EQ(visits, 1);
        }
    }
}

TEST_P(Loops, oneElementOrOneChunkStaysOnTheCaller) {
    const auto caller = std::this_thread::get_id();
    std::vector<char> vOut;
    parallelTransform(std::vector<int>{5}, vOut, [&](int) -> char { return std::this_thread::get_id() == caller; });
    EXPECT_EQ(vOut, std::vector<char>{true});
    parallelChunks(99, 50, [&](std::size_t, std::size_t) { EXPECT_EQ(std::this_thread::get_id(), caller); });
}

TEST(Loops, aFailureInAJobIsLostAndTheNextLoopIsWhole) {
    const ThreadCount count(4);
    testing::internal::CaptureStdout();
    std::vector<int> vOut;
    parallelTransform(firstInts(100), vOut, [](int i) {
        ASSEX(i!=42);
        return i;
    });
    EXPECT_NE(testing::internal::GetCapturedStdout().find("i!=42"), std::string::npos);
    EXPECT_EQ(vOut.size(), 100U);
    EXPECT_EQ(vOut[99], 99);
    vOut.clear();
    parallelTransform(firstInts(100), vOut, [](int i) { return i; });
    EXPECT_EQ(vOut, firstInts(100));
}
