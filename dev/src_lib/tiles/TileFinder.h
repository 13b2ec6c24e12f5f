#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "frame/types.h"
#include "grid/Calc.h"
#include "store/CodeMap.h"
#include "zef/tiles.h"

namespace QUOR_ZEF {

// Which tiles want a point: their boxes, widened by the halo or by nothing, hold its cell. Blocks of cells that were
// asked for keep lists of tiles that may, of which each comes out of that of the block around it. One thread at a time.
class TileFinder {
public:
    // numAsked: about how many points will be asked for; memory goes by the blocks where they lie, a million or so.
    TileFinder(const TilePlan& plan, uint64 halo, uint64 numAsked);

    // Ascending; valid until the next call.
    std::span<const std::uint32_t> find(const GridCoords& cell);

private:
    struct List {
        uint64 begin = 0;
        std::uint32_t num = 0;
    };
    std::vector<TileBox> vBoxes;  // widened
    int leafLevel;                // blocks of 2^leafLevel cells a side have lists,
    int rootLevel;                // up to the whole grid
    std::vector<CodeMap> maps;    // by level above leafLevel: from blocks to lists
    std::vector<List> vLists;
    std::vector<std::uint32_t> vTiles;  // of all lists
    std::vector<std::uint32_t> vFound;
    uint64 lastLeaf;
    std::uint32_t lastList = 0;

    std::uint32_t listOf(uint64 block, int level);
};

}  // namespace QUOR_ZEF
