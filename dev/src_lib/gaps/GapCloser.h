#pragma once

#include <functional>
#include <vector>

#include "frame/types.h"
#include "grid/Bundle.h"

namespace QUOR_ZEF {

class Calc;
class Filler;

// A connected piece of filling, and which part of its border cells share a grid
// corner with a border cell of the cloud; 1 if there are fewer than 10 of them.
struct ZeroComponent {
    double ratio;
    std::vector<uint64> vCells;  // sorted
};

// Closes the gaps of a thinned cell set. Takes cells and a grid and knows nothing
// of where they come from. One thread at a time; sorts and the field use the pool.
class GapCloser {
public:
    const Calc* pCalc;                           // not owned
    int numGrowSteps;                            // how far gaps are closed, in layers of corners; above 0
    bool bKeepBorders;                           // gaps are filled without moving open borders
    bool bUneven = false;                        // parts of the scan are sparse; progress only depends on it
    bool bGrowFar = false;                       // with bKeepBorders: what stays open is filled by farther growth
    std::function<void()> beforeGrowth = [] {};  // called when pieces are joined; by fillInsideBorders() alone

    GapCloser(const Calc& calc, int growSteps, bool bKeep)
        : pCalc(&calc), numGrowSteps(growSteps), bKeepBorders(bKeep) {}

    // ---- GapCloser.cpp

    // Appends the cells that close gaps, with samples, ascending. vAllRmg: the cells of
    // vRemainingRCDPoint; both sorted. With bKeepBorders: fillInsideBorders().
    void fillGaps(const std::vector<uint64>& vAllRmg, std::vector<RCDPoint>& vRemainingRCDPoint) const;

    // Appends to vOut what remains of the filling: its thick places are thinned, and
    // components with a ratio below 0.3 are peeled from their rims as well.
    // vLocalArea, vLocalBorder: the cells of the cloud, sorted; emptied. vRCD2ZeroPoint:
    // the filling; sorted. Lists that overlap or repeat a cell fail an ASSEX.
    void pruneZeros(std::vector<uint64>& vLocalArea, std::vector<uint64>& vLocalBorder,
                    std::vector<RCDPoint>& vRCD2ZeroPoint, std::vector<RCDPoint>& vOut) const;

    // Appends the components of vZeroRCD by their smallest code. vLocalBorder: sorted.
    void rateZeroComponents(const std::vector<uint64>& vZeroRCD, const std::vector<uint64>& vLocalBorder,
                            std::vector<ZeroComponent>& vOut) const;

    // ---- GapCloser_borders.cpp: while open borders stay where they are. All lists are sorted.

    // Adds a cell where a sheet one cell thick has a hole of one cell. Samples that lie densely
    // still miss cells of which the surface cuts off a corner only. There the thinning would let the
    // outside in, and each of them would be a gap to fill. vCodes: the cells of vCloud.
    void closePinholes(std::vector<uint64>& vCodes, std::vector<RCDPoint>& vCloud) const;

    // As fillGaps(). Small holes are closed first. The field grows from the cells of the cloud without what makes its
    // rims thick. Of what it gives only that remains which parts empty regions that would be one without it, and what
    // leads over cracks between pieces; surfaces face to face are not joined. All other cells of the cloud stay, but
    // for those that made a rim thick where the filling has gone on from it. vCodes: the cells of vCloud.
    void fillInsideBorders(std::vector<uint64> vCodes, std::vector<RCDPoint>& vCloud) const;

    // Adds to the filling the cells at its seam with vSeam, cells of the cloud, without
    // which two regions of empty cells would be one; and the empty pockets that it walls in, so
    // that of a wall that stands before measured surface nothing remains.
    void tightenFilling(const std::vector<uint64>& vSeam, const std::vector<RCDPoint>& vCloud,
                        std::vector<RCDPoint>& vRCD2ZeroPoint) const;

    // Takes from the filling, but for the bridges in it, what these cells do not hold on all sides.
    void peelFilling(const std::vector<uint64>& vCells, const std::vector<uint64>& vBridges,
                     std::vector<RCDPoint>& vFilled) const;

private:
    bool bLeaveBases = false;  // see GrowthChoice
    std::vector<uint64> thickCellsOf(const std::vector<uint64>& vCodes, const std::vector<RCDPoint>& vCloud,
                                     const std::vector<uint64>& vCandidates) const;
    void closeSmallHoles(std::vector<uint64>& vCodes, std::vector<uint64>& vThick, std::vector<RCDPoint>& vCloud) const;
    void growFar(std::vector<RCDPoint>& vCloud) const;
    void limitGrowth(Filler& filler, const std::vector<RCDPoint>& vCloud, const std::vector<uint64>& vThick) const;
    std::vector<uint64> findDoomedZeros(const std::vector<uint64>& vArBorZer, const std::vector<uint64>& vLocalBorder,
                                        const std::vector<RCDPoint>& vRCD2ZeroPoint) const;
};

}  // namespace QUOR_ZEF
