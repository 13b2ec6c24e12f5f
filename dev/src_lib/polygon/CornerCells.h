#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <span>
#include <vector>

#include "frame/types.h"
#include "store/CodeMap.h"

namespace QUOR_ZEF {

class Calc;

// The grid corners that a set of cells touches, each with its config: which of
// the eight cells around it belong to the set, by the bits of casx::stepDown.
//
// Cells and corners lie in blocks of 4x4x4, in the order of their codes, so that
// the configs of a block come from a few shifts and no pair of corner and cell is
// ever stored. Memory: about 12 bytes a cell of a surface.
// Threads: const members may run side by side.
class CornerCells {
public:
    // Replaces the set. vCCD: ascending and unique, else an ASSEX fails, as it
    // does for a cell at the upper end of the grid. O(n), in part on all threads.
    void build(std::span<const uint64> vCCD, const Calc& calc);

    // The config of a corner, 0 where no cell touches it; end() if it lies beyond
    // the last corner that a cell touches.
    int find(uint64 vcd) const;
    static constexpr int end() { return -1; }

    // Blocks of corners that cells may touch; they ascend by code.
    std::size_t getNumBlocks() const { return vCornerBlocks.size(); }
    // One of them, with what lies around it. Valid until the next build().
    class CornerBlock;

    static constexpr std::size_t blockSize = 64;

private:
    static constexpr unsigned blockBits = 6;  // two levels of three bits
    static constexpr std::array<unsigned, 3> tribits = {4, 2, 1};
    using Configs = std::array<std::uint8_t, blockSize>;

    struct Block {
        uint64 key;           // the cells' code without its lowest two levels
        uint64 cells;         // bit n: the cell with n in these levels
        std::uint32_t first;  // index of its first cell
    };

    void listCornerBlocks();
    Configs configsOf(uint64 key) const;
    const Block& blockAt(uint64 key) const;
    const Configs& configsAt(uint64 key) const;
    static uint64 keyAbove(uint64 key, std::size_t axis);
    static uint64 keyBelow(uint64 key, std::size_t axis);

    std::vector<Block> vBlocks;
    CodeMap mBlock;                     // key to index in vBlocks
    std::vector<uint64> vCornerBlocks;  // their keys, ascending
    CodeMap mCornerBlock;               // key to index in vCornerBlocks
    std::vector<Configs> vConfigs;      // by index in vCornerBlocks
    uint64 lastVCD = 0;                 // of all touched corners
};

// Corners of the block are numbered as in their codes.
class CornerCells::CornerBlock {
public:
    // bCells: whether getCell() is to be asked.
    CornerBlock(const CornerCells& owner, std::size_t index, bool bCells);

    uint64 getVCD(unsigned corner) const { return key << blockBits | corner; }
    int getConfig(unsigned corner) const { return (*pConfigs)[corner]; }
    // That of the next corner below or above along an axis.
    int getConfigBelow(unsigned corner, std::size_t axis) const {
        const unsigned mask = 9 * tribits[axis];
        const Configs& configs = corner & mask ? *pConfigs : *aBelow[axis];
        return configs[(corner & ~mask) | (((corner & mask) - 1) & mask)];
    }
    int getConfigAbove(unsigned corner, std::size_t axis) const {
        const unsigned mask = 9 * tribits[axis];
        const Configs& configs = (corner & mask) != mask ? *pConfigs : *aAbove[axis];
        return configs[(corner & ~mask) | (((corner | ~mask) + 1) & mask)];
    }
    // The place in vCCD of a cell that is there; cell: its bit in the config.
    std::uint32_t getCell(unsigned corner, unsigned cell) const;

private:
    uint64 key;
    const Configs* pConfigs;
    std::array<const Configs*, 3> aBelow, aAbove;
    std::array<const Block*, 8> aBlocks{};  // by the axes, as tribits, along which they lie one below
};

}  // namespace QUOR_ZEF
