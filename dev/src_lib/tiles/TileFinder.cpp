#include "tiles/TileFinder.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "tiles/TileOwners.h"

namespace QUOR_ZEF {

namespace {

bool holds(const TileBox& box, const GridCoords& cell) {
    return cell.x >= box.low[0] && cell.x < box.high[0] && cell.y >= box.low[1] && cell.y < box.high[1] &&
           cell.z >= box.low[2] && cell.z < box.high[2];
}

bool meets(const TileBox& box, const GridCoords& block, int level) {
    const auto overlaps = [&](uint64 x, std::size_t axis) {
        return x << level < box.high[axis] && (x + 1) << level > box.low[axis];
    };
    return overlaps(block.x, 0) && overlaps(block.y, 1) && overlaps(block.z, 2);
}

// Surfaces have no more cells than there are points, and blocks lie along them.
int leafLevelFor(uint64 numAsked) {
    constexpr int least = 5;
    constexpr double mostBlocks = 1e6;
    const double side = std::sqrt(static_cast<double>(numAsked) / mostBlocks);
    return std::max(least, static_cast<int>(std::ceil(std::log2(std::max(side, 1.0)))));
}

}  // namespace

TileFinder::TileFinder(const TilePlan& plan, uint64 halo, uint64 numAsked)
    : leafLevel(std::min(leafLevelFor(numAsked), plan.grid.numLevels)),
      rootLevel(plan.grid.numLevels),
      maps(static_cast<std::size_t>(rootLevel - leafLevel + 1)),
      lastLeaf(~uint64{0}) {
    for (const TileBox& box : plan.boxes) vBoxes.push_back(widened(box, halo));
    for (std::uint32_t tile = 0; tile < vBoxes.size(); ++tile) vTiles.push_back(tile);
    vLists.push_back({0, static_cast<std::uint32_t>(vBoxes.size())});
    maps.back().insert(0, 0);
}

// block: its code, that of its cells without the lowest levels.
std::uint32_t TileFinder::listOf(uint64 block, int level) {
    CodeMap& map = maps[static_cast<std::size_t>(level - leafLevel)];
    const std::uint32_t known = map.find(block);
    if (known != CodeMap::npos) return known;
    const List above = vLists[listOf(block >> 3, level + 1)];
    const GridCoords at = unpackCCD(block);
    List list = {vTiles.size(), 0};
    for (uint64 i = above.begin; i < above.begin + above.num; ++i) {
        const std::uint32_t tile = vTiles[i];
        if (meets(vBoxes[tile], at, level)) vTiles.push_back(tile);
    }
    list.num = static_cast<std::uint32_t>(vTiles.size() - list.begin);
    vLists.push_back(list);
    return map.insert(block, static_cast<std::uint32_t>(vLists.size() - 1));
}

std::span<const std::uint32_t> TileFinder::find(const GridCoords& cell) {
    const uint64 leaf = packCCD(cell.x >> leafLevel, cell.y >> leafLevel, cell.z >> leafLevel);
    if (leaf != lastLeaf) {
        lastList = listOf(leaf, leafLevel);
        lastLeaf = leaf;
    }
    const List& list = vLists[lastList];
    vFound.clear();
    for (uint64 i = list.begin; i < list.begin + list.num; ++i)
        if (holds(vBoxes[vTiles[i]], cell)) vFound.push_back(vTiles[i]);
    return vFound;
}

}  // namespace QUOR_ZEF
