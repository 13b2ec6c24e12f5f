#include "grid/CellBlocks.h"

#include "frame/Run.h"
#include "frame/tools.h"

namespace QUOR_ZEF {

namespace {

// On both ends of an axis there is nothing beyond.
bool stepBlock(uint64& coordinate, int step) {
    const uint64 moved = coordinate + static_cast<uint64>(static_cast<int64>(step) * 8);
    if (moved > coordMask) return false;
    coordinate = moved;
    return true;
}

// The lowest bit of byte i for each bit i of rows.
uint64 firstOfRows(unsigned rows) {
    const uint64 low = rows & 0xf, high = rows >> 4;
    // Copies of four bits, seven places apart: bit i of copy i lies at 8i.
    const uint64 spread = 1 | uint64{1} << 7 | uint64{1} << 14 | uint64{1} << 21;
    return (low * spread & 0x01010101) | (high * spread & 0x01010101) << 32;
}

}  // namespace

template <class Layout>
CellBlocks<Layout>::CellBlocks(std::span<const uint64> vCodes)
    : blocks(vCodes.size() / 32), vLinks(1), vListed(1), vAlive(1), vDoomed(1), vMarked(1) {
    ASSEX(vCodes.size() < npos);
    std::vector<std::uint32_t> vBlockOf(vCodes.size());
    uint64 lastKey = ~uint64{0};
    std::uint32_t block = 0;
    for (std::size_t i = 0; i < vCodes.size(); ++i) {
        pollRun(i);
        ASSEX(i == 0 || vCodes[i - 1] < vCodes[i]);
        const uint64 key = Layout::keyOf(vCodes[i]);
        if (key != lastKey) block = addBlock(key);
        lastKey = key;
        const unsigned place = Layout::placeOf(vCodes[i]);
        vListed[block][place >> 6] |= uint64{1} << (place & 63);
        vBlockOf[i] = block;
    }
    vAlive = vListed;
    countCellsBefore();
    vOrder.resize(vCodes.size());
    for (std::size_t i = 0; i < vCodes.size(); ++i) {
        vOrder[slotAt(vBlockOf[i], Layout::placeOf(vCodes[i]))] = static_cast<std::uint32_t>(i);
    }
}

template <class Layout>
void CellBlocks<Layout>::countCellsBefore() {
    vStart.resize(vListed.size());
    std::uint32_t first = 0;
    for (std::size_t block = 0; block < vListed.size(); ++block) {
        vStart[block].first = first;
        unsigned above = 0;
        for (std::size_t z = 0; z < 8; ++z) {
            vStart[block].above[z] = static_cast<std::uint16_t>(above);
            above += cell_blocks::countBits(vListed[block][z]);
        }
        first += above;
    }
}

// The block of this key, made and linked with those around it if it isn't there.
template <class Layout>
std::uint32_t CellBlocks<Layout>::addBlock(uint64 key) {
    const auto number = static_cast<std::uint32_t>(vLinks.size());
    if (const std::uint32_t block = blocks.insert(key, number); block != number) return block;
    vLinks.push_back(linksOf(key));
    vListed.emplace_back();
    vAlive.emplace_back();
    vDoomed.emplace_back();
    vMarked.emplace_back();
    for (std::size_t i = 0; i < 27; ++i) {
        if (const std::uint32_t other = vLinks[number][i]) vLinks[other][26 - i] = number;
    }
    return number;
}

template <class Layout>
typename CellBlocks<Layout>::Links CellBlocks<Layout>::linksOf(uint64 key) const {
    const GridCoords first = Layout::firstCellOf(key);
    Links links{};
    for (int i = 0; i < 27; ++i) {
        GridCoords c = first;
        if (!stepBlock(c.x, blockDx(i)) || !stepBlock(c.y, blockDy(i)) || !stepBlock(c.z, blockDz(i))) continue;
        links[static_cast<std::size_t>(i)] = blockOf(Layout::keyOfCell(c));
    }
    return links;
}

template <class Layout>
bool CellBlocks<Layout>::doom(uint64 code) {
    const unsigned place = Layout::placeOf(code);
    std::uint32_t block = blockOf(Layout::keyOf(code));
    if (block == 0) {
        block = addBlock(Layout::keyOf(code));
        vStart.push_back({static_cast<std::uint32_t>(size()), {}});
    }
    if (bitOf(vDoomed[block], place)) return false;
    const uint64 bit = uint64{1} << (place & 63);
    vDoomed[block][place >> 6] |= bit;
    vAlive[block][place >> 6] &= ~bit;
    return true;
}

template <class Layout>
void CellBlocks<Layout>::markAround(uint64 code) {
    const uint64 key = Layout::keyOf(code);
    const unsigned place = Layout::placeOf(code);
    const std::uint32_t block = blockOf(key);
    const Links links = block ? vLinks[block] : linksOf(key);
    // Three neighbours in a row of 24 cells, 8 in each block.
    const unsigned inX = 7u << ((place & 7) + 7), inY = 7u << ((place >> 3 & 7) + 7);
    for (unsigned by = 0; by < 3; ++by) {
        const uint64 rows = firstOfRows(inY >> by * 8 & 0xff);
        if (!rows) continue;
        for (unsigned bx = 0; bx < 3; ++bx) {
            const uint64 window = rows * (inX >> bx * 8 & 0xff);
            if (!window) continue;
            for (unsigned dz = 0; dz < 3; ++dz) {
                const unsigned above = (place >> 6) + dz + 7;
                vMarked[links[(above >> 3) * 9 + by * 3 + bx]][above & 7] |= window;
            }
        }
    }
}

template <class Layout>
std::uint32_t CellBlocks<Layout>::maskListed27(uint64 code) const {
    const uint64 key = Layout::keyOf(code);
    const std::uint32_t block = blockOf(key);
    const std::uint32_t mask = maskAt(vListed, block ? vLinks[block] : linksOf(key), Layout::placeOf(code));
    return isDoomed(code) ? mask & ~blockCentreBit : mask | blockCentreBit;
}

template class CellBlocks<PackedLayout>;
template class CellBlocks<InterleavedLayout>;

}  // namespace QUOR_ZEF
