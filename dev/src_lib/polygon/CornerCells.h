#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <span>
#include <vector>

#include "frame/types.h"
#include "grid/CodeMap.h"

namespace QUOR_ZEF {

class Calc;

// The grid corners that a set of cells touches, each with its config: which of
// the eight cells around it belong to the set, by the bits of casx::stepDown.
//
// Cells lie as bits of 4x4x4 blocks, in the order of their codes, so that the
// configs of a block's 64 corners come from a few shifts and no pair of corner
// and cell is ever stored. Memory: about 2 bytes a cell of a surface.
// Threads: const members may run side by side.
class CornerCells {
public:
    // Replaces the set. vCCD: ascending and unique, else an ASSEX fails, as it
    // does for a cell at the upper end of the grid. O(n).
    void build(std::span<const uint64> vCCD, const Calc& calc);

    // Pairs of a corner and a cell that touch.
    uint64 numPairs() const { return 8 * numCells; }

    // The config of a corner, 0 where no cell touches it; end() if it lies beyond
    // the last corner that a cell touches.
    int find(uint64 vcd) const;
    static constexpr int end() { return -1; }

    // f(vcd, config) for each corner that a cell touches, ascending.
    template <class F>
    void forEachCorner(F&& f) const;

private:
    static constexpr int blockBits = 6;  // two levels of three bits

    struct Block {
        uint64 key;    // the cells' code without its lowest two levels
        uint64 cells;  // bit n: the cell with n in these levels
    };
    // By bit of a config: the corners of a block where that cell is there.
    using CornerMasks = std::array<uint64, 8>;

    void listCornerBlocks();
    uint64 cellsOf(uint64 key) const;
    CornerMasks cornerMasks(uint64 key) const;

    std::vector<Block> vBlocks;
    CodeMap mBlock;                     // key to index in vBlocks
    std::vector<uint64> vCornerBlocks;  // keys of blocks with a touched corner, ascending
    uint64 numCells = 0;
    uint64 lastVCD = 0;  // of all touched corners
};

template <class F>
void CornerCells::forEachCorner(F&& f) const {
    for (const uint64 key : vCornerBlocks) {
        const CornerMasks masks = cornerMasks(key);
        uint64 touched = 0;
        for (const uint64 mask : masks) touched |= mask;
        for (; touched; touched &= touched - 1) {
            const int corner = std::countr_zero(touched);
            unsigned config = 0;
            for (unsigned cell = 0; cell < 8; ++cell)
                config |= static_cast<unsigned>(masks[cell] >> corner & 1) << cell;
            f(key << blockBits | static_cast<uint64>(corner), static_cast<int>(config));
        }
    }
}

}  // namespace QUOR_ZEF
