#pragma once

#include "zef/export.h"

namespace QUOR_ZEF {

// Bounds the threads that the library uses, for the whole process: 1 runs
// everything on the calling thread, 0 goes back to all hardware threads (the
// default). No result depends on it. Not to be called while a run is going on.
ZEF_API void setNumThreads(unsigned numThreads);

}  // namespace QUOR_ZEF
