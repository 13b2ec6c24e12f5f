#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>

#include "frame/FirstValue.h"
#include "zef/Context.h"
#include "zef/ProgressBase.h"

namespace QUOR_ZEF {

class Progress;

// The state of one call that has surroundings of its own: threads, progress, messages,
// and what else would otherwise be the process's. A thread that works for the call finds
// it by getRun(); the loops hand it on to the workers.
//
// Threads without a Run are those of entries that talk on standard output and share the
// process's state: whoever asks getRun() does that where it is null.
class Run : private ProgressBase {
public:
    // context: borrowed.
    explicit Run(const Context& context_) : context(context_) {}
    ~Run() override;
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

    unsigned numThreads() const { return context.threads; }  // 0: all
    // Hands the line to the sink, if there is one. From any thread.
    void message(Severity severity, std::string_view text);
    // What went wrong, for the exception that is about to end the call. From any thread.
    void setError(const std::string& text);
    std::string getError();
    // A stage begins, on the calling thread.
    void enterStage(const std::string& tag);
    // What is done of the whole is this by new weights of its stages: what is left of the share runs
    // over the rest.
    void continueFrom(double value);
    // The stage goes on: repeats what was reported a while ago. On a worker it only ends what
    // the caller has cancelled.
    void poll();

    // What poll() calls before it reports, on the calling thread; may be empty.
    std::function<void()> beforeReport;

    // Whether the caller knows that there are fewer threads than wanted.
    std::atomic<bool> bToldOfFewThreads = false;

    // The least area on which a plane is fitted: that of the first cloud of the call.
    FirstValue minArea;

private:
    friend class RunScope;

    const Context& context;
    std::mutex mutex;  // of the sink, error and bCancelled
    std::string error;
    std::string stageTag;
    double reached = 0.0;
    double fromValue = 0.0, fromShare = 0.0;  // from where on shares follow values
    bool bCancelled = false;                  // guarded by mutex
    std::chrono::steady_clock::time_point lastReport = std::chrono::steady_clock::now();

    void update(const std::string& name, double value) override;
    void report();
};

// That of the calling thread; null if it has none.
Run* getRun();

// Lets long serial loops be cancelled: to be called with a count.
inline void pollRun(std::size_t count) {
    constexpr std::size_t betweenLooks = 256;
    if (count % betweenLooks != 0) return;
    if (Run* const pRun = getRun()) pRun->poll();
}

// Makes a Run the calling thread's for the life of this, with a progress root of its own.
class RunScope {
public:
    explicit RunScope(Run& run);
    ~RunScope();
    RunScope(const RunScope&) = delete;
    RunScope& operator=(const RunScope&) = delete;

private:
    Run* pBefore;
    Progress* pRootBefore;
};

// Lets a worker belong to a Run while it does a job of it. pRun: null for none.
class WorkerScope {
public:
    explicit WorkerScope(Run* pRun);
    ~WorkerScope();
    WorkerScope(const WorkerScope&) = delete;
    WorkerScope& operator=(const WorkerScope&) = delete;

private:
    Run* pBefore;
    bool bBefore;
};

}  // namespace QUOR_ZEF
