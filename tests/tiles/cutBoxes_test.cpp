#include "tiles/cutBoxes.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "support/drawnCells.h"
#include "tiles/TileFinder.h"

using namespace QUOR_ZEF;
using zef_test::Draws;

namespace {

Grid gridOf(int numLevels) {
    Grid grid;
    grid.spacing = 1.0;
    grid.numLevels = numLevels;
    return grid;
}

// Ground with a dense corner, in cells from 5000 on.
std::vector<CellCount> drawnCounts(uint64 perCell) {
    Draws draws(3);
    std::vector<CellCount> v;
    for (int i = 0; i < 6000; ++i) {
        const unsigned x = draws.below(3000);
        const unsigned y = draws.below(1000);
        const unsigned z = draws.below(20);
        v.push_back({{5000 + x, 5000 + y, 5000 + z}, x < 300 ? 20 * perCell : perCell});
    }
    return v;
}

TileBox boxOf(const std::vector<CellCount>& vCounts) {
    TileBox box = {{~0ull, ~0ull, ~0ull}, {0, 0, 0}};
    for (const CellCount& count : vCounts)
        for (std::size_t axis = 0; axis < 3; ++axis) {
            box.low[axis] = std::min<uint64>(box.low[axis], count.cell[axis]);
            box.high[axis] = std::max<uint64>(box.high[axis], count.cell[axis] + 1);
        }
    return box;
}

bool holds(const TileBox& box, const std::array<uint64, 3>& cell, uint64 halo) {
    for (std::size_t axis = 0; axis < 3; ++axis)
        if (cell[axis] + halo < box.low[axis] || cell[axis] >= box.high[axis] + halo) return false;
    return true;
}

std::vector<std::uint32_t> findSlowly(const std::vector<TileBox>& boxes, const std::array<uint64, 3>& cell,
                                      uint64 halo) {
    std::vector<std::uint32_t> vTiles;
    for (std::uint32_t i = 0; i < boxes.size(); ++i)
        if (holds(boxes[i], cell, halo)) vTiles.push_back(i);
    return vTiles;
}

uint64 numNear(const TileBox& box, const std::vector<CellCount>& vCounts, uint64 halo) {
    uint64 num = 0;
    for (const auto& [cell, n] : vCounts)
        if (holds(box, {cell[0], cell[1], cell[2]}, halo)) num += n;
    return num;
}

// Cells everywhere, and at the planes between boxes and their halos.
std::vector<std::array<uint64, 3>> askedCells(const std::vector<TileBox>& boxes, uint64 halo, unsigned end) {
    Draws draws(11);
    std::vector<std::array<uint64, 3>> v;
    for (int i = 0; i < 3000; ++i) {
        std::array<uint64, 3> cell{};
        for (uint64& x : cell) x = draws.below(end);
        v.push_back(cell);
        const TileBox& box = boxes[draws.below(static_cast<unsigned>(boxes.size()))];
        const std::size_t axis = draws.below(3);
        cell = box.low;
        for (const uint64 x : {box.low[axis] - 1, box.low[axis], box.low[axis] - halo, box.low[axis] - halo - 1,
                               box.high[axis] + halo, box.high[axis] + halo - 1}) {
            cell[axis] = x;
            if (x < end) v.push_back(cell);
        }
    }
    return v;
}

}  // namespace

TEST(cutBoxes, shareOutAllCellsWithinMemory) {
    const std::vector<CellCount> vCounts = drawnCounts(50);
    const unsigned end = 1u << 14;
    for (const int halo : {0, 32}) {
        TileOptions options;
        options.memory = 120'000'000;
        options.halo = halo;
        const std::vector<TileBox> boxes = cutBoxes(gridOf(14), boxOf(vCounts), vCounts, options);
        ASSERT_GT(boxes.size(), 5u);
        for (std::size_t i = 0; i < boxes.size(); ++i) {
            const auto num = numNear(boxes[i], vCounts, static_cast<uint64>(halo));
            EXPECT_LE(bytesOfTile(static_cast<double>(num), gridOf(14)), 120e6);
            if (i > 0) {
                const auto &a = boxes[i - 1].low, &b = boxes[i].low;
                EXPECT_LT(packCCD(a[0], a[1], a[2]), packCCD(b[0], b[1], b[2]));
            }
        }
        for (const auto& cell : askedCells(boxes, 1, end)) EXPECT_EQ(findSlowly(boxes, cell, 0).size(), 1u);
    }
}

// Halves are alike, so that there are hardly more tiles than memory asks for.
TEST(cutBoxes, tilesHaveAboutAsManyPoints) {
    const std::vector<CellCount> vCounts = drawnCounts(100);
    TileOptions options;
    options.memory = 150'000'000;
    options.halo = 0;
    const std::vector<TileBox> boxes = cutBoxes(gridOf(14), boxOf(vCounts), vCounts, options);
    uint64 least = ~0ull, most = 0;
    for (const TileBox& box : boxes) {
        least = std::min(least, numNear(box, vCounts, 0));
        most = std::max(most, numNear(box, vCounts, 0));
    }
    EXPECT_LT(most, 2 * least);
}

TEST(cutBoxes, tilesInARowAreNearlyFull) {
    std::vector<CellCount> vCounts;
    for (unsigned x = 0; x < 10'000; ++x) vCounts.push_back({{2000 + x, 50, 50}, 1000});
    TileOptions options;
    options.halo = 100;
    for (const double num : {3.0, 5.0, 9.0, 11.0}) {
        // With both halos, and a tenth to spare.
        options.memory = static_cast<uint64>(1.1 * bytesOfTile(1000.0 * (10'000.0 / num + 200.0), gridOf(14)));
        EXPECT_EQ(cutBoxes(gridOf(14), boxOf(vCounts), vCounts, options).size(), static_cast<std::size_t>(num));
    }
}

TEST(cutBoxes, tilesBecomeNoNarrowerThanTheirHalo) {
    const std::vector<CellCount> vCounts = drawnCounts(1'000'000'000);
    TileOptions options;
    options.memory = 150'000'000;
    const std::vector<TileBox> boxes = cutBoxes(gridOf(14), boxOf(vCounts), vCounts, options);
    for (const TileBox& box : boxes)
        for (std::size_t axis = 0; axis < 2; ++axis) EXPECT_GE(box.high[axis] - box.low[axis], 64u);
}

TEST(cutBoxes, cutsAreOfEqualWidths) {
    const TileBox data = {{5000, 5000, 5000}, {6001, 5500, 5003}};
    TileOptions options;
    options.cuts = {3, 2, 1};
    std::vector<TileBox> boxes = cutBoxes(gridOf(14), data, {}, options);
    ASSERT_EQ(boxes.size(), 6u);
    std::ranges::sort(boxes, {}, &TileBox::low);
    const uint64 end = 1u << 14;
    EXPECT_EQ(boxes.front().low, (std::array<std::uint64_t, 3>{0, 0, 0}));
    EXPECT_EQ(boxes.front().high, (std::array<std::uint64_t, 3>{5333, 5250, end}));
    EXPECT_EQ(boxes[2].high[0], 5667u);
    EXPECT_EQ(boxes.back().low, (std::array<std::uint64_t, 3>{5667, 5250, 0}));
    EXPECT_EQ(boxes.back().high, (std::array<std::uint64_t, 3>{end, end, end}));
    options.cuts = {1, 1, 4};
    EXPECT_THROW(cutBoxes(gridOf(14), data, {}, options), ArgumentError);
}

TEST(TileFinder, findsWhatLookingAtAllBoxesFinds) {
    const std::vector<CellCount> vCounts = drawnCounts(50);
    TileOptions options;
    options.memory = 150'000'000;
    options.halo = 40;
    TilePlan plan;
    plan.grid = gridOf(14);
    plan.boxes = cutBoxes(plan.grid, boxOf(vCounts), vCounts, options);
    for (const uint64 numAsked : {uint64{1}, uint64{1} << 40}) {
        TileFinder finder(plan, 40, numAsked);
        for (const auto& cell : askedCells(plan.boxes, 40, 1u << 14)) {
            const auto found = finder.find({cell[0], cell[1], cell[2]});
            EXPECT_TRUE(std::ranges::equal(found, findSlowly(plan.boxes, cell, 40)));
        }
    }
}
