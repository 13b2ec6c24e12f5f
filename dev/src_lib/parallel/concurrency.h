#pragma once

namespace QUOR_ZEF {

// How many threads the loops and sorts reckon with: the machine's hardware
// threads, read anew at each call, or what setNumThreads() gave. 0 if unknown.
unsigned getNumThreads();

}  // namespace QUOR_ZEF
