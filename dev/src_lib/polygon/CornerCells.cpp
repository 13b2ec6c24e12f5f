#include "polygon/CornerCells.h"

#include <algorithm>

#include "frame/tools.h"
#include "grid/Calc.h"
#include "parallel/sortMT.h"
#include "polygon/CasxTables.h"

namespace QUOR_ZEF {

namespace {

constexpr unsigned tribits[3] = {4, 2, 1};

// The cells of a 4x4x4 block, in the order of codes, whose coordinate along an
// axis has these bits.
constexpr uint64 layersAlong(unsigned tribit, bool bLow, bool bHigh) {
    uint64 cells = 0;
    for (unsigned n = 0; n < 64; ++n) {
        if (((n & tribit) != 0) == bLow && ((n & 8 * tribit) != 0) == bHigh) cells |= uint64{1} << n;
    }
    return cells;
}

// One axis of a block: its layers 0 and 2, 1, and 3.
struct Axis {
    unsigned tribit;
    uint64 even, one, three;

    explicit constexpr Axis(unsigned tribit_)
        : tribit(tribit_),
          even(layersAlong(tribit, false, false) | layersAlong(tribit, false, true)),
          one(layersAlong(tribit, true, false)),
          three(layersAlong(tribit, true, true)) {}

    // Every cell one step up; the layer that enters comes from the block below.
    uint64 shiftUp(uint64 cells, uint64 cellsBelow) const {
        return (cells & even) << tribit | (cells & one) << 7 * tribit | (cellsBelow & three) >> 9 * tribit;
    }
};

constexpr Axis axes[3] = {Axis(tribits[0]), Axis(tribits[1]), Axis(tribits[2])};

// Steps on block keys, which are interleaved like codes. Below 0 lies a key that
// no block has.
uint64 keyAbove(uint64 key, std::size_t axis) {
    const uint64 mask = axisMask[axis];
    return (key & ~mask) | (((key | ~mask) + 1) & mask);
}
uint64 keyBelow(uint64 key, std::size_t axis) {
    const uint64 mask = axisMask[axis];
    return (key & ~mask) | (((key & mask) - 1) & mask);
}

}  // namespace

void CornerCells::build(std::span<const uint64> vCCD, const Calc& calc) {
    *this = CornerCells();
    numCells = vCCD.size();
    for (std::size_t i = 0; i < vCCD.size(); ++i) {
        ASSEX(i==0 || vCCD[i-1]<vCCD[i]);
        const uint64 key = vCCD[i] >> blockBits;
        if (vBlocks.empty() || vBlocks.back().key != key) vBlocks.push_back({key, 0});
        vBlocks.back().cells |= uint64{1} << (vCCD[i] & 63);
        lastVCD = std::max(lastVCD, calc.incSparse(calc.incSparse(calc.incSparse(vCCD[i], 4), 2), 1));
    }
    mBlock = CodeMap(vBlocks.size());
    for (std::uint32_t i = 0; i < vBlocks.size(); ++i) mBlock.insert(vBlocks[i].key, i);
    listCornerBlocks();
}

// A block's cells touch corners of the block itself, and of those above it that
// its last layers face.
void CornerCells::listCornerBlocks() {
    vCornerBlocks.reserve(2 * vBlocks.size());
    for (const Block& block : vBlocks) {
        for (unsigned up = 0; up < 8; ++up) {
            uint64 cells = block.cells, key = block.key;
            for (std::size_t axis = 0; axis < 3; ++axis) {
                if (!(up & tribits[axis])) continue;
                cells &= axes[axis].three;
                key = keyAbove(key, axis);
            }
            if (cells) vCornerBlocks.push_back(key);
        }
    }
    sortUniqueMT(vCornerBlocks);
}

uint64 CornerCells::cellsOf(uint64 key) const {
    const std::uint32_t block = mBlock.find(key);
    return block == CodeMap::npos ? 0 : vBlocks[block].cells;
}

CornerCells::CornerMasks CornerCells::cornerMasks(uint64 key) const {
    // By the axes, as tribits, along which a block lies one below. Axis by axis, a
    // tribit comes to mean that the corner's cell is a step down instead.
    std::array<uint64, 8> cells;
    for (unsigned down = 0; down < 8; ++down) {
        uint64 other = key;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            if (down & tribits[axis]) other = keyBelow(other, axis);
        }
        cells[down] = cellsOf(other);
    }
    for (const Axis& axis : axes) {
        for (unsigned n = 0; n < 8; ++n) {
            if (n & axis.tribit) cells[n] = axis.shiftUp(cells[n ^ axis.tribit], cells[n]);
        }
    }
    CornerMasks masks;
    for (std::size_t cell = 0; cell < 8; ++cell) {
        const casx::StepDown& down = casx::stepDown[cell];
        masks[cell] = cells[static_cast<std::size_t>(down.x * 4 + down.y * 2 + down.z)];
    }
    return masks;
}

int CornerCells::find(uint64 vcd) const {
    if (numCells == 0 || vcd > lastVCD) return end();
    const CornerMasks masks = cornerMasks(vcd >> blockBits);
    unsigned config = 0;
    for (unsigned cell = 0; cell < 8; ++cell) config |= static_cast<unsigned>(masks[cell] >> (vcd & 63) & 1) << cell;
    return static_cast<int>(config);
}

}  // namespace QUOR_ZEF
