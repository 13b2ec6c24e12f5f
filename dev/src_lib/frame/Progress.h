#pragma once

#include <cstddef>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "frame/types.h"
#include "zef/ProgressBase.h"

namespace QUOR_ZEF {

// A node of the calling thread's progress tree. The entry of a run plans the
// root's children with their weights; a stage takes its child by name and ticks
// it; the root's value is the weighted mean of its children.
//
// Threads: every thread has a root of its own, and a node is ticked by one
// thread only. Each node's mutex guards what getValue() and notify() read; they
// are locked from the root downwards.
// Cost: a tick is two increments and a compare but for about 200 ticks a stage,
// which lock and notify.
class Progress {
public:
    std::map<std::string, Progress*> mNameKids;  // owned
    std::string name;                            // "empty": a root that is not in use
    double weight = 1.0;                         // this node's share in its parent
    ProgressBase* pSubscriber = nullptr;         // not owned; only on a root
    Progress* pParent = nullptr;                 // null on a root
    mutable std::recursive_mutex mutex;
    uint64 todo = 1;         // expected ticks
    uint64 done = 0;         // ticks so far, at most todo
    uint64 notifyEvery = 1;  // ticks between notifications
    uint64 sinceNotify = 0;
    double lastValue = -1.0;  // the last value reported
    int64 startTime;          // nanoseconds of the monotonic clock

    Progress(std::string nodeName, double nodeWeight, Progress* pParentNode);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    // Fails an ASSEX on a root that has no name yet.
    void createChild(const std::string& childName, double childWeight);

    // A stage's entry: its child, with ticks expected from now on. A child that
    // has worked already keeps its value and takes the ticks on top.
    // A child that was not planned fails an ASSEX.
    Progress* getChildProgressSetTodo(const std::string& childName, uint64 childTodo);

    void setTodo(uint64 newTodo);
    // 0 to 1. Not forced to rise.
    double getValue() const;
    // The sum over the children of what they are worth, in the unit of their weights.
    double getCostDone() const;
    // Of a child: another weight, and how much of it is done.
    void setCost(double cost, uint64 numDone, uint64 numTodo);
    void tick(uint64 num = 1);
    // Marks this node, or all its children, as done.
    void finish(bool bNotify);
    // Reports the root's value to the subscriber if it changed.
    void notify(const std::string& text);
    // Makes a root unused again: frees its children, keeps its subscriber.
    void reset();

private:
    uint64 notificationStep() const;
};

// The calling thread's root; made on first use, never freed. Only the first call
// of a thread locks.
Progress* getProgress();
// Puts a root of the caller's in its place, until the next exchange. Returns the one
// that was given before, null for the thread's own.
Progress* exchangeProgressRoot(Progress* pRoot);

// Stages with their weights.
using ProgressPlan = std::vector<std::pair<std::string, double>>;

// Resets the calling thread's root and plans it: its name, then its children.
void planProgress(const std::string& name, const ProgressPlan& plan);

// Plans the calling thread's root unless a run of another name has planned all
// these children, so that a mesh operation runs alone as well as inside a planned
// run. A plan of another kind may have left the root without them; a plan of this
// name was left behind by an exception, since no operation runs inside itself.
// Returns true if it planned, so that the caller finishes and resets the root.
bool ensureProgressPlan(const std::string& name, const ProgressPlan& plan);

// More is known of what the planned stages cost than when they were planned: gives them these weights. What was
// told stays, and what is left of it runs over the stages that are left. Does nothing for the older entries,
// and for stages that are through or not planned.
void reweighStages(const ProgressPlan& costs);

// What a stage expects: the older entries have counts of their own, which many runs do not reach.
uint64 expectedTicks(uint64 real, uint64 classic);

// A stage that not every plan has. Without one in the calling thread's plan nothing is told.
class OptionalStage {
public:
    // growth: for tickByTime(), above -1.
    OptionalStage(const std::string& name, uint64 todo, double growth = 0.0);
    void tick(uint64 num = 1) {
        if (pProgress) pProgress->tick(num);
    }
    // tick() where time tells best what a step costs: a step left is taken to last as long as the last ones, and
    // by up to the share growth longer, the more the more there are. The weight of the stage counts beside that
    // for the first quarter. 0: a first step begins.
    void tickByTime(uint64 num);
    void finish() {
        if (pProgress) pProgress->finish(true);
    }

private:
    Progress* pProgress = nullptr;  // not owned
    double growth;
    uint64 ticksLeft, ticksInAll;
    int64 begin, last;           // nanoseconds of the monotonic clock
    double costOfSecond = 0.0;   // in the unit of the weights; 0: not known
    double planned = 0.0;        // cost of the stage
    double secondsOfTick = 0.0;  // of the last ones; 0: not known
};

// A stage for which several threads work. It is ticked on the one that made it; the ticks of others count with
// the next ones of its own, or when its Run reports next. One at a time.
class SharedStage {
public:
    SharedStage(const std::string& name, uint64 todo, double growth);
    ~SharedStage();
    SharedStage(const SharedStage&) = delete;
    SharedStage& operator=(const SharedStage&) = delete;
    void tickByTime(bool bOwnThread, uint64 num);
    void finish() { stage.finish(); }

private:
    void tickPending();

    OptionalStage stage;
    std::mutex mutex;       // of numPending
    uint64 numPending = 0;  // ticks of other threads
};

// An OptionalStage for loops over the rows of a file, on the calling thread: tells how far they are,
// and lets the call be cancelled, whatever it has planned. A step is two increments and a
// compare but for one in 256.
class RowStage {
public:
    RowStage(const std::string& name, uint64 todo) : stage(name, todo) {}
    void step(uint64 num = 1) {
        pending += num;
        if (++numSteps % stepsPerLook == 0) look();
    }
    void finish() { stage.finish(); }

private:
    static constexpr uint64 stepsPerLook = 256;
    OptionalStage stage;
    uint64 numSteps = 0, pending = 0;

    void look();
};

}  // namespace QUOR_ZEF
