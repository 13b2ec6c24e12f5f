#pragma once

#include <utility>
#include <vector>

#include "frame/types.h"
#include "gaps/Filler.h"
#include "gaps/LocalPlanes.h"
#include "grid/coarseCodes.h"
#include "store/CodeMap.h"

namespace QUOR_ZEF {

// Finds in a filling the cells that lead straight across a gap from one piece of the cloud to
// another and go on with the surface of both: what closes a crack whose ends are open. A crack counts
// where it is at least half as long as it is wide.
//
// For the Components of one Filler, which must outlive it. Threads: any number may ask.
class Bridges {
public:
    // Once the pieces are joined. O(n) in the cells of the cloud.
    explicit Bridges(const Filler& filler);
    // Among coarse cells, two cells wide. vCoarsePoints: the cells of the cloud with their samples, sorted; borrowed.
    Bridges(const Filler& filler, const std::vector<std::pair<uint64, Point3>>& vCoarsePoints);

    // Of the filling vZero (sorted) of a merged Component, sorted. O(n) in the cells, about a
    // microsecond each.
    std::vector<uint64> find(const Component& component, const std::vector<uint64>& vZero) const;

private:
    uint64 cellOf(uint64 rcd) const { return bCoarse ? coarseCodeOf(rcd) : rcd; }
    void gatherPieces(const Filler& filler);

    bool bCoarse = false;
    LocalPlanes planes;  // of the cloud
    CodeMap pieces;      // the border cells of larger pieces with their numbers
};

}  // namespace QUOR_ZEF
