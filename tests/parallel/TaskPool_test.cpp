#include "parallel/TaskPool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <memory>
#include <new>
#include <numeric>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "frame/Run.h"
#include "parallel/concurrency.h"
#include "parallel/parallelTransform.h"
#include "support/threads.h"

using namespace QUOR_ZEF;

namespace {

bool isBroken(std::future<void>& future) {
    try {
        future.get();
        return false;
    } catch (const std::future_error& error) {
        return error.code() == std::future_errc::broken_promise;
    }
}

}  // namespace

TEST(TaskPool, aJobThatThrowsKeepsItInItsFutureAndThePoolWorks) {
    TaskPool pool(2);
    std::vector<std::future<void>> vFailing;
    for (int i = 0; i < 10; ++i) vFailing.push_back(pool.push([](int) { throw std::runtime_error("lost"); }));
    bool bRan = false;
    pool.push([&](int) { bRan = true; }).get();
    EXPECT_TRUE(bRan);
    // The thread sanitizer cannot see the count of references in an exception, so
    // the workers have to be gone before it is looked at.
    pool.stop(true);
    for (auto& failing : vFailing) EXPECT_THROW(failing.get(), std::runtime_error);
}

TEST(TaskPool, stopWithWaitingWorksTheQueueOff) {
    TaskPool pool(1);
    std::vector<int> vOrder, vExpected(200);
    std::iota(vExpected.begin(), vExpected.end(), 0);
    for (const int i : vExpected)
        pool.push([&vOrder, pOwned = std::make_unique<int>(i)](int) { vOrder.push_back(*pOwned); });
    pool.stop(true);
    EXPECT_EQ(vOrder, vExpected) << "one worker takes them first in, first out";
    pool.stop(false);
    EXPECT_TRUE(pool.vThreads.empty());
}

TEST(TaskPool, stopWithoutWaitingDropsWhatIsQueued) {
    TaskPool pool(1);
    std::promise<void> started, release;
    auto running = pool.push([&](int) {
        started.set_value();
        release.get_future().wait();
    });
    started.get_future().wait();
    bool bRan = false;
    auto dropped = pool.push([&](int) { bRan = true; });
    std::thread stopper([&] { pool.stop(false); });
    dropped.wait();  // comes back while the other job is still running
    release.set_value();
    stopper.join();
    EXPECT_TRUE(isBroken(dropped));
    EXPECT_NO_THROW(running.get());
    EXPECT_FALSE(bRan);
}

TEST(TaskPool, aStoppedPoolRunsJobsOnTheCaller) {
    for (const bool bWait : {false, true}) {
        TaskPool pool(2);
        pool.stop(bWait);
        std::thread::id runner;
        auto future = pool.push([&](int) { runner = std::this_thread::get_id(); });
        EXPECT_EQ(future.wait_for(std::chrono::seconds(0)), std::future_status::ready);
        EXPECT_EQ(runner, std::this_thread::get_id());
        pool.resize(5);
        EXPECT_TRUE(pool.vThreads.empty());
    }
}

TEST(TaskPool, resizeKeepsWorkingThroughTheQueue) {
    TaskPool pool(1);
    std::atomic<int> numRun = 0, numStrange = 0;
    std::vector<std::future<void>> vFutures;
    for (const int numThreads : {5, 2, 16, 1, 3, 0}) {
        for (int i = 0; i < 40; ++i) {
            vFutures.push_back(pool.push([&](int worker) {
                ++numRun;
                numStrange += worker < 0 || worker >= 16;
            }));
        }
        pool.resize(numThreads);
        EXPECT_EQ(pool.vThreads.size(), std::max(numThreads, 1));
        EXPECT_EQ(pool.vFlags.size(), pool.vThreads.size());
    }
    for (auto& future : vFutures) future.get();
    EXPECT_EQ(numRun, 240);
    EXPECT_EQ(numStrange, 0) << "a job gets the index of its worker";
}

TEST(TaskPool, worksWithTheThreadsThatItGets) {
    static std::atomic<int> numLeft = 0;
    const auto start = [](std::function<void()> work) {
        if (--numLeft < 0) throw std::bad_alloc();
        return std::thread(std::move(work));
    };
    for (const int num : {0, 2}) {
        numLeft = num;
        TaskPool pool(4, start);
        EXPECT_EQ(pool.vThreads.size(), num);
        std::atomic<int> numRun = 0;
        for (int i = 0; i < 10; ++i) pool.push([&](int) { ++numRun; });
        pool.stop(true);
        EXPECT_EQ(numRun, 10);
    }
}

TEST(TaskPool, loopsTellOnceOfThreadsThatTheyDoNotGet) {
    std::vector<std::string> vTold;
    const Context context{200, {}, [&](Severity, std::string_view text) { vTold.emplace_back(text); }};
    const auto start = getTaskPool().startThread.exchange(
        [](std::function<void()>) -> std::thread { throw std::system_error(EAGAIN, std::system_category()); });
    {
        QUOR_ZEF::Run run(context);
        const RunScope scope(run);
        for (int round = 0; round < 3; ++round) {
            std::atomic<int> numRun = 0;
            parallelChunks(1000, 1,
                           [&](std::size_t begin, std::size_t end) { numRun += static_cast<int>(end - begin); });
            EXPECT_EQ(numRun, 1000);
        }
    }
    getTaskPool().startThread = start;
    ASSERT_EQ(vTold.size(), 1u);
    EXPECT_NE(vTold[0].find("Of 200 threads"), std::string::npos) << vTold[0];
}

TEST(TaskPool, growsAndShrinksFromSeveralThreads) {
    TaskPool pool(1);
    std::atomic<int> numRun = 0;
    const auto work = [&](int most) {
        for (int i = 0; i < 30; ++i) {
            pool.grow(i % most);
            pool.push([&](int) { ++numRun; });
            if (i % 10 == 9) pool.resize(2);
        }
    };
    std::thread other([&] { work(9); });
    work(5);
    other.join();
    pool.grow(100'000);
    EXPECT_EQ(pool.vThreads.size(), TaskPool::maxWorkers);
    pool.stop(true);
    EXPECT_EQ(numRun, 60);
}

TEST(TaskPool, setNumThreadsSizesThePoolOfTheProcess) {
    for (const unsigned numThreads : {16U, 1U, 2U}) {
        const ThreadCount count(numThreads);
        EXPECT_EQ(getNumThreads(), numThreads);
        EXPECT_EQ(getTaskPool().vThreads.size(), numThreads);
    }
    EXPECT_EQ(getNumThreads(), std::thread::hardware_concurrency());
}

// In a process of its own, as nothing brings the pool back.
TEST(TaskPoolDeathTest, loopsGoOnSeriallyAfterTheStop) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto loopAfterStop = [](bool bWait) {
        setNumThreads(4);
        getTaskPool().stop(bWait);
        std::vector<int> vOut;
        parallelTransform(std::vector<int>{1, 2, 3, 4, 5}, vOut, [](int i) { return 10 * i; });
        std::_Exit(vOut == std::vector<int>{10, 20, 30, 40, 50} ? 7 : 1);
    };
    EXPECT_EXIT(loopAfterStop(true), testing::ExitedWithCode(7), "");
    EXPECT_EXIT(loopAfterStop(false), testing::ExitedWithCode(7), "");
}
