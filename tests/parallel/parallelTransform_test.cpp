#include "parallel/parallelTransform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <functional>
#include <numeric>
#include <system_error>
#include <thread>

#include "frame/Run.h"
#include "parallel/TaskPool.h"
#include "parallel/sortMT.h"
#include "support/threads.h"
#include "zef/errors.h"

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

// Elements 37, 64 and 900 throw themselves, the first of them late.
TEST_P(Loops, theFirstElementThatThrowsIsThrownAndTheNextLoopIsWhole) {
    const std::vector<int> vIn = firstInts(1001);
    std::vector<std::atomic<bool>> vSeen(vIn.size());
    std::atomic<bool> bOtherThrew;
    const auto visit = [&](int i) {
        vSeen[static_cast<std::size_t>(i)] = true;
        for (int turn = 0; i == 37 && turn < 1000 && !bOtherThrew; ++turn) std::this_thread::yield();
        bOtherThrew = bOtherThrew || i == 64 || i == 900;
        if (i == 37 || i == 64 || i == 900) throw i;
        return i;
    };
    const auto visitAll = [&](std::size_t b, std::size_t e) {
        for (; b < e; ++b) visit(static_cast<int>(b));
        return 'x';
    };
    std::vector<int> vOut;
    const std::pair<const char*, std::function<void()>> loops[] = {
        {"transform", [&] { parallelTransform(vIn, vOut, visit); }},
        {"transform_N", [&] { parallelTransform_N(vIn, vOut, 1, [&](int i, auto out) { *out = visit(i); }); }},
        {"forEach", [&] { parallelForEach(vIn, visit); }},
        {"chunks", [&] { parallelChunks(vIn.size(), 10, visitAll); }},
        {"results", [&] { parallelChunkResults<char>(vIn.size(), 10, visitAll); }},
    };
    for (const auto& [name, loop] : loops) {
        for (auto& bSeen : vSeen) bSeen = false;
        bOtherThrew = false;
        try {
            loop();
            ADD_FAILURE() << name;
        } catch (const int i) {
            EXPECT_EQ(i, 37) << name;
        }
        EXPECT_TRUE(std::all_of(vSeen.begin(), vSeen.begin() + 38, [](const auto& bSeen) { return bSeen.load(); }));
        vOut.clear();
        parallelTransform(vIn, vOut, [](int i) { return i; });
        EXPECT_EQ(vOut, vIn) << name;
    }
}

TEST_P(Loops, loopsAndSortsInsideLoopsAndJobsWork) {
    const auto sumOf = [](int i) {
        std::vector<int> vOut;
        parallelTransform(firstInts(300), vOut, [i](int k) { return (k * 7 + i) % 300; });
        sortMT(vOut.begin(), vOut.end());
        EXPECT_EQ(vOut, firstInts(300));
        return i;
    };
    std::vector<int> vOut;
    parallelTransform(firstInts(40), vOut, sumOf);
    EXPECT_EQ(vOut, firstInts(40));
    std::vector<std::future<void>> vJobs;  // as many as keep all workers busy
    for (int i = 0; i < 40; ++i) vJobs.push_back(getTaskPool().push([&](int) { sumOf(1); }));
    for (auto& job : vJobs) job.get();
}

// The calling thread belongs to a Run of this many threads.
struct RunOf {
    explicit RunOf(unsigned numThreads) : context{numThreads, {}, {}} {}
    Context context;
    Run run{context};
    RunScope scope{run};
};

// Of a loop that runs for it: the most threads at the same time, and how often a thread belonged to another Run.
struct Census {
    std::atomic<int> numInside = 0, most = 0, numStrange = 0;

    void loop(const Run* pRun) {
        parallelForEach(firstInts(64), [&](int) {
            const int now = ++numInside;
            for (int seen = most; now > seen && !most.compare_exchange_weak(seen, now);) continue;
            numStrange += getRun() != pRun;
            std::this_thread::yield();
            --numInside;
        });
    }
};

TEST(LoopsOfRuns, eachUsesItsOwnNumberOfThreads) {
    const ThreadCount count(2);
    const auto work = [](unsigned numThreads) {
        RunOf here(numThreads);
        EXPECT_EQ(getNumThreads(), numThreads);
        Census census;
        for (int round = 0; round < 50; ++round) census.loop(&here.run);
        EXPECT_LE(census.most, static_cast<int>(numThreads));
        EXPECT_EQ(census.numStrange, 0);
    };
    std::thread other([&] { work(7); });
    work(3);
    other.join();
    EXPECT_GE(getTaskPool().numWorkers, 6);
    Census withoutRun;
    withoutRun.loop(nullptr);
    EXPECT_LE(withoutRun.most, 2);
    EXPECT_EQ(withoutRun.numStrange, 0);
    const RunOf greedy(4'000'000'000);
    EXPECT_EQ(getNumThreads(), TaskPool::maxWorkers);
}

TEST(LoopsOfRuns, canBeCancelledWhileTheyWaitForTheirHelpers) {
    std::atomic<bool> bHelped = false, bAsked = false;
    RunOf here(2);
    here.context.progress = [&](const ProgressStep&) { return !(bAsked = true); };
    const auto caller = std::this_thread::get_id();
    const auto waitFor = [](const std::atomic<bool>& bFlag) {
        for (int i = 0; i < 5000 && !bFlag; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    };
    const auto work = [&](int) {
        if (std::this_thread::get_id() == caller) return waitFor(bHelped);
        bHelped = true;
        waitFor(bAsked);
    };
    EXPECT_THROW(parallelForEach(firstInts(2), work), CancelledError);
    EXPECT_TRUE(bHelped);
}

TEST(LoopsOfRuns, endOnTheirHelpersWhenTheyAreCancelled) {
    RunOf here(2);
    here.context.progress = [](const ProgressStep&) { return false; };
    const auto caller = std::this_thread::get_id();
    std::atomic<bool> bEnded = false;
    const auto work = [&](int) {
        if (std::this_thread::get_id() == caller) return std::this_thread::sleep_for(std::chrono::milliseconds(60));
        for (int i = 0; i < 5000; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            try {
                pollRun(0);
            } catch (const CancelledError&) {
                bEnded = true;
                throw;
            }
        }
    };
    EXPECT_THROW(parallelForEach(firstInts(2), work), CancelledError);
    EXPECT_TRUE(bEnded);
}

TEST(LoopsOfRuns, shareLoopsInsideThemWithThreadsThatAreDone) {
    const RunOf here(2);
    for (const int busy : {0, 1}) {
        std::atomic<bool> bShared = false;
        parallelForEach(firstInts(2), [&](int i) {
            const auto own = std::this_thread::get_id();
            for (int round = 0; round < 5000 && i == busy && !bShared; ++round) {
                parallelForEach(firstInts(8), [&](int) {
                    if (std::this_thread::get_id() != own) bShared = true;
                    std::this_thread::sleep_for(std::chrono::microseconds(100));
                });
            }
        });
        EXPECT_TRUE(bShared) << busy;
    }
}

TEST(LoopsOfRuns, goOnWithoutTheThreadsThatCannotBeStarted) {
    TaskPool& pool = getTaskPool();
    const ThreadCount count(1);
    const auto start = pool.startThread.exchange(
        [](std::function<void()>) -> std::thread { throw std::system_error(EAGAIN, std::generic_category()); });
    RunOf here(8);
    Census census;
    census.loop(&here.run);
    EXPECT_EQ(pool.numWorkers, 1);
    EXPECT_LE(census.most, 2);
    pool.startThread = start;
    census.loop(&here.run);
    EXPECT_EQ(pool.numWorkers, 7);
}
