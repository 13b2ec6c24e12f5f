#pragma once

#include <vector>

#include "field/Corner.h"
#include "frame/types.h"
#include "grid/Calc.h"
#include "grid/CodeMap.h"
#include "parallel/SimplePool.h"

namespace QUOR_ZEF {

// The Corners of one Component with their adjacency, which is complete at all times.
// Corners are owned by the store, never move and never leave it.
// Fewer than 2^31 of them. Memory: 48 bytes a Corner, 8 for its place, 32 to 64 for its code.
//
// Threads: one at a time; parallel loops may read Corners while none is created,
// and write val, weight and state of those that no other chunk reads or writes.
class CornerStore {
public:
    const Calc* pCalc;              // not owned
    std::vector<Corner*> vCorners;  // in order of creation

    explicit CornerStore(const Calc* pCalc);

    // A new Corner, unassigned, linked with those of its six grid neighbours that
    // exist. rcc must not be in the store yet. About 100 ns.
    Corner* createCorner(uint64 rcc);
    // Null if there is none.
    Corner* getCorner(uint64 rcc) const;
    bool hasCorner(uint64 rcc) const { return indices.find(rcc) != CodeMap::npos; }

    // Appends the neighbours in the order of the slots. A vNeigs that isn't empty fails an ASSEX.
    void getNeigs(const Corner* pCorner, std::vector<Corner*>& vNeigs) const;
    std::vector<Corner*>& getAllCorners() { return vCorners; }

    // Appends the RCC of the Corners from which the field can still grow, in order of
    // creation: with a free slot, |val| below limit and val not 0. Parallel, so not
    // for use inside a job of the pool.
    void getGrowRCC(double limit, std::vector<uint64>& vOut) const;

private:
    SimplePool<Corner> pool;
    CodeMap indices;  // RCC to place in vCorners
};

}  // namespace QUOR_ZEF
