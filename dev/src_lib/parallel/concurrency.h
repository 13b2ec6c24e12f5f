#pragma once

namespace QUOR_ZEF {

// How many threads the loops and sorts of the calling thread reckon with: what its Run
// wants, or else what setNumThreads() gave, either of them at most
// TaskPool::maxWorkers; or else the machine's hardware threads, read anew at each
// call, 0 if unknown.
unsigned getNumThreads();

}  // namespace QUOR_ZEF
