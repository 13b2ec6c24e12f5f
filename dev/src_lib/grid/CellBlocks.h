#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "frame/types.h"
#include "grid/Calc.h"
#include "grid/cellTopology.h"
#include "parallel/parallelTransform.h"
#include "store/CodeMap.h"

namespace QUOR_ZEF {

// How codes fall into blocks of 8x8x8 cells: each block has a key, and in it each
// cell a place, the number z*64 + y*8 + x of its coordinates modulo 8.
struct PackedLayout {
    static constexpr std::size_t blockSize = 512;
    static constexpr uint64 inBlock = 7 * (stepX_RCD + stepY_RCD + stepZ_RCD);
    static constexpr uint64 inRegion = 63 * (stepX_RCD + stepY_RCD + stepZ_RCD);
    static uint64 keyOf(uint64 rcd) { return rcd & ~inBlock; }
    static uint64 regionOf(uint64 key) { return key & ~inRegion; }
    static unsigned placeOf(uint64 rcd) {
        return static_cast<unsigned>((rcd & 7) << 6 | (rcd >> 21 & 7) << 3 | (rcd >> 42 & 7));
    }
    static GridCoords firstCellOf(uint64 key) { return unpackRCD(key); }
    static uint64 keyOfCell(const GridCoords& c) { return keyOf(packRCD(c.x, c.y, c.z)); }
};
struct InterleavedLayout {
    static uint64 keyOf(uint64 ccd) { return ccd >> 9; }
    static uint64 regionOf(uint64 key) { return key >> 9; }
    static unsigned placeOf(uint64 ccd) { return vPlace[ccd & 511]; }
    static GridCoords firstCellOf(uint64 key) { return unpackCCD(key << 9); }
    static uint64 keyOfCell(const GridCoords& c) { return keyOf(packCCD(c.x, c.y, c.z)); }

private:
    static constexpr std::array<std::uint16_t, 512> makePlaces() {
        std::array<std::uint16_t, 512> v{};
        for (unsigned i = 0; i < 512; ++i) {
            const GridCoords c = unpackCCD(i);
            v[i] = static_cast<std::uint16_t>(c.z << 6 | c.y << 3 | c.x);
        }
        return v;
    }
    static const std::array<std::uint16_t, 512> vPlace;
};
inline constexpr std::array<std::uint16_t, 512> InterleavedLayout::vPlace = InterleavedLayout::makePlaces();

// A set of cells as sparse 8x8x8 blocks of bits, made once from a sorted list, to be
// asked for neighbourhoods; with a second set, of doomed cells. Cells beyond the
// coordinates of the grid do not exist.
//
// Memory: about 450 bytes a block (a surface has 60 to 100 cells in a block) and 4 bytes a cell.
// Cost: a mask takes 10 to 30 ns, the rest less; blocks near each other in the
// list lie near each other in memory.
// Threads: const members may run side by side while nobody dooms. In different regions,
// so may those that change something, if the blocks are there (hasBlockOf()) and nobody
// touches cells at the rim of a region.
template <class Layout>
class CellBlocks {
public:
    static constexpr std::uint32_t npos = CodeMap::npos;
    // Regions are cubes of so many cells a side that begin at multiples of it.
    static constexpr uint64 regionSide = 64;

    // vCodes must be sorted and unique and have fewer than 2^32 - 1 elements, or an
    // ASSEX fails. It is not kept. Nothing is doomed at first. Partly parallel.
    explicit CellBlocks(std::span<const uint64> vCodes);

    // The number of listed cells, doomed or not.
    std::size_t size() const { return vOrder.size(); }

    // The listed cell's index in the list, npos for other cells.
    std::uint32_t indexOf(uint64 code) const;
    bool contains(uint64 code) const;
    // Whether the block of this cell, given by any of its cells, has a listed or doomed one.
    bool hasBlockOf(uint64 code) const { return blockOf(Layout::keyOf(code)) != 0; }

    // Adds a cell to the doomed ones, listed or not. False if it was one already.
    bool doom(uint64 code);
    bool isDoomed(uint64 code) const;

    // Which cells around a cell exist: those listed and not doomed. The cell itself
    // counts unless it is doomed, listed or not. Bits as in cellTopology.h.
    std::uint32_t mask27(uint64 code) const;
    // The same with doomed neighbours.
    std::uint32_t maskListed27(uint64 code) const;

    // fn(index, mask27) for each listed cell that isn't doomed, block by block. It
    // must not doom. The fastest way to see all cells.
    template <class Fn>
    void forEachMask(const Fn& fn) const;
    // The same with several threads: fn is called by all of them.
    template <class Fn>
    void forEachMask_MT(const Fn& fn) const;

    // fn(index, block index) for each listed cell among those of mask around a cell.
    template <class Fn>
    void forEachInMask(uint64 code, std::uint32_t mask, const Fn& fn) const;

    // fn(index, index of the neighbour) once for each pair of cells of the
    // list that share a grid corner, doomed or not.
    template <class Fn>
    void forEachPair(const Fn& fn) const;

    // The blocks of each region that has any, ascending.
    using BlockNumbers = std::vector<std::uint32_t>;
    std::vector<BlockNumbers> blocksByRegion() const;

    // Marks are notes of cells to look at again: all of them, or a cell and those
    // around it. takeMarked() calls fn(index) for each marked cell of these blocks that is
    // listed and not doomed, block by block, and leaves none of them marked. fn must not mark.
    void markAll() { vMarked = vAlive; }
    void markAround(uint64 code);
    template <class Fn>
    void takeMarked(const BlockNumbers& vBlocks, const Fn& fn);

private:
    // One bit a cell: layer z, in it bit y*8 + x.
    using Layers = std::array<uint64, 8>;
    // The blocks around a block by block index; 0 stands for no block.
    using Links = std::array<std::uint32_t, 27>;
    struct Start {
        std::uint32_t first;                 // cells in the blocks before
        std::array<std::uint16_t, 8> above;  // cells of this block in the layers before
    };

    std::uint32_t addBlock(uint64 key);
    void linkBlocks();
    void countCellsBefore();
    Links linksOf(uint64 key) const;
    std::uint32_t blockOf(uint64 key) const {
        const std::uint32_t block = blocks.find(key);
        return block == npos ? 0 : block;
    }
    static bool bitOf(const Layers& layers, unsigned place) { return layers[place >> 6] >> (place & 63) & 1; }
    std::uint32_t slotAt(std::uint32_t block, unsigned place) const;
    std::uint32_t indexAt(std::uint32_t block, unsigned place) const { return vOrder[slotAt(block, place)]; }
    static std::uint32_t maskAt(const std::vector<Layers>& v, const Links& links, unsigned place);
    template <class Fn>
    void forEachInMaskAt(const Links& links, unsigned place, std::uint32_t mask, const Fn& fn) const;
    template <class Fn>
    void forEachCellIn(const std::vector<Layers>& v, std::uint32_t block, const Fn& fn) const;
    template <class Fn>
    void forEachCell(const std::vector<Layers>& v, const Fn& fn) const;

    CodeMap blocks;                     // key to number of the block, from 1 on
    std::vector<uint64> vKeys;          // of each block
    std::vector<Links> vLinks;          // of each block; block 0 has no cells
    std::vector<Layers> vListed;        // the cells of the list
    std::vector<Layers> vAlive;         // those that aren't doomed
    std::vector<Layers> vDoomed;        // doomed ones, on and off the list
    std::vector<Layers> vMarked;        // marked ones, some of them no cells
    std::vector<Start> vStart;          // of each block
    std::vector<std::uint32_t> vOrder;  // index in the list, of the cells by block and place
};

using CellBlocks_RCD = CellBlocks<PackedLayout>;
using CellBlocks_CCD = CellBlocks<InterleavedLayout>;

extern template class CellBlocks<PackedLayout>;
extern template class CellBlocks<InterleavedLayout>;

// ---- what inner loops use

namespace cell_blocks {

constexpr unsigned linkIndex(int dx, int dy, int dz) {
    return static_cast<unsigned>((dz + 1) * 9 + (dy + 1) * 3 + (dx + 1));
}

// std::popcount is a library call in portable builds.
constexpr unsigned countBits(uint64 w) {
    w -= w >> 1 & 0x5555555555555555;
    w = (w & 0x3333333333333333) + (w >> 2 & 0x3333333333333333);
    return static_cast<unsigned>(((w + (w >> 4)) & 0x0f0f0f0f0f0f0f0f) * 0x0101010101010101 >> 56);
}

// Rows y-1 to y+1 of a layer in the lowest three bytes, seen from the block at
// dx, with the block before and behind it in y. layerAt(dy) gives the layers.
template <class LayerAt>
uint64 threeRows(unsigned y, const LayerAt& layerAt) {
    if (y == 0) return layerAt(0) << 8 | layerAt(-1) >> 56;
    if (y == 7) return layerAt(0) >> 48 | (layerAt(1) & 0xff) << 16;
    return layerAt(0) >> (y - 1) * 8;
}

// Three bits in each of the lowest three bytes to nine bits in a row.
constexpr std::uint32_t closeUp(uint64 rows) {
    return static_cast<std::uint32_t>((rows & 7) | (rows >> 5 & 0x38) | (rows >> 10 & 0x1c0));
}

}  // namespace cell_blocks

template <class Layout>
std::uint32_t CellBlocks<Layout>::maskAt(const std::vector<Layers>& v, const Links& links, unsigned place) {
    using namespace cell_blocks;
    const unsigned x = place & 7, y = place >> 3 & 7, z = place >> 6;
    std::uint32_t mask = 0;
    for (unsigned dz = 0; dz < 3; ++dz) {
        const unsigned above = z + dz + 7;  // 8 + z of the layer, so 7 to 16
        const int bz = static_cast<int>(above >> 3) - 1;
        const auto rowsOf = [&](int bx) {
            return threeRows(y, [&](int by) { return v[links[linkIndex(bx, by, bz)]][above & 7]; });
        };
        std::uint32_t window;
        if (x == 0) {
            window = closeUp((rowsOf(0) & 0x030303) << 1 | (rowsOf(-1) >> 7 & 0x010101));
        } else if (x == 7) {
            window = closeUp((rowsOf(0) >> 6 & 0x030303) | (rowsOf(1) & 0x010101) << 2);
        } else {
            window = closeUp(rowsOf(0) >> (x - 1));
        }
        mask |= window << 9 * dz;
    }
    return mask;
}

// Where a listed cell's index lies in vOrder.
template <class Layout>
std::uint32_t CellBlocks<Layout>::slotAt(std::uint32_t block, unsigned place) const {
    const unsigned z = place >> 6;
    const uint64 below = (uint64{1} << (place & 63)) - 1;
    const Start& start = vStart[block];
    return start.first + start.above[z] + cell_blocks::countBits(vListed[block][z] & below);
}

template <class Layout>
std::uint32_t CellBlocks<Layout>::indexOf(uint64 code) const {
    const std::uint32_t block = blockOf(Layout::keyOf(code));
    const unsigned place = Layout::placeOf(code);
    return bitOf(vListed[block], place) ? indexAt(block, place) : npos;
}

template <class Layout>
bool CellBlocks<Layout>::contains(uint64 code) const {
    return bitOf(vListed[blockOf(Layout::keyOf(code))], Layout::placeOf(code));
}

template <class Layout>
bool CellBlocks<Layout>::isDoomed(uint64 code) const {
    return bitOf(vDoomed[blockOf(Layout::keyOf(code))], Layout::placeOf(code));
}

template <class Layout>
std::uint32_t CellBlocks<Layout>::mask27(uint64 code) const {
    const uint64 key = Layout::keyOf(code);
    const unsigned place = Layout::placeOf(code);
    const std::uint32_t block = blockOf(key);
    if (block == 0) return maskAt(vAlive, linksOf(key), place) | blockCentreBit;
    const std::uint32_t mask = maskAt(vAlive, vLinks[block], place);
    return bitOf(vDoomed[block], place) ? mask : mask | blockCentreBit;
}

template <class Layout>
template <class Fn>
void CellBlocks<Layout>::forEachInMaskAt(const Links& links, unsigned place, std::uint32_t mask, const Fn& fn) const {
    const unsigned x = (place & 7) + 7, y = (place >> 3 & 7) + 7, z = (place >> 6) + 7;
    for (; mask; mask &= mask - 1) {
        const unsigned i = static_cast<unsigned>(std::countr_zero(mask));
        const unsigned nx = x + i % 3, ny = y + i / 3 % 3, nz = z + i / 9;
        const std::uint32_t block = links[(nz >> 3) * 9 + (ny >> 3) * 3 + (nx >> 3)];
        const unsigned nPlace = (nz & 7) << 6 | (ny & 7) << 3 | (nx & 7);
        if (bitOf(vListed[block], nPlace)) fn(indexAt(block, nPlace), static_cast<int>(i));
    }
}

template <class Layout>
template <class Fn>
void CellBlocks<Layout>::forEachInMask(uint64 code, std::uint32_t mask, const Fn& fn) const {
    const uint64 key = Layout::keyOf(code);
    const std::uint32_t block = blockOf(key);
    if (block == 0) {
        forEachInMaskAt(linksOf(key), Layout::placeOf(code), mask, fn);
    } else {
        forEachInMaskAt(vLinks[block], Layout::placeOf(code), mask, fn);
    }
}

// fn(place)
template <class Layout>
template <class Fn>
void CellBlocks<Layout>::forEachCellIn(const std::vector<Layers>& v, std::uint32_t block, const Fn& fn) const {
    for (unsigned z = 0; z < 8; ++z) {
        for (uint64 layer = v[block][z]; layer; layer &= layer - 1) {
            fn(z << 6 | static_cast<unsigned>(std::countr_zero(layer)));
        }
    }
}

template <class Layout>
template <class Fn>
void CellBlocks<Layout>::forEachCell(const std::vector<Layers>& v, const Fn& fn) const {
    for (std::uint32_t block = 1; block < v.size(); ++block) {
        forEachCellIn(v, block, [&](unsigned place) { fn(block, place); });
    }
}

template <class Layout>
template <class Fn>
void CellBlocks<Layout>::forEachMask(const Fn& fn) const {
    forEachCell(vAlive, [&](std::uint32_t block, unsigned place) {
        fn(indexAt(block, place), maskAt(vAlive, vLinks[block], place));
    });
}

template <class Layout>
template <class Fn>
void CellBlocks<Layout>::forEachMask_MT(const Fn& fn) const {
    constexpr std::size_t minChunk = 200;  // blocks
    parallelChunks(vAlive.size(), minChunk, [&](std::size_t begin, std::size_t end) {
        for (auto block = static_cast<std::uint32_t>(begin); block < end; ++block) {
            forEachCellIn(vAlive, block,
                          [&](unsigned place) { fn(indexAt(block, place), maskAt(vAlive, vLinks[block], place)); });
        }
    });
}

template <class Layout>
template <class Fn>
void CellBlocks<Layout>::takeMarked(const BlockNumbers& vBlocks, const Fn& fn) {
    for (const std::uint32_t block : vBlocks) {
        for (std::size_t z = 0; z < 8; ++z) vMarked[block][z] &= vAlive[block][z];
        forEachCellIn(vMarked, block, [&](unsigned place) { fn(indexAt(block, place)); });
        vMarked[block] = Layers{};
    }
}

template <class Layout>
template <class Fn>
void CellBlocks<Layout>::forEachPair(const Fn& fn) const {
    constexpr std::uint32_t forward = blockAll & ~((blockCentreBit << 1) - 1);
    forEachCell(vListed, [&](std::uint32_t block, unsigned place) {
        const std::uint32_t index = indexAt(block, place);
        const std::uint32_t mask = maskAt(vListed, vLinks[block], place) & forward;
        forEachInMaskAt(vLinks[block], place, mask, [&](std::uint32_t neighbour, int) { fn(index, neighbour); });
    });
}

}  // namespace QUOR_ZEF
