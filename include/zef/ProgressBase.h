#pragma once

#include <string>

#include "zef/export.h"

namespace QUOR_ZEF {

// Base class of whoever wants to follow a run.
class ZEF_API ProgressBase {
public:
    virtual ~ProgressBase();

    // name: the run, such as "Reconstruct". value: how much of it is done, 0 to 1;
    // it can fall a little when a stage finds more work than expected.
    // Called on the thread that runs, about 200 times a stage, with locks held:
    // return quickly and call nothing of the library. Throwing is the way to
    // cancel: the exception leaves the running call, which frees what it holds.
    virtual void update(const std::string& name, double value) = 0;
};

// Follows all later runs of the calling thread, until another subscriber takes
// its place. pSubscriber is not owned and must outlive those runs; null is ignored.
ZEF_API void subscribe(ProgressBase* pSubscriber);

// Ends the following that subscribe() began on the calling thread.
ZEF_API void unsubscribe();

}  // namespace QUOR_ZEF
