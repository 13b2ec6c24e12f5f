#pragma once

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace QUOR_ZEF {

// Worker threads with one queue, first in, first out. A job is a callable that
// takes the index of the worker that runs it; move-only callables will do.
// What a job throws stays in its future: the worker and the pool go on.
// push() and grow() may be called from any thread, resize() and stop() only from
// outside the pool. A job must not wait for another job: all workers could end up
// waiting for jobs that no one runs. The loops (parallelTransform.h) do not.
//
// Where the system lends no thread, or no memory for one, the pool works with
// those that it has, and with none of them push() runs the job itself.
class TaskPool {
public:
    using Job = std::packaged_task<void(int)>;
    using StartThread = std::thread (*)(std::function<void()>);

    static constexpr int maxWorkers = 256;

    std::vector<std::unique_ptr<std::thread>> vThreads;      // the workers, guarded by sizeMutex
    std::vector<std::shared_ptr<std::atomic<bool>>> vFlags;  // one stop flag per worker, shared with it
    std::atomic<int> numWorkers = 0;                         // vThreads.size()
    std::deque<Job> queue;                                   // pending jobs, guarded by mutex
    std::atomic<int> numQueued = 0;                          // queue.size(), for looks without the lock
    std::atomic<bool> bDone = false;                         // stop(true): finish the queue, then end
    std::atomic<bool> bStop = false;                         // stop(false): end now
    std::atomic<int> numWaiting = 0;                         // workers asleep on cv
    mutable std::mutex mutex;                                // guards the queue, the stop flags and the sleep on cv
    std::mutex sizeMutex;                                    // locked before mutex, never after it
    std::condition_variable cv;
    std::atomic<StartThread> startThread;  // how workers come to life

    // Does not fail for want of threads.
    explicit TaskPool(int numThreads, StartThread start = startPlainThread);
    // Finishes the queue first, like stop(true).
    ~TaskPool();
    TaskPool(const TaskPool&) = delete;
    TaskPool& operator=(const TaskPool&) = delete;

    // Starts or ends workers until there are numThreads of them, at least one and at
    // most maxWorkers. Ending waits for what those workers are running; the queue goes
    // on with the others. Nothing happens once the pool was stopped.
    void resize(int numThreads);

    // Starts workers until there are as many; never ends one. A load and a compare if
    // there are enough.
    void grow(int numThreads);

    // Ends all workers and waits for them. bWait: the queue is worked off first;
    // otherwise waiting jobs are dropped and their futures report a broken
    // promise. There is no way back. A second call does nothing.
    void stop(bool bWait);

    // Queues a job, about a microsecond; the future becomes ready when it has run.
    // On a stopped pool the job runs here and now, with index 0.
    template <class F>
    std::future<void> push(F&& f) {
        return enqueue(Job(std::forward<F>(f)));
    }

    bool isStopped() const { return bDone || bStop; }

private:
    static std::thread startPlainThread(std::function<void()> work);
    std::future<void> enqueue(Job job);
    void startWorkers(int numThreads);
    void startWorker(int i);
    void work(int i, const std::shared_ptr<std::atomic<bool>>& pFlag);
    bool nextJob(Job& job, const std::atomic<bool>& bEnd);
};

// The pool of the process, with getNumThreads() workers at first. Made on first use,
// finished and joined at process exit. A forked child makes its own.
TaskPool& getTaskPool();

}  // namespace QUOR_ZEF
