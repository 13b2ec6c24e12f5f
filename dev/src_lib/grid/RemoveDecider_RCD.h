#pragma once

#include <utility>
#include <vector>

#include "frame/types.h"
#include "grid/Calc.h"
#include "grid/CellBlocks.h"
#include "grid/cellTopology.h"
#include "zef/Point3.h"

namespace QUOR_ZEF {

// Answers what may be taken from a band of occupied cells without tearing the
// surface that it stands for, and thins the band by these answers.
//
// Everywhere a cell exists if it is listed and not doomed; the cell that is asked
// about also exists if it isn't listed. Its opposite is missing.
//
// Lives for one task. Threads: one at a time. The codes are RCD.
class RemoveDecider_RCD {
public:
    // pvCells: all cells, sorted and unique (fails an ASSEX otherwise), borrowed like
    // pGrid: both must outlive this object, and the cells stay as they are.
    // O(n), about 10 ns a cell.
    RemoveDecider_RCD(const std::vector<uint64>* pvCells, const Calc* pGrid);

    const double cellSize;  // along x, world units

    // ---- RemoveDecider_RCD.cpp: questions about a cell, 20 to 100 ns each

    // Looks at this cell: exists_int27() then answers for its block. Returns how
    // many cells of the block are listed, doomed or not; the cell itself counts unless it is doomed.
    int setCenter(uint64 rcd);
    // True if the cell at this block index, 0 to 26, existed at the last setCenter().
    bool exists_int27(int index) const { return existsBits >> index & 1; }

    // What lies behind the cell seen from its face dir, 0 to 5: -x, +x, -y, +y, -z,
    // +z. Unless there is a cell behind, that face must be exposed, or an ASSEX fails. Calls setCenter().
    OppState getOppState(uint64 rcd, int dir);
    // True if removing the cell would join empty regions that are apart now.
    bool isCritical(uint64 rcd) const { return isCriticalBlock(blocks.mask27(rcd)); }
    // True if the cell lies on the rim of a sheet one cell thick, or alone.
    bool isBorder(uint64 rcd) const { return isBorderBlock(blocks.mask27(rcd)); }
    // True if rcd isn't a border cell now, and would be without removeRCD, which must
    // not be doomed, or an ASSEX fails.
    bool wouldBecomeNewBorder(uint64 rcd, uint64 removeRCD) const;
    // The number of existing face neighbours, plus cellSize, minus the distance of
    // the cell's centre to its point over cellSize: low for exposed cells with a
    // far point. vRCDPoint must be sorted and hold the cell, or an ASSEX fails.
    double getWeight(const std::vector<std::pair<uint64, Point3>>& vRCDPoint, uint64 rcd) const;

    // Appends the existing cells, ascending: border cells to vBorderOut, the others
    // to vAreaOut. The fastest way to ask about all cells, about 20 ns each.
    void classify(std::vector<uint64>& vAreaOut, std::vector<uint64>& vBorderOut) const;
    // Appends the existing cells, ascending.
    void getAlive(std::vector<uint64>& vAliveOut) const;

    bool isDoomed(uint64 rcd) const { return blocks.isDoomed(rcd); }
    // Dooms a cell; false if it was doomed already.
    bool doom(uint64 rcd) { return blocks.doom(rcd); }

    // ---- RemoveDecider_RCD_prune.cpp: the thinning
    //
    // Both take the samples of at least the candidates, sorted by code, one each, and
    // the candidates, sorted; other lists fail an ASSEX. They doom cells, append those to
    // vDoomedOut, which is then sorted as a whole, set vKeptOut to the candidates
    // that aren't in vDoomedOut, and return the number of cells doomed.
    // bKeepNoBorder: border cells may go too.
    // bDropSmallBorders: first, connected groups of at most 40 border cells go, if
    // that makes no other cell a new border cell; candidates or not.
    // No sample may hold a NaN. They sort in parallel: not to be called from a parallel
    // loop. A million candidates take about 1.2 s in prune, 0.3 s in pruneLayered.

    // Dooms by rising weight whatever is neither critical nor border, each doomed cell
    // entering its face neighbours again, until a pass dooms nothing. Eats into
    // open sheets that are thicker than one cell at their rim.
    int prune(const std::vector<std::pair<uint64, Point3>>& vRCDPoint, const std::vector<uint64>& vRemoveCandidates,
              std::vector<uint64>& vKeptOut, std::vector<uint64>& vDoomedOut, bool bKeepNoBorder,
              bool bDropSmallBorders);

    // Takes the band off layer by layer and keeps open sheets. A pass lists the
    // candidates that may go as things stand, by (weight, code), and dooms in that
    // order each one that still may. A cell may go if it has an exposed
    // face and is neither critical nor border (unless bKeepNoBorder). Until
    // nothing goes, cells on a rim two cells thick stay as well; then up to
    // numLastPasses do without this guard, as long as something goes. With bKeepNoBorder
    // there is no guard, and passes follow each other until nothing goes.
    // What closes gaps wants a surface one cell thick up to its rim, so last passes.
    int pruneLayered(const std::vector<std::pair<uint64, Point3>>& vRCDPoint,
                     const std::vector<uint64>& vRemoveCandidates, std::vector<uint64>& vKeptOut,
                     std::vector<uint64>& vDoomedOut, bool bKeepNoBorder, bool bDropSmallBorders, int numLastPasses);

private:
    friend class Thinning;

    // The part of getWeight() that doesn't depend on other cells: distance over cellSize.
    double distanceInCells(uint64 rcd, const Point3& sample) const;

    const std::vector<uint64>* pvRCD;  // not owned
    const Calc* pCalc;                 // not owned
    CellBlocks_RCD blocks;             // the listed and the doomed cells
    std::uint32_t existsBits = 0;      // block mask at the last setCenter()
};

}  // namespace QUOR_ZEF
