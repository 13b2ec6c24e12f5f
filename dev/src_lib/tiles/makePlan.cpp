#include "tiles/makePlan.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "cloud/Cloud.h"
#include "frame/tools.h"
#include "grid/Calc.h"
#include "tiles/TileFinder.h"
#include "tiles/cutBoxes.h"

namespace QUOR_ZEF {

namespace {

TileBox cellsOf(const Calc& calc, const Point3& low, const Point3& high) {
    const GridCoords first = unpackRCD(calc.getRCD(low)), last = unpackRCD(calc.getRCD(high));
    return {{first.x, first.y, first.z}, {last.x + 1, last.y + 1, last.z + 1}};
}

// Blocks of strays are left out; centres of others may lie beyond their points.
std::vector<CellCount> countsOf(const Grid& grid, const BlockCounts& counts, const TileBox& data) {
    const Calc calc = calcOf(grid);
    std::vector<CellCount> vCounts;
    for (const BlockCounts::Block& block : counts.getBlocks()) {
        const Point3 centre = counts.centreOf(block.place);
        if (!isInGrid(calc, centre)) continue;
        const GridCoords at = unpackRCD(calc.getRCD(centre));
        const auto inside = [&](uint64 x, std::size_t axis) {
            return static_cast<std::uint32_t>(std::clamp(x, data.low[axis], data.high[axis] - 1));
        };
        vCounts.push_back({{inside(at.x, 0), inside(at.y, 1), inside(at.z, 2)}, block.num});
    }
    return vCounts;
}

// By tile, of those in its box widened so far.
std::vector<uint64> countPoints(const TilePlan& plan, uint64 halo, const std::vector<CellCount>& vCounts) {
    TileFinder finder(plan, halo, vCounts.size());
    std::vector<uint64> vNums(plan.boxes.size());
    for (const auto& [cell, num] : vCounts)
        for (const std::uint32_t tile : finder.find({cell[0], cell[1], cell[2]})) vNums[tile] += num;
    return vNums;
}

std::string gigabytes(double bytes) {
    const auto tenths = static_cast<uint64>(bytes / 1e8 + 0.5);
    return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + " GB";
}

void warnOfMemory(const TilePlan& plan, uint64 mostPoints) {
    const double bytes = bytesOfTile(static_cast<double>(mostPoints), plan.grid);
    const auto memory = static_cast<double>(plan.options.memory);
    if (bytes <= memory) return;
    showWarning("tiles", "a tile is expected to take " + gigabytes(bytes) + " of memory, more than the " +
                             gigabytes(memory) +
                             " that it may: give more memory, more cuts if there are some, a larger spacing or a "
                             "smaller halo");
}

}  // namespace

void cutPlan(TilePlan& plan, const BlockCounts& counts) {
    const TileBox data = cellsOf(calcOf(plan.grid), plan.low, plan.high);
    const std::vector<CellCount> vCounts = countsOf(plan.grid, counts, data);
    plan.boxes = cutBoxes(plan.grid, data, vCounts, plan.options);
    plan.numPoints = countPoints(plan, 0, vCounts);
    const std::vector<uint64> vWithHalo = countPoints(plan, static_cast<uint64>(plan.options.halo), vCounts);
    warnOfMemory(plan, *std::max_element(vWithHalo.begin(), vWithHalo.end()));
}

}  // namespace QUOR_ZEF
