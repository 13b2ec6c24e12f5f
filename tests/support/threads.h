#pragma once

#include "zef/threads.h"

namespace QUOR_ZEF {

// Runs the library with this many threads until the end of the scope.
struct ThreadCount {
    explicit ThreadCount(unsigned numThreads) { setNumThreads(numThreads); }
    ~ThreadCount() { setNumThreads(0); }
    ThreadCount(const ThreadCount&) = delete;
    ThreadCount& operator=(const ThreadCount&) = delete;
};

}  // namespace QUOR_ZEF
