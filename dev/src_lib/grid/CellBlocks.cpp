#include "grid/CellBlocks.h"

#include <utility>

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
CellBlocks<Layout>::CellBlocks(std::span<const uint64> vCodes) : blocks(vCodes.size() / 32), vKeys(1), vListed(1) {
    ASSEX(vCodes.size() < npos);
    std::vector<std::uint32_t> vBlockOf(vCodes.size());
    uint64 lastKey = ~uint64{0};
    std::uint32_t block = 0;
    for (std::size_t i = 0; i < vCodes.size(); ++i) {
        pollRun(i);
        ASSEX(i == 0 || vCodes[i - 1] < vCodes[i]);
        const uint64 key = Layout::keyOf(vCodes[i]);
        if (key != lastKey) {
            const auto number = static_cast<std::uint32_t>(vKeys.size());
            block = blocks.insert(key, number);
            if (block == number) {
                vKeys.push_back(key);
                vListed.emplace_back();
            }
        }
        lastKey = key;
        const unsigned place = Layout::placeOf(vCodes[i]);
        vListed[block][place >> 6] |= uint64{1} << (place & 63);
        vBlockOf[i] = block;
    }
    vAlive = vListed;
    vDoomed.resize(vListed.size());
    vMarked.resize(vListed.size());
    linkBlocks();
    countCellsBefore();
    vOrder.resize(vCodes.size());
    constexpr std::size_t minChunk = 20'000;  // cells
    parallelChunks(vCodes.size(), minChunk, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            vOrder[slotAt(vBlockOf[i], Layout::placeOf(vCodes[i]))] = static_cast<std::uint32_t>(i);
        }
    });
}

template <class Layout>
void CellBlocks<Layout>::linkBlocks() {
    constexpr std::size_t minChunk = 200;  // blocks
    vLinks.resize(vKeys.size());
    parallelChunks(vKeys.size() - 1, minChunk, [&](std::size_t begin, std::size_t end) {
        for (std::size_t block = begin + 1; block <= end; ++block) vLinks[block] = linksOf(vKeys[block]);
    });
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
    vKeys.push_back(key);
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
std::vector<typename CellBlocks<Layout>::BlockNumbers> CellBlocks<Layout>::blocksByRegion() const {
    std::vector<std::pair<uint64, std::uint32_t>> vBlocks;
    vBlocks.reserve(vKeys.size());
    for (std::uint32_t block = 1; block < vKeys.size(); ++block) {
        vBlocks.emplace_back(Layout::regionOf(vKeys[block]), block);
    }
    std::sort(vBlocks.begin(), vBlocks.end());
    std::vector<BlockNumbers> vRegions;
    for (std::size_t i = 0; i < vBlocks.size(); ++i) {
        if (i == 0 || vBlocks[i].first != vBlocks[i - 1].first) vRegions.emplace_back();
        vRegions.back().push_back(vBlocks[i].second);
    }
    return vRegions;
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
                if (const std::uint32_t neighbour = links[(above >> 3) * 9 + by * 3 + bx]) {
                    vMarked[neighbour][above & 7] |= window;
                }
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
