#pragma once

#include <atomic>
#include <condition_variable>
#include <deque>
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
// push() may be called from any thread, resize() and stop() only from outside
// the pool and by one thread at a time. A job must not wait for another job:
// all workers could end up waiting for jobs that no one runs.
class TaskPool {
public:
    using Job = std::packaged_task<void(int)>;

    std::vector<std::unique_ptr<std::thread>> vThreads;      // the workers
    std::vector<std::shared_ptr<std::atomic<bool>>> vFlags;  // one stop flag per worker, shared with it
    std::deque<Job> queue;                                   // pending jobs, guarded by mutex
    std::atomic<bool> bDone = false;                         // stop(true): finish the queue, then end
    std::atomic<bool> bStop = false;                         // stop(false): end now
    std::atomic<int> numWaiting = 0;                         // workers asleep on cv
    mutable std::mutex mutex;                                // guards the queue, the stop flags and the sleep on cv
    std::condition_variable cv;

    explicit TaskPool(int numThreads);
    // Finishes the queue first, like stop(true).
    ~TaskPool();
    TaskPool(const TaskPool&) = delete;
    TaskPool& operator=(const TaskPool&) = delete;

    // Starts or ends workers until there are numThreads of them, at least one.
    // Ending waits for what those workers are running; the queue goes on with the
    // others. Nothing happens once the pool was stopped.
    void resize(int numThreads);

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
    std::future<void> enqueue(Job job);
    void startWorker(int i);
    void work(int i, const std::shared_ptr<std::atomic<bool>>& pFlag);
    bool nextJob(Job& job, const std::atomic<bool>& bEnd);
};

// The pool of the process, with getNumThreads() workers. Made on first use,
// finished and joined at process exit.
TaskPool& getTaskPool();

}  // namespace QUOR_ZEF
