#include "polygon/CornerCells.h"

#include <algorithm>
#include <utility>

#include "frame/Run.h"
#include "frame/tools.h"
#include "grid/Calc.h"
#include "parallel/parallelTransform.h"
#include "parallel/sortMT.h"
#include "polygon/CasxTables.h"

namespace QUOR_ZEF {

namespace {

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

constexpr Axis axes[3] = {Axis(4), Axis(2), Axis(1)};

// Byte c of the result has the bits c of all bytes.
uint64 transpose(uint64 x) {
    uint64 t = (x ^ (x >> 7)) & 0x00aa00aa00aa00aau;
    x ^= t ^ (t << 7);
    t = (x ^ (x >> 14)) & 0x0000cccc0000ccccu;
    x ^= t ^ (t << 14);
    t = (x ^ (x >> 28)) & 0x00000000f0f0f0f0u;
    return x ^ t ^ (t << 28);
}

// Without a processor's own instruction std::popcount is a call.
std::uint32_t countBits(uint64 bits) {
    bits -= (bits >> 1) & 0x5555555555555555u;
    bits = (bits & 0x3333333333333333u) + ((bits >> 2) & 0x3333333333333333u);
    bits = (bits + (bits >> 4)) & 0x0f0f0f0f0f0f0f0fu;
    return static_cast<std::uint32_t>((bits * 0x0101010101010101u) >> 56);
}

// Where the cells around a corner lie: the axes, as tribits, along which their
// block is one below the corner's, and their number in it.
struct Place {
    std::uint8_t below, number;
};
using Places = std::array<std::array<Place, 8>, 64>;

constexpr Places listPlaces() {
    Places places{};
    for (unsigned corner = 0; corner < 64; ++corner) {
        for (std::size_t cell = 0; cell < 8; ++cell) {
            const casx::StepDown& down = casx::stepDown[cell];
            unsigned number = corner, below = 0;
            for (const auto& [tribit, bDown] :
                 {std::pair(4u, down.x != 0), std::pair(2u, down.y != 0), std::pair(1u, down.z != 0)}) {
                const unsigned mask = 9 * tribit;
                if (!bDown) continue;
                if ((number & mask) == 0) below |= tribit;
                number = (number & ~mask) | (((number & mask) - 1) & mask);
            }
            places[corner][cell] = {static_cast<std::uint8_t>(below), static_cast<std::uint8_t>(number)};
        }
    }
    return places;
}

constexpr Places places = listPlaces();

}  // namespace

// Steps on block keys, which are interleaved like codes. Below 0 lies a key that
// no block has.
uint64 CornerCells::keyAbove(uint64 key, std::size_t axis) {
    const uint64 mask = axisMask[axis];
    return (key & ~mask) | (((key | ~mask) + 1) & mask);
}
uint64 CornerCells::keyBelow(uint64 key, std::size_t axis) {
    const uint64 mask = axisMask[axis];
    return (key & ~mask) | (((key & mask) - 1) & mask);
}

void CornerCells::build(std::span<const uint64> vCCD, const Calc& calc) {
    *this = CornerCells();
    for (std::size_t i = 0; i < vCCD.size(); ++i) {
        pollRun(i);
        ASSEX(i==0 || vCCD[i-1]<vCCD[i]);
        const uint64 key = vCCD[i] >> blockBits;
        if (vBlocks.empty() || vBlocks.back().key != key) vBlocks.push_back({key, 0, static_cast<std::uint32_t>(i)});
        vBlocks.back().cells |= uint64{1} << (vCCD[i] & 63);
        lastVCD = std::max(lastVCD, calc.incSparse(calc.incSparse(calc.incSparse(vCCD[i], 4), 2), 1));
    }
    mBlock = CodeMap(vBlocks.size());
    for (std::uint32_t i = 0; i < vBlocks.size(); ++i) {
        pollRun(i);
        mBlock.insert(vBlocks[i].key, i);
    }
    listCornerBlocks();
    mCornerBlock = CodeMap(vCornerBlocks.size());
    for (std::uint32_t i = 0; i < vCornerBlocks.size(); ++i) {
        pollRun(i);
        mCornerBlock.insert(vCornerBlocks[i], i);
    }
    parallelTransform(vCornerBlocks, vConfigs, [&](uint64 key) { return configsOf(key); });
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

const CornerCells::Block& CornerCells::blockAt(uint64 key) const {
    static constexpr Block empty = {0, 0, 0};
    const std::uint32_t block = mBlock.find(key);
    return block == CodeMap::npos ? empty : vBlocks[block];
}

const CornerCells::Configs& CornerCells::configsAt(uint64 key) const {
    static constexpr Configs empty{};
    const std::uint32_t block = mCornerBlock.find(key);
    return block == CodeMap::npos ? empty : vConfigs[block];
}

CornerCells::Configs CornerCells::configsOf(uint64 key) const {
    // By the axes, as tribits, along which a block lies one below. Axis by axis, a
    // tribit comes to mean that the corner's cell is a step down instead.
    std::array<uint64, 8> cells;
    for (unsigned down = 0; down < 8; ++down) {
        uint64 other = key;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            if (down & tribits[axis]) other = keyBelow(other, axis);
        }
        cells[down] = blockAt(other).cells;
    }
    for (const Axis& axis : axes) {
        for (unsigned n = 0; n < 8; ++n) {
            if (n & axis.tribit) cells[n] = axis.shiftUp(cells[n ^ axis.tribit], cells[n]);
        }
    }
    Configs configs;
    for (std::size_t eight = 0; eight < 8; ++eight) {
        uint64 bits = 0;  // of eight corners, a byte for each cell
        for (std::size_t cell = 0; cell < 8; ++cell) {
            const casx::StepDown& down = casx::stepDown[cell];
            const uint64 mask = cells[static_cast<std::size_t>(down.x * 4 + down.y * 2 + down.z)];
            bits |= (mask >> 8 * eight & 0xff) << 8 * cell;
        }
        bits = transpose(bits);
        for (std::size_t i = 0; i < 8; ++i) configs[8 * eight + i] = static_cast<std::uint8_t>(bits >> 8 * i);
    }
    return configs;
}

int CornerCells::find(uint64 vcd) const {
    if (vBlocks.empty() || vcd > lastVCD) return end();
    return configsAt(vcd >> blockBits)[vcd % blockSize];
}

CornerCells::CornerBlock::CornerBlock(const CornerCells& owner, std::size_t index, bool bCells)
    : key(owner.vCornerBlocks[index]), pConfigs(&owner.vConfigs[index]) {
    for (std::size_t axis = 0; axis < 3; ++axis) {
        aBelow[axis] = &owner.configsAt(keyBelow(key, axis));
        aAbove[axis] = &owner.configsAt(keyAbove(key, axis));
    }
    for (unsigned down = 0; bCells && down < 8; ++down) {
        uint64 other = key;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            if (down & tribits[axis]) other = keyBelow(other, axis);
        }
        aBlocks[down] = &owner.blockAt(other);
    }
}

std::uint32_t CornerCells::CornerBlock::getCell(unsigned corner, unsigned cell) const {
    const Place& place = places[corner][cell];
    const Block& block = *aBlocks[place.below];
    return block.first + countBits(block.cells & ((uint64{1} << place.number) - 1));
}

}  // namespace QUOR_ZEF
