#pragma once

#include <cstdint>
#include <vector>

#include "frame/types.h"
#include "gaps/Bridges.h"
#include "grid/Bundle.h"
#include "grid/Calc.h"

namespace QUOR_ZEF {

class Filler;

// Tells where the field of a Component closes something if it grows on, by what a CoarseField came
// to: most of the front of an open border grows into the void, and would be taken off again.
//
// For the Components of one Filler, which must outlive it. Threads: any number may ask.
class GrowthChoice {
public:
    // Once the pieces are joined. vCloud: the cells with their samples, sorted. bLeave: nothing is closed where the rim
    // is flat and all else lies on one side of it, as where an object stood. O(n).
    GrowthChoice(const Filler& filler, const std::vector<RCDPoint>& vCloud, bool bLeave = false);

    // Whether the grid is deep enough for cells of twice the size.
    static bool isPossible(const Calc& calc) { return calc.numLevels > 1; }

    // vCrossed: coarse cells that the zero level crosses. vHolding: the cells of the Component, with its
    // thick rims; vSeam: those of its border and these. All sorted. The coarse cells in which to grow, sorted.
    std::vector<uint64> find(const Component& component, const std::vector<uint64>& vHolding,
                             const std::vector<uint64>& vSeam, const std::vector<uint64>& vCrossed) const;

private:
    std::vector<RCDPoint> vPoints;  // of the coarse cells of the cloud
    Calc calc;                      // of coarse cells
    Bridges bridges;                // between coarse cells
    bool bLeaveBases;
};

}  // namespace QUOR_ZEF
