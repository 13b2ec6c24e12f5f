#pragma once

#include <array>
#include <cstdint>

// The shape of a cell's neighbourhood. A block mask has bit
// (dz+1)*9 + (dy+1)*3 + (dx+1) set when the cell at offset (dx,dy,dz) exists, for
// offsets from -1 to 1; bit 13 is the cell itself. A cell without its bit is missing.
// All functions are pure and cost some nanoseconds.

namespace QUOR_ZEF {

constexpr int blockCentre = 13;
constexpr std::uint32_t blockAll = (1u << 27) - 1;
constexpr std::uint32_t blockCentreBit = 1u << blockCentre;

// The number of cells in a mask. (std::popcount is a library call on processors
// without a popcount instruction, and so in any portable build.)
constexpr int countCells(std::uint32_t mask) {
    mask -= mask >> 1 & 0x55555555;
    mask = (mask & 0x33333333) + (mask >> 2 & 0x33333333);
    return static_cast<int>(((mask + (mask >> 4)) & 0x0f0f0f0f) * 0x01010101 >> 24);
}

// The block index of the face neighbour in each dir: -x, +x, -y, +y, -z, +z.
constexpr std::array<int, 6> blockFace = {12, 14, 10, 16, 4, 22};
constexpr std::uint32_t blockFaces = 1u << 12 | 1u << 14 | 1u << 10 | 1u << 16 | 1u << 4 | 1u << 22;

// The offsets that a block index stands for.
constexpr int blockDx(int index) {
    return index % 3 - 1;
}
constexpr int blockDy(int index) {
    return index / 3 % 3 - 1;
}
constexpr int blockDz(int index) {
    return index / 9 - 1;
}

// What lies behind a cell with an exposed face.
enum OppState {
    OS_SOLID = 0,      // another cell
    OS_SEPARATED = 1,  // empty space that isn't joined with that before the face: a thin wall
    OS_CONNECTED = 2   // empty space that is joined with it inside the block
};

// start and all cells of open that face steps through open reach from it.
constexpr std::uint32_t floodBlock(std::uint32_t start, std::uint32_t open) {
    // The layers that a step down or up an axis leaves.
    constexpr std::uint32_t lowX = 0x1249249, highX = lowX << 2;
    constexpr std::uint32_t lowY = 0x1c0e07, highY = lowY << 6;
    std::uint32_t flood = start;
    for (std::uint32_t before = 0; flood != before;) {
        before = flood;
        flood |= ((flood & ~highX) << 1 | (flood & ~lowX) >> 1) & open;
        flood |= ((flood & ~highY) << 3 | (flood & ~lowY) >> 3) & open;
        flood |= (flood << 9 | flood >> 9) & open;
    }
    return flood;
}

// Bit i tells whether a block whose cells give i by criticalIndex() is critical.
using CriticalTable = std::array<std::uint64_t, (1u << 18) / 64>;
// 32 KiB, made at the first call in about 5 ms.
const CriticalTable& criticalTable();

// The 6 face and 12 edge neighbours, which alone decide criticality, as a number
// below 2^18: those of the lower and of the upper layer, then of the middle one.
constexpr std::uint32_t criticalIndex(std::uint32_t mask) {
    const auto crossOf = [](std::uint32_t layer) {
        return (layer >> 1 & 1) | (layer >> 2 & 0xe) | (layer >> 3 & 0x10);
    };
    return crossOf(mask) | crossOf(mask >> 18) << 5 | (mask >> 9 & 0xf) << 10 | (mask >> 14 & 0xf) << 14;
}

// True if removing the centre would join empty regions that are apart now: the
// missing face neighbours do not hang together over missing edge neighbours.
inline bool isCriticalBlock(std::uint32_t mask) {
    const std::uint32_t index = criticalIndex(mask);
    return criticalTable()[index / 64] >> index % 64 & 1;
}

// True if a face neighbour is missing, the missing cells are one region in which
// face steps lead from each to each, and they are minMissing or more. False
// if the centre is missing.
inline bool isRimBlock(std::uint32_t mask, int minMissing) {
    const std::uint32_t missing = ~mask & blockAll;
    if (countCells(missing) < minMissing || (missing & blockCentreBit)) return false;
    const std::uint32_t faces = missing & blockFaces;
    if (!faces) return false;
    return floodBlock(faces & (~faces + 1), missing) == missing;
}

// The rim of a sheet sees one empty region of this size, the inside of a sheet two.
constexpr int borderMissing = 19;
// A rim that is still two cells thick.
constexpr int thickRimMissing = 17;
// No cell has so many missing neighbours.
constexpr int noRimMissing = 28;

inline bool isBorderBlock(std::uint32_t mask) {
    return isRimBlock(mask, borderMissing) && !isCriticalBlock(mask);
}

// True if a cell at the centre would close a hole of one cell in a sheet that is one cell
// thick: cells at four faces, and the missing ones form two regions, one at each other face.
inline bool isPinholeBlock(std::uint32_t mask) {
    constexpr int maxSheet = 10;  // cells; a clean sheet has 8 to 9
    mask &= ~blockCentreBit;
    const std::uint32_t missing = ~mask & blockAll & ~blockCentreBit, faces = missing & blockFaces;
    if (countCells(faces) != 2 || countCells(mask) > maxSheet) return false;
    const std::uint32_t first = faces & (~faces + 1);
    const std::uint32_t region = floodBlock(first, missing);
    return !(region & faces & ~first) && (region | floodBlock(faces & ~first, missing)) == missing;
}

// True if the centre exists, lies open on a face, isn't critical, and isn't a rim
// of minMissing cells or more (see the constants above).
inline bool mayGoBlock(std::uint32_t mask, int minMissing) {
    if (!(mask & blockCentreBit) || (mask & blockFaces) == blockFaces) return false;
    return !isCriticalBlock(mask) && !isRimBlock(mask, minMissing);
}

// What lies behind the centre seen from its face dir, 0 to 5 as in blockFace. That
// face must be exposed, unless there is a cell behind. The way round never leads through the centre.
inline OppState oppStateOfBlock(std::uint32_t mask, int dir) {
    const std::uint32_t from = 1u << blockFace[static_cast<std::size_t>(dir)];
    const std::uint32_t opposite = 1u << blockFace[static_cast<std::size_t>(dir ^ 1)];
    if (mask & opposite) return OS_SOLID;
    const std::uint32_t flood = floodBlock(from, ~mask & blockAll & ~blockCentreBit);
    return flood & opposite ? OS_CONNECTED : OS_SEPARATED;
}

}  // namespace QUOR_ZEF
