#pragma once

#include <vector>

#include "field/CornerStore.h"
#include "frame/types.h"

namespace QUOR_ZEF {

// True if the zero level crosses the edge between two corners. Active ones must not have a val of 0.
bool isCrossed(const Corner& source, const Corner& target);

// Those active corners that have an active neighbour of the other sign, in order of creation. Parallel.
std::vector<const Corner*> findCrossed(const CornerStore& store);

// The cells at the edges that the zero level crosses, sorted. Parallel.
std::vector<uint64> findCrossedCells(const CornerStore& store);

}  // namespace QUOR_ZEF
