#include "parallel/parallelTransform.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <new>
#include <utility>

#include "frame/Run.h"
#include "parallel/TaskPool.h"

namespace QUOR_ZEF {

namespace {

thread_local bool bInSharedTask = false;

// The thread works on tasks that it shares with others.
class SharedTaskScope {
public:
    SharedTaskScope() : bBefore(std::exchange(bInSharedTask, true)) {}
    ~SharedTaskScope() { bInSharedTask = bBefore; }
    SharedTaskScope(const SharedTaskScope&) = delete;
    SharedTaskScope& operator=(const SharedTaskScope&) = delete;

private:
    bool bBefore;
};

// What the threads of a loop share. Helpers that start late outlive the loop, so they
// own it together and look at the tasks only when they were let in.
class SharedTasks {
public:
    using RunTask = void (*)(void* pTasks, std::size_t i, int worker);
    static constexpr std::chrono::milliseconds betweenPolls{50};

    SharedTasks(std::size_t numTasks_, void* pTasks_, RunTask runTask_)
        : pRun(getRun()), numTasks(numTasks_), pTasks(pTasks_), runTask(runTask_) {}

    // On a worker.
    void help(int worker) {
        {
            const std::lock_guard lock(mutex);
            if (bClosed) return;
            ++numHelpers;
        }
        {
            const WorkerScope scope(pRun);
            work(worker);
        }
        const std::lock_guard lock(mutex);
        if (--numHelpers == 0) cv.notify_all();
    }

    // On the calling thread: comes back when all is done and nobody is inside any more.
    void finish() {
        work(callingThread);
        std::unique_lock lock(mutex);
        bClosed = true;
        while (!cv.wait_for(lock, betweenPolls, [this] { return numHelpers == 0; })) {
            lock.unlock();
            poll(numTasks);
            lock.lock();
        }
        if (pFailure) std::rethrow_exception(std::move(pFailure));
    }

private:
    void work(int worker) {
        const SharedTaskScope scope;
        for (;;) {
            const std::size_t i = next.fetch_add(1, std::memory_order_relaxed);
            // All below the lowest failed one have been handed out before it.
            if (i >= numTasks || i > lowestFailed.load(std::memory_order_relaxed)) return;
            try {
                runTask(pTasks, i, worker);
            } catch (...) {
                fail(i, std::current_exception());
            }
            if (worker == callingThread) poll(i);
        }
    }
    // Long loops are cancelled between their tasks too.
    void poll(std::size_t i) {
        try {
            if (pRun) pRun->poll();
        } catch (...) {
            fail(i, std::current_exception());
        }
    }
    void fail(std::size_t i, std::exception_ptr pWhy) {
        const std::lock_guard lock(mutex);
        if (i > lowestFailed) return;
        lowestFailed = i;
        pFailure = std::move(pWhy);
    }

    Run* const pRun;
    const std::size_t numTasks;
    void* const pTasks;
    const RunTask runTask;
    std::atomic<std::size_t> next = 0;
    std::atomic<std::size_t> lowestFailed = ~std::size_t{0};
    std::mutex mutex;  // of the rest
    std::condition_variable cv;
    std::exception_ptr pFailure;
    int numHelpers = 0;
    bool bClosed = false;
};

std::shared_ptr<SharedTasks> askForHelp(std::size_t numTasks, void* pTasks, SharedTasks::RunTask runTask) {
    const auto numThreads = static_cast<int>(std::min<std::size_t>(getLoopThreads(numTasks), numTasks));
    if (numThreads < 2) return nullptr;
    std::shared_ptr<SharedTasks> pShared;
    try {
        TaskPool& pool = getTaskPool();
        pool.grow(numThreads - 1);
        const int numHelpers = std::min(numThreads - 1, pool.numWorkers.load());
        if (numHelpers == 0) return nullptr;
        pShared = std::make_shared<SharedTasks>(numTasks, pTasks, runTask);
        for (int i = 0; i < numHelpers; ++i) pool.push([pShared](int worker) { pShared->help(worker); });
    } catch (const std::bad_alloc&) {
        // Goes on with those that were asked.
    }
    return pShared;
}

}  // namespace

void shareTasks(std::size_t numTasks, void* pTasks, void (*runTask)(void* pTasks, std::size_t i, int worker)) {
    if (const auto pShared = askForHelp(numTasks, pTasks, runTask)) return pShared->finish();
    for (std::size_t i = 0; i < numTasks; ++i) runTask(pTasks, i, callingThread);
}

unsigned getLoopThreads(std::size_t n) {
    // Asking for the hardware threads costs microseconds, so n comes first.
    if (n < 2 || bInSharedTask) return 1;
    const unsigned numThreads = getNumThreads();
    if (numThreads < 2 || getTaskPool().isStopped()) return 1;
    return numThreads;
}

std::vector<std::size_t> getChunkBounds(std::size_t n, std::size_t minChunk) {
    if (n == 0) return {0};
    const std::size_t maxChunks = n / std::max<std::size_t>(minChunk, 1);
    const unsigned numThreads = maxChunks < 2 ? 1 : getLoopThreads(n);
    const std::size_t numChunks = numThreads < 2 ? 1 : std::min(maxChunks, 2 * std::size_t{numThreads});
    std::vector<std::size_t> vBounds(numChunks + 1);
    const std::size_t size = n / numChunks;
    const std::size_t numLonger = n % numChunks;  // the first ones take one more each
    for (std::size_t i = 0; i <= numChunks; ++i) vBounds[i] = i * size + std::min(i, numLonger);
    return vBounds;
}

}  // namespace QUOR_ZEF
