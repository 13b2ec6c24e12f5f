#include "parallel/TaskPool.h"

#include <pthread.h>

#include <algorithm>
#include <new>
#include <system_error>

#include "parallel/concurrency.h"
#include "parallel/spin.h"

namespace QUOR_ZEF {

TaskPool::TaskPool(int numThreads, StartThread start) : startThread(start) {
    resize(numThreads);
}

TaskPool::~TaskPool() {
    stop(true);
}

std::thread TaskPool::startPlainThread(std::function<void()> work) {
    return std::thread(std::move(work));
}

void TaskPool::resize(int numThreads) {
    const std::size_t wanted = static_cast<std::size_t>(std::clamp(numThreads, 1, maxWorkers));
    std::vector<std::unique_ptr<std::thread>> vEnding;
    {
        const std::lock_guard lockSize(sizeMutex);
        if (isStopped()) return;
        startWorkers(static_cast<int>(wanted));
        if (vThreads.size() <= wanted) return;
        vEnding.reserve(vThreads.size() - wanted);
        {
            const std::lock_guard lock(mutex);
            for (std::size_t i = wanted; i < vFlags.size(); ++i) *vFlags[i] = true;
        }
        std::move(vThreads.begin() + static_cast<std::ptrdiff_t>(wanted), vThreads.end(), std::back_inserter(vEnding));
        vThreads.resize(wanted);
        vFlags.resize(wanted);
        numWorkers = static_cast<int>(wanted);
    }
    cv.notify_all();
    // Joined, not detached: a worker that lives on could outlive the pool. Without the
    // lock: what it still runs may want more workers.
    for (const auto& pThread : vEnding) pThread->join();
}

void TaskPool::grow(int numThreads) {
    const int wanted = std::min(numThreads, maxWorkers);
    if (numWorkers >= wanted) return;
    const std::lock_guard lockSize(sizeMutex);
    if (!isStopped()) startWorkers(wanted);
}

// Up to this number, as far as the system lends threads. sizeMutex is held.
void TaskPool::startWorkers(int numThreads) {
    try {
        while (numWorkers < numThreads) startWorker(numWorkers);
    } catch (const std::system_error&) {
    } catch (const std::bad_alloc&) {
    }
}

void TaskPool::startWorker(int i) {
    auto pFlag = std::make_shared<std::atomic<bool>>(false);
    auto pThread = std::make_unique<std::thread>();
    // Once the thread runs, nothing may fail until it has its place.
    vThreads.reserve(vThreads.size() + 1);
    vFlags.reserve(vFlags.size() + 1);
    // The thread owns copies of its arguments from its construction on.
    *pThread = startThread.load()([this, i, pFlag] { work(i, pFlag); });
    vThreads.push_back(std::move(pThread));
    vFlags.push_back(std::move(pFlag));
    ++numWorkers;
}

void TaskPool::work(int i, const std::shared_ptr<std::atomic<bool>>& pFlag) {
    Job job;
    while (nextJob(job, *pFlag)) {
        job(i);
        job = Job();  // frees what the callable holds
        if (*pFlag) return;
    }
}

// False if the worker is to end.
bool TaskPool::nextJob(Job& job, const std::atomic<bool>& bEnd) {
    spinUntil([this] { return numQueued.load(std::memory_order_relaxed) > 0; });
    std::unique_lock lock(mutex);
    ++numWaiting;
    cv.wait(lock, [&] { return !queue.empty() || bDone || bEnd; });
    --numWaiting;
    if (queue.empty()) return false;
    job = std::move(queue.front());
    queue.pop_front();
    --numQueued;
    return true;
}

std::future<void> TaskPool::enqueue(Job job) {
    std::future<void> future = job.get_future();
    if (std::unique_lock lock(mutex); !isStopped() && numWorkers > 0) {
        queue.push_back(std::move(job));
        ++numQueued;
        const bool bWake = numWaiting > 0;
        lock.unlock();
        if (bWake) cv.notify_one();
        return future;
    }
    job(0);  // no worker will ever come
    return future;
}

void TaskPool::stop(bool bWait) {
    std::deque<Job> vDropped;
    std::vector<std::unique_ptr<std::thread>> vEnding;
    {
        const std::lock_guard lockSize(sizeMutex);
        const std::lock_guard lock(mutex);
        if (bStop || (bWait && bDone)) return;
        (bWait ? bDone : bStop) = true;
        if (!bWait) {
            for (const auto& pFlag : vFlags) *pFlag = true;
            vDropped.swap(queue);
            numQueued = 0;
        }
        vEnding.swap(vThreads);
        vFlags.clear();
        numWorkers = 0;
    }
    // Freed before the joins: a running job may wait for whoever waits for these.
    vDropped.clear();
    cv.notify_all();
    for (const auto& pThread : vEnding) pThread->join();
}

namespace {

std::atomic<int> numForks = 0;  // on the way from the first process to this one

// A process that forks leaves its child a pool without workers, maybe with locks that
// nobody will ever open. The child never touches it again and makes its own, so none of
// them is ever destroyed.
struct ProcessPool {
    TaskPool pool{static_cast<int>(getNumThreads())};
    const int ofFork = numForks;
    ProcessPool* pBefore = nullptr;  // that of the process before the fork

    bool isMine() const { return ofFork == numForks; }
};

std::atomic<ProcessPool*> pNewest = nullptr;

// Joins the workers at process exit.
struct PoolEnd {
    PoolEnd() {
        pthread_atfork(nullptr, nullptr, [] { ++numForks; });
    }
    ~PoolEnd() {
        ProcessPool* const pLast = pNewest;
        if (pLast && pLast->isMine()) pLast->pool.stop(true);
    }
};

ProcessPool* addPool(ProcessPool* pBefore) {
    static const PoolEnd end;
    auto pMade = std::make_unique<ProcessPool>();
    pMade->pBefore = pBefore;
    // Another thread may have been faster.
    return pNewest.compare_exchange_strong(pBefore, pMade.get()) ? pMade.release() : pBefore;
}

}  // namespace

TaskPool& getTaskPool() {
    ProcessPool* pPool = pNewest;
    if (!pPool || !pPool->isMine()) pPool = addPool(pPool);
    return pPool->pool;
}

}  // namespace QUOR_ZEF
