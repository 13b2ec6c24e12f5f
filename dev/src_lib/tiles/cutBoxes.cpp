#include "tiles/cutBoxes.h"

#include <algorithm>
#include <iterator>
#include <numeric>
#include <string>
#include <utility>

#include "frame/Run.h"
#include "grid/Calc.h"
#include "tiles/TileOwners.h"

namespace QUOR_ZEF {

namespace {

using Cell = std::array<std::uint32_t, 3>;

constexpr uint64 leastWidth = 16;  // cells

bool isIn(const TileBox& box, const Cell& cell) {
    for (std::size_t axis = 0; axis < 3; ++axis)
        if (cell[axis] < box.low[axis] || cell[axis] >= box.high[axis]) return false;
    return true;
}

TileBox wholeOf(const Grid& grid) {
    const uint64 end = uint64{1} << grid.numLevels;
    return {{0, 0, 0}, {end, end, end}};
}

// The planes between tiles along an axis, and the ends of the grid.
std::vector<uint64> evenCuts(uint64 low, uint64 high, int num, uint64 end) {
    const auto parts = static_cast<uint64>(num);
    if (parts > high - low)
        throw ArgumentError("cuts: " + std::to_string(parts) + " tiles along an axis on which the points fill " +
                            std::to_string(high - low) + " cells");
    std::vector<uint64> vCuts = {0};
    for (uint64 i = 1; i < parts; ++i) vCuts.push_back(low + (high - low) * i / parts);
    vCuts.push_back(end);
    return vCuts;
}

std::vector<TileBox> evenBoxes(const Grid& grid, const TileBox& data, const std::array<int, 3>& cuts) {
    const uint64 end = uint64{1} << grid.numLevels;
    std::array<std::vector<uint64>, 3> vCuts;
    for (std::size_t axis = 0; axis < 3; ++axis)
        vCuts[axis] = evenCuts(data.low[axis], data.high[axis], cuts[axis], end);
    std::vector<TileBox> boxes;
    for (std::size_t x = 0; x + 1 < vCuts[0].size(); ++x)
        for (std::size_t y = 0; y + 1 < vCuts[1].size(); ++y)
            for (std::size_t z = 0; z + 1 < vCuts[2].size(); ++z)
                boxes.push_back(
                    {{vCuts[0][x], vCuts[1][y], vCuts[2][z]}, {vCuts[0][x + 1], vCuts[1][y + 1], vCuts[2][z + 1]}});
    return boxes;
}

uint64 sumOfNums(const std::vector<CellCount>& vCounts) {
    return std::accumulate(vCounts.begin(), vCounts.end(), uint64{0},
                           [](uint64 sum, const CellCount& count) { return sum + count.num; });
}

std::vector<CellCount> countsIn(const TileBox& box, const std::vector<CellCount>& vCounts) {
    std::vector<CellCount> vInside;
    std::ranges::copy_if(vCounts, std::back_inserter(vInside), [&](const CellCount& c) { return isIn(box, c.cell); });
    return vInside;
}

// The axis along which the points of a box reach farthest, and from where to where.
struct Reach {
    std::size_t axis = 0;
    uint64 low = 0, high = 0;  // without high
    uint64 width() const { return high - low; }
};

Reach longestReach(const std::vector<CellCount>& vInside) {
    Reach longest;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const auto [itLow, itHigh] = std::ranges::minmax_element(
            vInside, [&](const CellCount& a, const CellCount& b) { return a.cell[axis] < b.cell[axis]; });
        const Reach reach = {axis, itLow->cell[axis], uint64{itHigh->cell[axis]} + 1};
        if (reach.width() > longest.width()) longest = reach;
    }
    return longest;
}

// Where this share of the points lies below, but not too near to the ends.
uint64 cutAtShare(std::vector<CellCount> vInside, double share, const Reach& reach, uint64 width) {
    const std::size_t axis = reach.axis;
    std::ranges::sort(vInside, {}, [&](const CellCount& count) { return count.cell[axis]; });
    const auto wanted = static_cast<uint64>(share * static_cast<double>(sumOfNums(vInside)));
    uint64 below = 0, cut = reach.low;
    for (const CellCount& count : vInside) {
        cut = count.cell[axis];
        if (below + count.num / 2 >= wanted) break;
        below += count.num;
    }
    return std::clamp(cut, reach.low + width, reach.high - width);
}

class Splitter {
public:
    Splitter(const TileOptions& options, const Grid& ofPlan)
        : memory(static_cast<double>(options.memory)),
          halo(static_cast<uint64>(options.halo)),
          width(std::max(halo, leastWidth)),
          grid(ofPlan) {}

    // vWide: the counts in the box and its halo.
    void split(const TileBox& box, const std::vector<CellCount>& vWide) {
        pollRun(0);
        const auto numWide = static_cast<double>(sumOfNums(vWide));
        const double bytes = bytesOfTile(numWide, grid);
        std::vector<CellCount> vInside;
        if (bytes > memory) vInside = countsIn(box, vWide);
        if (vInside.empty()) return boxes.push_back(box);
        const Reach reach = longestReach(vInside);
        if (reach.width() < 2 * width) return boxes.push_back(box);
        const uint64 cut = cutAtShare(std::move(vInside), lowerShare(numWide, reach), reach, width);
        TileBox lower = box, upper = box;
        lower.high[reach.axis] = upper.low[reach.axis] = cut;
        for (const TileBox& part : {lower, upper}) split(part, countsIn(widened(part, halo), vWide));
    }

    std::vector<TileBox> boxes;

private:
    // Of the points, so that tiles of this memory come out full: halves of halves could be half empty. numWide: the
    // points of the box and its halo.
    double lowerShare(double numWide, const Reach& reach) const {
        constexpr double safety = 0.95;  // points come in blocks, and unevenly
        const double bytesPerPoint = bytesOfTile(1.0, grid) - bytesOfTile(0.0, grid);
        const double most = safety * (memory - bytesOfTile(0.0, grid)) / bytesPerPoint;
        const auto wide = static_cast<double>(2 * halo), all = static_cast<double>(reach.width());
        const double widest = most / (numWide / (all + wide)) - wide;  // of tiles in a row, without their halo
        const double num = std::ceil(all / widest);
        if (widest < static_cast<double>(width) || num < 2.0) return 0.5;
        return std::floor(num / 2.0) / num;
    }

    double memory;
    uint64 halo, width;
    const Grid& grid;
};

}  // namespace

// A given spacing is taken for that of the points: there are as many cells as that bears.
double bytesOfTile(double numPoints, const Grid& grid) {
    constexpr double ownBytes = 20e6, perPoint = 120.0;
    constexpr double perCell = 600.0, perUnevenCell = 1150.0;
    constexpr double cellsPerPoint = 0.65;  // of a grid as fine as the points
    constexpr double margin = 1.25;         // scans take up to so many times as much
    const double factor = grid.measuredSpacing > 0.0 ? grid.spacing / grid.measuredSpacing : 1.0;
    const double numCells = cellsPerPoint / (factor * factor) * numPoints;
    return margin * (ownBytes + perPoint * numPoints + (grid.uneven ? perUnevenCell : perCell) * numCells);
}

std::vector<TileBox> cutBoxes(const Grid& grid, const TileBox& data, const std::vector<CellCount>& vCounts,
                              const TileOptions& options) {
    std::vector<TileBox> boxes;
    if (options.cuts != std::array<int, 3>{}) {
        boxes = evenBoxes(grid, data, options.cuts);
    } else {
        Splitter splitter(options, grid);
        splitter.split(wholeOf(grid), vCounts);
        boxes = std::move(splitter.boxes);
    }
    std::ranges::sort(boxes, {}, [](const TileBox& box) { return packCCD(box.low[0], box.low[1], box.low[2]); });
    return boxes;
}

}  // namespace QUOR_ZEF
