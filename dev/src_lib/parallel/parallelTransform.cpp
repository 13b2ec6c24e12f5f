#include "parallel/parallelTransform.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "frame/Run.h"
#include "frame/tools.h"
#include "parallel/TaskPool.h"
#include "parallel/spin.h"

namespace QUOR_ZEF {

namespace {

class Loop;
class Team;

// What the thread works on; null outside of all loops.
struct Place {
    Team* pTeam = nullptr;
    const Loop* pLoop = nullptr;
    int worker = callingThread;
};
thread_local Place here;

// Lives on the stack of the thread that runs the loop. A helper is let in and out by the team.
class Loop {
public:
    using RunTask = void (*)(void* pTasks, std::size_t i, int worker);

    Loop(std::size_t numTasks_, void* pTasks_, RunTask runTask_)
        : pAround(here.pLoop), numTasks(numTasks_), pTasks(pTasks_), runTask(runTask_) {}

    bool hasWork() const {
        const std::size_t i = next.load(std::memory_order_relaxed);
        return i < numTasks && i <= lowestFailed.load(std::memory_order_relaxed);
    }
    bool isInside(const Loop& loop) const {
        const Loop* p = pAround;
        while (p && p != &loop) p = p->pAround;
        return p != nullptr;
    }
    void work(Team& team, int worker, Run* pRun) {
        const Place before = std::exchange(here, {&team, this, worker});
        for (;;) {
            const std::size_t i = next.fetch_add(1, std::memory_order_relaxed);
            // All below the lowest failed one have been handed out before it.
            if (i >= numTasks || i > lowestFailed.load(std::memory_order_relaxed)) break;
            try {
                runTask(pTasks, i, worker);
            } catch (...) {
                fail(i, std::current_exception());
            }
            poll(i, pRun);
        }
        here = before;
    }
    // Long loops are cancelled between their tasks too.
    void poll(std::size_t i, Run* pRun) {
        try {
            if (pRun) pRun->poll();
        } catch (...) {
            fail(i, std::current_exception());
        }
    }
    void throwFailure() {
        if (pFailure) std::rethrow_exception(std::move(pFailure));
    }

    const Loop* const pAround;  // in one of whose tasks it runs
    const std::size_t numTasks;
    int numHelpers = 0;  // inside, but for the thread that runs the loop; guarded by the team's mutex

private:
    void fail(std::size_t i, std::exception_ptr pWhy) {
        const std::lock_guard lock(failureMutex);
        if (i > lowestFailed) return;
        lowestFailed = i;
        pFailure = std::move(pWhy);
    }

    void* const pTasks;
    const RunTask runTask;
    std::atomic<std::size_t> next = 0;
    std::atomic<std::size_t> lowestFailed = ~std::size_t{0};
    std::mutex failureMutex;
    std::exception_ptr pFailure;
};

// The threads of a loop that is in no other one, and of those inside it: the thread that runs it
// and workers that come when there is work for them, and leave when there is none. Helpers that
// start late outlive the loop, so they own the team together.
class Team : public std::enable_shared_from_this<Team> {
public:
    static constexpr std::chrono::milliseconds betweenPolls{50};

    explicit Team(unsigned numThreads_) : numThreads(numThreads_), pRun(getRun()) {}

    const unsigned numThreads;

    // Comes back when all is done and nobody is inside any more.
    void run(Loop& loop) {
        const int worker = here.worker;
        open(loop);
        loop.work(*this, worker, pRun);
        std::unique_lock lock(mutex);
        std::erase(vOpen, &loop);
        --numBusy;
        while (loop.numHelpers > 0) {
            if (helpOnce(&loop, worker, lock) || waitShortly(lock)) continue;
            ++numAsleep;
            const bool bWoken = cv.wait_for(lock, betweenPolls) == std::cv_status::no_timeout;
            --numAsleep;
            if (bWoken) continue;
            lock.unlock();
            loop.poll(loop.numTasks, pRun);
            lock.lock();
        }
        ++numBusy;
        if (loop.pAround) return;
        bClosed = true;
        changed();
    }

    bool hasIdle() const { return numBusy.load(std::memory_order_relaxed) < static_cast<int>(numThreads); }

private:
    // Asks for as many helpers as have something to do; on a worker each of them calls help().
    void open(Loop& loop) {
        std::size_t numAsked = 0, numComing = 0;
        try {
            {
                const std::lock_guard lock(mutex);
                vOpen.push_back(&loop);
                numAsked = std::min<std::size_t>(loop.numTasks, numThreads) - 1;
                numAsked = std::min<std::size_t>(numAsked, numThreads - 1 - static_cast<unsigned>(numHelpers));
                numHelpers += static_cast<int>(numAsked);
                changed();
            }
            if (numAsked == 0) return;
            TaskPool& pool = getTaskPool();
            pool.grow(static_cast<int>(numThreads) - 1);
            for (; numComing < numAsked && pool.numWorkers > 0; ++numComing) {
                pool.push([pTeam = shared_from_this()](int worker) { pTeam->help(worker); });
            }
        } catch (const std::bad_alloc&) {
            // Goes on with those that were asked.
        }
        if (numComing == numAsked) return;
        const std::lock_guard lock(mutex);
        numHelpers -= static_cast<int>(numAsked - numComing);
    }
    void help(int worker) {
        const WorkerScope scope(pRun);
        std::unique_lock lock(mutex);
        while (!bClosed && (helpOnce(nullptr, worker, lock) || waitShortly(lock))) continue;
        --numHelpers;
    }
    // False if there is nothing to do. pWithin: only in loops inside this one, as others would keep the thread
    // from going on with it. Large tasks come first, which are those of the outer loops.
    bool helpOnce(const Loop* pWithin, int worker, std::unique_lock<std::mutex>& lock) {
        const auto it = std::find_if(vOpen.begin(), vOpen.end(), [&](const Loop* p) {
            return p->hasWork() && (!pWithin || p->isInside(*pWithin));
        });
        if (it == vOpen.end()) return false;
        Loop& loop = **it;
        ++loop.numHelpers;
        ++numBusy;
        lock.unlock();
        loop.work(*this, worker, pRun);
        lock.lock();
        --numBusy;
        if (--loop.numHelpers == 0) changed();
        return true;
    }
    // To be called with the mutex.
    void changed() {
        numChanges.fetch_add(1, std::memory_order_relaxed);
        if (numAsleep > 0) cv.notify_all();
    }
    // Falling asleep and being woken takes longer than most pauses between two loops. False if nothing changes.
    bool waitShortly(std::unique_lock<std::mutex>& lock) {
        const unsigned before = numChanges.load(std::memory_order_relaxed);
        lock.unlock();
        const bool bChanged = spinUntil([&] { return numChanges.load(std::memory_order_relaxed) != before; });
        lock.lock();
        return bChanged || numChanges.load(std::memory_order_relaxed) != before;
    }

    Run* const pRun;
    std::atomic<unsigned> numChanges = 0;  // loops opened, and left by their last helper
    std::atomic<int> numBusy = 1;          // threads that do not wait
    std::mutex mutex;                      // of the rest
    std::condition_variable cv;
    std::vector<Loop*> vOpen;  // in the order of their beginning
    int numHelpers = 0;        // asked, on their way or here
    int numAsleep = 0;
    bool bClosed = false;
};

// Once a call; loops work with those that there are.
void tellOfFewThreads(unsigned numThreads) {
    Run* const pRun = getRun();
    if (!pRun) return;
    TaskPool& pool = getTaskPool();
    pool.grow(static_cast<int>(numThreads) - 1);
    const int num = pool.numWorkers + 1;
    if (num >= static_cast<int>(numThreads) || pRun->bToldOfFewThreads.exchange(true)) return;
    showWarning("threads", "Of " + std::to_string(numThreads) + " threads the system lends " + std::to_string(num));
}

void runSerially(std::size_t numTasks, void* pTasks, Loop::RunTask runTask) {
    Run* const pRun = getRun();
    for (std::size_t i = 0; i < numTasks; ++i) {
        runTask(pTasks, i, callingThread);
        if (pRun) pRun->poll();
    }
}

}  // namespace

void shareTasks(std::size_t numTasks, void* pTasks, void (*runTask)(void* pTasks, std::size_t i, int worker)) {
    const unsigned numThreads = getLoopThreads(numTasks);
    if (numThreads < 2) return runSerially(numTasks, pTasks, runTask);
    std::shared_ptr<Team> pOwn;
    try {
        if (!here.pTeam) {
            tellOfFewThreads(numThreads);
            pOwn = std::make_shared<Team>(numThreads);
        }
    } catch (const std::bad_alloc&) {
        return runSerially(numTasks, pTasks, runTask);
    }
    Loop loop(numTasks, pTasks, runTask);
    (pOwn ? pOwn.get() : here.pTeam)->run(loop);
    loop.throwFailure();
}

unsigned getLoopThreads(std::size_t n) {
    // Asking for the hardware threads costs microseconds, so n comes first.
    if (n < 2) return 1;
    // While all are at work nobody would come.
    if (here.pTeam) return here.pTeam->hasIdle() ? here.pTeam->numThreads : 1;
    const unsigned numThreads = getNumThreads();
    if (numThreads < 2 || getTaskPool().isStopped()) return 1;
    return numThreads;
}

std::vector<std::size_t> getChunkBounds(std::size_t n, std::size_t minChunk) {
    if (n == 0) return {0};
    const std::size_t maxChunks = n / std::max<std::size_t>(minChunk, 1);
    // A call that can be cancelled looks for that between chunks, so that those of long loops are no longer than this.
    constexpr std::size_t longestToCancel = 1 << 14;
    const unsigned numThreads = maxChunks < 2 ? 1 : getLoopThreads(n);
    const std::size_t numWanted =
        std::max(numThreads < 2 ? 1 : 2 * std::size_t{numThreads}, getRun() ? n / longestToCancel : 0);
    const std::size_t numChunks = std::clamp<std::size_t>(maxChunks, 1, numWanted);
    std::vector<std::size_t> vBounds(numChunks + 1);
    const std::size_t size = n / numChunks;
    const std::size_t numLonger = n % numChunks;  // the first ones take one more each
    for (std::size_t i = 0; i <= numChunks; ++i) vBounds[i] = i * size + std::min(i, numLonger);
    return vBounds;
}

}  // namespace QUOR_ZEF
