#pragma once

#include <functional>
#include <vector>

#include "field/CornerStore.h"
#include "frame/types.h"

namespace QUOR_ZEF {

// A copy of a growing field that has every second corner along each axis. It grows on at about a
// twentieth of the cost, and shows where the field will come to.
//
// Threads: one at a time; all of it is parallel inside.
class CoarseField {
public:
    // cellSize: of the field's cells, world units. The field is not kept.
    CoarseField(const CornerStore& field, float cellSize);

    // By two cells a step. maxSourceSteps: in coarse corners, see CornerStore::createGrowthFront(). isInBox: told
    // corners of the field, side by side.
    void grow(int numSteps, int maxSourceSteps, const std::function<bool(uint64 rcc)>& isInBox);
    // The coarse cells at the edges that the zero level crosses now or crossed in the field, sorted.
    std::vector<uint64> findCells() const;

private:
    CornerStore corners;
    float coarseSize;
    std::vector<uint64> vCellsBefore;
};

}  // namespace QUOR_ZEF
