#include "parallel/TaskPool.h"

#include <algorithm>

#include "parallel/concurrency.h"

namespace QUOR_ZEF {

TaskPool::TaskPool(int numThreads) {
    resize(numThreads);
}

TaskPool::~TaskPool() {
    stop(true);
}

void TaskPool::resize(int numThreads) {
    if (isStopped()) return;
    const std::size_t wanted = static_cast<std::size_t>(std::max(numThreads, 1));
    while (vThreads.size() < wanted) startWorker(static_cast<int>(vThreads.size()));
    if (vThreads.size() == wanted) return;
    {
        const std::lock_guard lock(mutex);
        for (std::size_t i = wanted; i < vFlags.size(); ++i) *vFlags[i] = true;
    }
    cv.notify_all();
    // Joined, not detached: a worker that lives on could outlive the pool.
    for (std::size_t i = wanted; i < vThreads.size(); ++i) vThreads[i]->join();
    vThreads.resize(wanted);
    vFlags.resize(wanted);
}

void TaskPool::startWorker(int i) {
    auto pFlag = std::make_shared<std::atomic<bool>>(false);
    // The thread owns copies of its arguments from its construction on.
    vThreads.push_back(std::make_unique<std::thread>([this, i, pFlag] { work(i, pFlag); }));
    vFlags.push_back(std::move(pFlag));
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
    std::unique_lock lock(mutex);
    ++numWaiting;
    cv.wait(lock, [&] { return !queue.empty() || bDone || bEnd; });
    --numWaiting;
    if (queue.empty()) return false;
    job = std::move(queue.front());
    queue.pop_front();
    return true;
}

std::future<void> TaskPool::enqueue(Job job) {
    std::future<void> future = job.get_future();
    if (std::unique_lock lock(mutex); !isStopped()) {
        queue.push_back(std::move(job));
        lock.unlock();
        cv.notify_one();
        return future;
    }
    job(0);  // no worker will ever come
    return future;
}

void TaskPool::stop(bool bWait) {
    std::deque<Job> vDropped;
    {
        const std::lock_guard lock(mutex);
        if (bStop || (bWait && bDone)) return;
        (bWait ? bDone : bStop) = true;
        if (!bWait) {
            for (const auto& pFlag : vFlags) *pFlag = true;
            vDropped.swap(queue);
        }
    }
    // Freed before the joins: a running job may wait for whoever waits for these.
    vDropped.clear();
    cv.notify_all();
    for (const auto& pThread : vThreads) pThread->join();
    vThreads.clear();
    vFlags.clear();
}

TaskPool& getTaskPool() {
    static TaskPool pool(static_cast<int>(getNumThreads()));
    return pool;
}

}  // namespace QUOR_ZEF
