#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "frame/types.h"
#include "grid/CellBlocks.h"
#include "store/CodeMap.h"

namespace QUOR_ZEF {

// A growing set of cells by packed code, as sparse 8x8x8 blocks of bits.
// Memory: 64 to 130 bytes a block (a surface has 60 to 100 cells in a block).
// Cost: some nanoseconds a call where one cell is near the last one.
// Threads: contains() may run on several threads while nobody inserts.
class CellSet {
public:
    // True if the cell is new.
    bool insert(uint64 rcd) {
        const uint64 key = PackedLayout::keyOf(rcd);
        if (key != lastKey) findBlock(key);
        const auto [word, bit] = placeOf(lastBlock, rcd);
        if (vWords[word] & bit) return false;
        vWords[word] |= bit;
        ++numCells;
        return true;
    }

    bool contains(uint64 rcd) const {
        const std::uint32_t block = blocks.find(PackedLayout::keyOf(rcd));
        if (block == CodeMap::npos) return false;
        const auto [word, bit] = placeOf(block, rcd);
        return (vWords[word] & bit) != 0;
    }

    std::size_t size() const { return numCells; }

private:
    static constexpr std::size_t wordsPerBlock = 8;

    static std::pair<std::size_t, uint64> placeOf(std::uint32_t block, uint64 rcd) {
        const unsigned place = PackedLayout::placeOf(rcd);
        return {block * wordsPerBlock + (place >> 6), uint64{1} << (place & 63)};
    }

    void findBlock(uint64 key) {
        const auto numBlocks = static_cast<std::uint32_t>(vWords.size() / wordsPerBlock);
        lastKey = key;
        lastBlock = blocks.insert(key, numBlocks);
        if (lastBlock == numBlocks) vWords.resize(vWords.size() + wordsPerBlock);
    }

    CodeMap blocks;              // key to number of the block
    std::vector<uint64> vWords;  // of each block; one bit a cell
    std::size_t numCells = 0;
    uint64 lastKey = ~uint64{0};  // no key has its highest bit set
    std::uint32_t lastBlock = 0;
};

}  // namespace QUOR_ZEF
