#pragma once

#include <vector>

#include "frame/types.h"
#include "grid/Calc.h"
#include "grid/CellBlocks.h"
#include "grid/cellTopology.h"

namespace QUOR_ZEF {

// The same questions as RemoveDecider_RCD on CCD, for callers that add or take
// single cells. A cell exists if it is listed and not doomed; the cell that is
// asked about also exists if it isn't listed.
//
// Lives for one task. Threads: one at a time.
class RemoveDecider {
public:
    // pvCCD: sorted and unique (fails an ASSEX otherwise); it is copied. The grid
    // needs no asking here. O(n), about 10 ns a cell.
    RemoveDecider(const std::vector<uint64>* pvCCD, const Calc* pCalc);

    // The test of pruneStrong: the cell sees one empty region of at least 19 cells,
    // and removing it wouldn't join empty regions.
    bool isBorder(uint64 ccd) const { return isBorderBlock(blocks.mask27(ccd)); }

    // The condition of thinning: the cell isn't doomed and has an exposed face,
    // removing it wouldn't join empty regions, and it isn't a border cell.
    bool allowsRemoval(uint64 ccd) const { return mayGoBlock(blocks.mask27(ccd), borderMissing); }

    bool isDoomed(uint64 ccd) const { return blocks.isDoomed(ccd); }
    // Dooms a cell; false if it was doomed already.
    bool doom(uint64 ccd) { return blocks.doom(ccd); }

    // Dooms candidates that pass isBorder(), in passes from the back of the list, until a
    // pass dooms nothing; each pass takes the refused ones of the one before.
    // Candidates needn't be listed. The outputs are replaced, in the order in which
    // the answers fell. Returns the number of doomed cells.
    uint64 pruneStrong(const std::vector<uint64>& vRemoveCandidates, std::vector<uint64>& vDoomedOut,
                       std::vector<uint64>& vKeptOut);

private:
    CellBlocks_CCD blocks;  // the listed and the doomed cells
};

}  // namespace QUOR_ZEF
