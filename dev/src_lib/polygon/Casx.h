#pragma once

#include <string>
#include <vector>

#include "frame/types.h"
#include "polygon/CasxTables.h"

namespace QUOR_ZEF {

class Visualizer3;

// The case table of polygonisation. Mesh vertices are whole cells; which of the
// eight cells around a grid corner belong to the surface (the config, one bit a
// cell) decides which triples of them become triangles. Immutable and shared by
// all threads; every query is a look-up.
class Casx {
public:
    // bExperimental expands the base rows anew and says so; the finished table
    // that is used otherwise holds the same rows.
    Casx(TriMode mode, bool bExperimental);

    // Appends the triangles of a config as triples of cell codes, each ascending
    // by bit: orientation is settled later. codes: the eight cells in bit order.
    // tu: only triangles of this use; TUU for all. Configs with fewer than 3 or
    // more than 7 cells give nothing. Only TM_FAT may be asked with a use.
    void getTriangles(int config, const uint64 codes[8], std::vector<uint64>& vTriCCD, TriUse tu) const;

    // For configs with 6 or 7 cells, 0 for every other: the absent cells, and
    // the cells opposite to them through the block (0 unless one cell or the two
    // cells of a block edge are absent).
    int getMissingMask(int config) const;
    int getOppositeMask(int config) const;

    // The triangle mask and the use of a slot (0 to 11); masks above 255 end a row.
    int getMask(int config, int slot) const;
    TriUse getUse(int config, int slot) const;

    // For looking at the table: prints the config and the label, and draws around
    // the corner vcd of a grid of 4096 cells a side the eight cells (those of the
    // config as cubes, the others as points) and the row's triangles, coloured by
    // use. A triangle without a use fails an ASSEX.
    void showConfig(int config, Visualizer3* pVisualizer, const std::string& label, uint64 vcd) const;

private:
    TriMode mode;
    casx::Rows rows;
};

// The config of the corner vcd: the sum of the bits of the distinct cells vCCD,
// each of which must be one of the eight around that corner.
int getCornerConfig(uint64 vcd, const std::vector<uint64>& vCCD);

}  // namespace QUOR_ZEF
