#include "grid/cellTopology.h"

namespace QUOR_ZEF {

namespace {

// The way back from criticalIndex(): a block mask without centre and corners.
std::uint32_t blockOfCriticalIndex(std::uint32_t index) {
    const auto layerOf = [](std::uint32_t cross) {
        return (cross & 1) << 1 | (cross & 0xe) << 2 | (cross & 0x10) << 3;
    };
    return layerOf(index) | layerOf(index >> 5) << 18 | (index >> 10 & 0xf) << 9 | (index >> 14 & 0xf) << 14;
}

// A step from face to edge neighbour and on to the next face is a link between
// two faces of different axes; edge neighbours have no other steps.
bool isCriticalByFlood(std::uint32_t mask) {
    constexpr std::uint32_t corners = 1u << 0 | 1u << 2 | 1u << 6 | 1u << 8 | 1u << 18 | 1u << 20 | 1u << 24 | 1u << 26;
    const std::uint32_t open = ~mask & blockAll & ~corners & ~blockCentreBit;
    const std::uint32_t faces = open & blockFaces;
    if (!faces) return false;
    return (floodBlock(faces & (~faces + 1), open) & faces) != faces;
}

CriticalTable makeCriticalTable() {
    CriticalTable table{};
    for (std::uint32_t index = 0; index < (1u << 18); ++index) {
        if (isCriticalByFlood(blockOfCriticalIndex(index))) table[index / 64] |= std::uint64_t{1} << index % 64;
    }
    return table;
}

}  // namespace

const CriticalTable& criticalTable() {
    static const CriticalTable table = makeCriticalTable();
    return table;
}

}  // namespace QUOR_ZEF
