#include "tiles/TileOwners.h"

#include <algorithm>

namespace QUOR_ZEF {

namespace {

bool isIn(const TileBox& box, const GridCoords& cell) {
    return cell.x >= box.low[0] && cell.x < box.high[0] && cell.y >= box.low[1] && cell.y < box.high[1] &&
           cell.z >= box.low[2] && cell.z < box.high[2];
}

// Away from the ends of the grid.
bool isIn(const TileBox& box, const GridCoords& cell, uint64 margin) {
    const auto isBetween = [&](uint64 x, int axis) {
        const auto i = static_cast<std::size_t>(axis);
        return x + margin >= box.low[i] && x < box.high[i] + margin;
    };
    return isBetween(cell.x, 0) && isBetween(cell.y, 1) && isBetween(cell.z, 2);
}

bool meet(const TileBox& a, const TileBox& b, uint64 margin) {
    for (std::size_t axis = 0; axis < 3; ++axis)
        if (a.low[axis] > b.high[axis] + margin || b.low[axis] > a.high[axis] + margin) return false;
    return true;
}

}  // namespace

TileBox widened(TileBox box, uint64 numCells) {
    for (std::size_t axis = 0; axis < 3; ++axis) {
        box.low[axis] -= std::min(numCells, box.low[axis]);
        box.high[axis] += numCells;
    }
    return box;
}

TileOwners::TileOwners(const TilePlan& plan, std::uint32_t tile) : own{tile, plan.boxes.at(tile)} {
    constexpr uint64 growth = 256;  // cells
    const uint64 reach = static_cast<uint64>(plan.options.halo) + growth;
    for (std::uint32_t i = 0; i < plan.boxes.size(); ++i)
        if (i != tile && meet(own.box, plan.boxes[i], reach)) vAround.push_back({i, plan.boxes[i]});
}

std::uint32_t TileOwners::ownerOf(const GridCoords& cell) const {
    if (isIn(own.box, cell)) return own.tile;
    const auto it = std::ranges::find_if(vAround, [&](const Owned& other) { return isIn(other.box, cell); });
    return it != vAround.end() ? it->tile : nobody;
}

// Farther than the band from all other boxes.
bool TileOwners::isDeepInside(const GridCoords& cell) const {
    const auto isDeep = [&](uint64 x, std::size_t axis) {
        return x >= own.box.low[axis] + bandWidth && x + bandWidth < own.box.high[axis];
    };
    return isDeep(cell.x, 0) && isDeep(cell.y, 1) && isDeep(cell.z, 2);
}

void TileOwners::listViewers(const GridCoords& cell, std::vector<std::uint32_t>& vViewers) const {
    vViewers.clear();
    if (isIn(own.box, cell, bandWidth)) vViewers.push_back(own.tile);
    if (isDeepInside(cell)) return;
    for (const Owned& other : vAround)
        if (isIn(other.box, cell, bandWidth)) vViewers.push_back(other.tile);
    std::sort(vViewers.begin(), vViewers.end());
}

bool TileOwners::isShared(const GridCoords& cell) const {
    if (isDeepInside(cell)) return false;
    const auto num = std::ranges::count_if(vAround, [&](const Owned& o) { return isIn(o.box, cell, bandWidth); });
    return num + isViewed(cell) > 1;
}

bool TileOwners::isViewed(const GridCoords& cell) const {
    return isIn(own.box, cell, bandWidth);
}

}  // namespace QUOR_ZEF
