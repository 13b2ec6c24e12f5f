#include "sampling/surroundedCells.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>

#include "frame/Run.h"
#include "grid/Calc.h"
#include "grid/ColumnCursors.h"
#include "parallel/parallelTransform.h"
#include "parallel/sortMT.h"

namespace QUOR_ZEF {

namespace {

// The set is cut into blocks of 8x8x8 cells, bit z of byte [x][y] for each cell. A
// block is known by its own coordinates, one up on each axis, so that there is
// always one below it.
constexpr int blockSide = 8;
constexpr uint64 blockCells = 512;

struct Block {
    uint64 key = 0;  // packed layout
    std::array<std::array<std::uint8_t, blockSide>, blockSide> aRows{};
};

uint64 blockKey(uint64 ccd) {
    const GridCoords block = unpackCCD(ccd / blockCells);
    return packRCD(block.x + 1, block.y + 1, block.z + 1);
}

uint64 firstCell(uint64 key) {
    const GridCoords block = unpackRCD(key);
    return packCCD(block.x - 1, block.y - 1, block.z - 1) * blockCells;
}

std::vector<Block> makeBlocks(const std::vector<uint64>& vSortedCCD) {
    std::vector<Block> vBlocks;
    uint64 current = ~uint64{0};
    for (std::size_t i = 0; i < vSortedCCD.size(); ++i) {
        pollRun(i);
        const uint64 ccd = vSortedCCD[i];
        if (ccd / blockCells != current) {
            current = ccd / blockCells;
            vBlocks.push_back({blockKey(ccd), {}});
        }
        const GridCoords cell = unpackCCD(ccd % blockCells);
        std::uint8_t& row = vBlocks.back().aRows[cell.x][cell.y];
        row = static_cast<std::uint8_t>(row | 1u << cell.z);
    }
    std::sort(vBlocks.begin(), vBlocks.end(), [](const Block& a, const Block& b) { return a.key < b.key; });
    return vBlocks;
}

// The blocks next to this one that its cells touch, and itself. Judged by the
// box of the cells, so there can be some too many.
void addTouchedBlocks(const Block& block, std::vector<uint64>& vKeys) {
    unsigned usedX = 0, usedY = 0, usedZ = 0;
    for (unsigned x = 0; x < blockSide; ++x) {
        for (unsigned y = 0; y < blockSide; ++y) {
            const unsigned row = block.aRows[x][y];
            if (row == 0) continue;
            usedX |= 1u << x;
            usedY |= 1u << y;
            usedZ |= row;
        }
    }
    const auto reaches = [](unsigned used, uint64 side) { return side == 1 || (used & (side == 0 ? 1u : 0x80u)) != 0; };
    const uint64 lowest = block.key - stepX_RCD - stepY_RCD - stepZ_RCD;
    for (uint64 sx = 0; sx < 3; ++sx) {
        for (uint64 sy = 0; sy < 3; ++sy) {
            for (uint64 sz = 0; sz < 3; ++sz) {
                if (reaches(usedX, sx) && reaches(usedY, sy) && reaches(usedZ, sz)) {
                    vKeys.push_back(lowest + packRCD(sx, sy, sz));
                }
            }
        }
    }
}

// The cells of a block and of the layer one cell thick around it: bit z + 1 of
// [x + 1][y + 1], for coordinates from -1 to 8.
using Halo = std::array<std::array<unsigned, blockSide + 2>, blockSide + 2>;

struct Span {
    unsigned begin, end;
};

// The coordinates in the neighbour block at offset d that a halo takes in.
Span sharedSpan(int d) {
    if (d < 0) return {blockSide - 1, blockSide};
    return {0, d == 0 ? unsigned{blockSide} : 1u};
}

void addToHalo(const Block& block, int dx, int dy, int dz, Halo& halo) {
    const Span spanX = sharedSpan(dx), spanY = sharedSpan(dy);
    for (unsigned x = spanX.begin; x < spanX.end; ++x) {
        for (unsigned y = spanY.begin; y < spanY.end; ++y) {
            const unsigned row = block.aRows[x][y];
            const unsigned part = dz < 0 ? row >> 7 : dz == 0 ? row << 1 : (row & 1u) << 9;
            halo[static_cast<unsigned>(static_cast<int>(x + 1) + blockSide * dx)]
                [static_cast<unsigned>(static_cast<int>(y + 1) + blockSide * dy)] |= part;
        }
    }
}

// The corners that cells of the halo touch, for the corners of the block's cells:
// bit z of [x][y] is the lower corner of cell (x,y,z), for coordinates to 8.
using CornerRows = std::array<std::array<unsigned, blockSide + 1>, blockSide + 1>;

CornerRows touchedCorners(const Halo& halo) {
    CornerRows corners;
    for (unsigned x = 0; x <= blockSide; ++x) {
        for (unsigned y = 0; y <= blockSide; ++y) {
            const unsigned cells = halo[x][y] | halo[x + 1][y] | halo[x][y + 1] | halo[x + 1][y + 1];
            corners[x][y] = cells | cells >> 1;
        }
    }
    return corners;
}

// Bit z for the cells of row (x,y) with six or more touched corners. Of the four
// edges along z, either three are touched at both ends, or two are and the others
// at one.
unsigned surroundedInRow(const CornerRows& corners, unsigned x, unsigned y) {
    const unsigned edge[4] = {corners[x][y], corners[x + 1][y], corners[x][y + 1], corners[x + 1][y + 1]};
    unsigned both[4];
    unsigned allTouched = 0xff;
    for (int i = 0; i < 4; ++i) {
        both[i] = edge[i] & edge[i] >> 1;
        allTouched &= edge[i] | edge[i] >> 1;
    }
    const unsigned and01 = both[0] & both[1], or01 = both[0] | both[1];
    const unsigned and23 = both[2] & both[3], or23 = both[2] | both[3];
    const unsigned three = (and01 & or23) | (and23 & or01);
    const unsigned two = and01 | and23 | (or01 & or23);
    return (three | (two & allTouched)) & 0xff;
}

// Appends the block's surrounded cells, ascending.
void addSurrounded(uint64 key, const Halo& halo, std::vector<uint64>& vOut) {
    const CornerRows corners = touchedCorners(halo);
    std::array<uint64, blockCells / 64> aFound{};
    for (unsigned x = 0; x < blockSide; ++x) {
        for (unsigned y = 0; y < blockSide; ++y) {
            const unsigned occupied = halo[x + 1][y + 1] >> 1;
            for (unsigned row = surroundedInRow(corners, x, y) & ~occupied; row != 0; row &= row - 1) {
                const uint64 local = packCCD(x, y, static_cast<uint64>(std::countr_zero(row)));
                aFound[local / 64] |= uint64{1} << local % 64;
            }
        }
    }
    const uint64 first = firstCell(key);
    for (uint64 word = 0; word < aFound.size(); ++word) {
        for (uint64 bits = aFound[word]; bits != 0; bits &= bits - 1) {
            vOut.push_back(first + word * 64 + static_cast<uint64>(std::countr_zero(bits)));
        }
    }
}

// What a stretch of blocks holds; in each block the cells ascend, but the blocks
// follow each other in the order of their keys.
struct Found {
    std::vector<uint64> vCCD;
    std::vector<std::size_t> vBlockBegin;  // of the blocks that hold any
};

Found findInBlocks(std::span<const uint64> vTargets, const std::vector<Block>& vBlocks,
                   const std::vector<uint64>& vBlockKeys) {
    Found found;
    ColumnCursors<1> cursors(vBlockKeys);
    for (const uint64 key : vTargets) {
        Halo halo{};
        for (int dx = -1; dx <= 1; ++dx) {
            for (int dy = -1; dy <= 1; ++dy) {
                const auto [first, last] = cursors.around(key, dx, dy);
                for (std::size_t i = first; i < last; ++i) {
                    const int dz = static_cast<int>(vBlockKeys[i] & coordMask) - static_cast<int>(key & coordMask);
                    addToHalo(vBlocks[i], dx, dy, dz, halo);
                }
            }
        }
        const std::size_t begin = found.vCCD.size();
        addSurrounded(key, halo, found.vCCD);
        if (found.vCCD.size() > begin) found.vBlockBegin.push_back(begin);
    }
    return found;
}

// Blocks are disjoint stretches of codes, so it takes only their order.
std::vector<uint64> joinSorted(const std::vector<Found>& vFound) {
    std::vector<std::span<const uint64>> vStretches;
    std::size_t num = 0;
    for (const Found& found : vFound) {
        num += found.vCCD.size();
        for (std::size_t i = 0; i < found.vBlockBegin.size(); ++i) {
            const std::size_t end = i + 1 < found.vBlockBegin.size() ? found.vBlockBegin[i + 1] : found.vCCD.size();
            vStretches.push_back(std::span(found.vCCD).subspan(found.vBlockBegin[i], end - found.vBlockBegin[i]));
        }
    }
    std::sort(vStretches.begin(), vStretches.end(), [](const auto& a, const auto& b) { return a[0] < b[0]; });
    std::vector<uint64> vOut;
    vOut.reserve(num);
    for (const auto& stretch : vStretches) vOut.insert(vOut.end(), stretch.begin(), stretch.end());
    return vOut;
}

}  // namespace

std::vector<uint64> getSurroundedCells(const std::vector<uint64>& vSortedCCD) {
    const std::vector<Block> vBlocks = makeBlocks(vSortedCCD);
    std::vector<uint64> vBlockKeys, vTargets;
    for (const Block& block : vBlocks) {
        pollRun(vBlockKeys.size());
        vBlockKeys.push_back(block.key);
        addTouchedBlocks(block, vTargets);
    }
    sortUniqueMT(vTargets);
    pollRun(0);
    constexpr std::size_t minChunk = 256;
    return joinSorted(parallelChunkResults<Found>(vTargets.size(), minChunk, [&](std::size_t begin, std::size_t end) {
        return findInBlocks(std::span(vTargets).subspan(begin, end - begin), vBlocks, vBlockKeys);
    }));
}

}  // namespace QUOR_ZEF
