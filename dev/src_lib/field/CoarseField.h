#pragma once

#include <functional>
#include <utility>
#include <vector>

#include "field/CornerStore.h"
#include "frame/types.h"

namespace QUOR_ZEF {

// A copy of a growing field that has every second corner along each axis. It grows on at about a
// twentieth of the cost, shows where the field will come to, and lets it go there in one step.
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
    // Creates the corners that the field lacks in these coarse cells, sorted, in the box, where this one has the
    // corners that they lie at or between, whose mean they take.
    void refine(const std::vector<uint64>& vCells, const std::function<bool(uint64 rcc)>& isInBox,
                CornerStore& field) const;

private:
    struct Value {
        float val = 0.0F, weight = 0.0F;
    };
    using Refined = std::pair<uint64, Value>;  // a corner to be made
    // The corners of the field in a coarse cell, of those asked for.
    template <class IsWanted>
    void addRefined(uint64 cell, const IsWanted& isWanted, std::vector<Refined>& vRefined) const;

    CornerStore corners;
    float coarseSize;
    std::vector<uint64> vCellsBefore;
};

}  // namespace QUOR_ZEF
