#include "polygon/Casx.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <map>
#include <set>

#include "bytes/Visualizer3.h"
#include "grid/Calc.h"
#include "support/capture.h"
#include "support/tempFolder.h"

using namespace QUOR_ZEF;
using zef_test::printedText;
using zef_test::TempFolder;

namespace {

using Triangle = std::set<int>;  // cells by bit
using Offset = std::array<int, 3>;

struct Slot {
    Triangle cells;
    TriUse use;
};

Triangle cellsOf(int mask) {
    Triangle cells;
    for (int i = 0; i < 8; ++i) {
        if (mask >> i & 1) cells.insert(i);
    }
    return cells;
}

std::vector<Slot> rowOf(const Casx& casx, int config) {
    std::vector<Slot> row;
    for (int slot = 0; slot < 12 && casx.getMask(config, slot) <= 255; ++slot) {
        row.push_back({cellsOf(casx.getMask(config, slot)), casx.getUse(config, slot)});
    }
    return row;
}

std::vector<int> masksOf(const Casx& casx, int config, TriUse use) {
    std::vector<int> masks;
    for (int slot = 0; slot < 12 && casx.getMask(config, slot) <= 255; ++slot) {
        if (casx.getUse(config, slot) == use) masks.push_back(casx.getMask(config, slot));
    }
    return masks;
}

// Where a cell stands in the block, 0 or 1 along each axis.
Offset offsetOf(int cell) {
    static const Offset offsets[8] = {{0, 0, 1}, {1, 0, 1}, {1, 0, 0}, {0, 0, 0},
                                      {0, 1, 1}, {1, 1, 1}, {1, 1, 0}, {0, 1, 0}};
    return offsets[cell];
}

int cellAt(const Offset& o) {
    for (int cell = 0; cell < 8; ++cell) {
        if (offsetOf(cell) == o) return cell;
    }
    return -1;
}

// Quarter turns of the block, on coordinates.
int turnCell(int cell, int axis) {
    const auto [x, y, z] = offsetOf(cell);
    if (axis == 0) return cellAt({x, z, 1 - y});
    if (axis == 1) return cellAt({1 - z, y, x});
    return cellAt({1 - y, x, z});
}

Triangle turn(const Triangle& cells, int axis) {
    Triangle turned;
    for (const int cell : cells) turned.insert(turnCell(cell, axis));
    return turned;
}

std::array<uint64, 8> codesAround63() {
    const Calc calc(0, 0, 0, 100, 100, 100, 10);
    std::array<uint64, 8> codes{};
    codes[5] = 63;
    calc.getCellsAroundVCD(codes.data());
    return codes;
}

// The diagonal rule on the real codes of a block.
void unify(Triangle& a, Triangle& b) {
    static const std::array<uint64, 8> codes = codesAround63();
    std::vector<int> shared, others;
    std::set_intersection(a.begin(), a.end(), b.begin(), b.end(), std::back_inserter(shared));
    std::set_symmetric_difference(a.begin(), a.end(), b.begin(), b.end(), std::back_inserter(others));
    if (shared.size() != 2) return;
    bool bFlat = false;
    for (int axis = 0; axis < 3; ++axis) {
        const auto part = [&](int cell) { return codes[static_cast<std::size_t>(cell)] & getMask(axis); };
        bFlat = bFlat || (part(shared[0]) == part(shared[1]) && part(shared[0]) == part(others[0]) &&
                          part(shared[0]) == part(others[1]));
    }
    const auto smallest = [&](const std::vector<int>& cells) {
        return std::min(codes[static_cast<std::size_t>(cells[0])], codes[static_cast<std::size_t>(cells[1])]);
    };
    if (!bFlat || smallest(others) > smallest(shared)) return;
    a = {others[0], others[1], shared[0]};
    b = {others[0], others[1], shared[1]};
}

int configOf(const Triangle& cells) {
    int config = 0;
    for (const int cell : cells) config |= 1 << cell;
    return config;
}

}  // namespace

TEST(Casx, rowsAreTheRotatedBaseRowsWithUnifiedDiagonals) {
    const Casx casx(TM_FAT, false);
    std::map<int, std::vector<Slot>> expected;
    for (const int base : casx::baseConfigs) {
        for (int i = 0; i < 4; ++i) {
            for (int j = 0; j < 4; ++j) {
                for (int k = 0; k < 4; ++k) {
                    const auto turned = [&](Triangle cells) {
                        for (int n = 0; n < i; ++n) cells = turn(cells, 0);
                        for (int n = 0; n < j; ++n) cells = turn(cells, 1);
                        for (int n = 0; n < k; ++n) cells = turn(cells, 2);
                        return cells;
                    };
                    std::vector<Slot> row = rowOf(casx, base);
                    for (Slot& slot : row) slot.cells = turned(slot.cells);
                    for (std::size_t p = 0; p < row.size(); ++p) {
                        for (std::size_t q = p + 1; q < row.size(); ++q) unify(row[p].cells, row[q].cells);
                    }
                    expected.emplace(configOf(turned(cellsOf(base))), row);
                }
            }
        }
    }
    ASSERT_EQ(expected.size(), 256u);
    for (const auto& [config, row] : expected) {
        const std::vector<Slot> found = rowOf(casx, config);
        ASSERT_EQ(found.size(), row.size()) << config;
        for (std::size_t slot = 0; slot < row.size(); ++slot) {
            EXPECT_EQ(found[slot].cells, row[slot].cells) << config << " slot " << slot;
            EXPECT_EQ(found[slot].use, row[slot].use) << config << " slot " << slot;
        }
    }
}

TEST(Casx, tableHasItsKnownFigures) {
    const Casx casx(TM_FAT, false);
    int numRows = 0, longest = 0;
    std::map<std::size_t, int> rowsByCount;
    for (int config = 0; config < 256; ++config) {
        const int length = static_cast<int>(rowOf(casx, config).size());
        numRows += length > 0;
        longest = std::max(longest, length);
        ++rowsByCount[masksOf(casx, config, TUT).size()];
    }
    EXPECT_EQ(numRows, 194);
    EXPECT_EQ(longest, 10);
    EXPECT_EQ(rowsByCount, (std::map<std::size_t, int>{{0, 94}, {1, 8}, {2, 84}, {3, 24}, {4, 30}, {6, 16}}));
    const std::map<int, std::vector<int>> flats = {{15, {11, 14}},   {51, {49, 35}},   {102, {38, 100}},
                                                   {153, {25, 152}}, {204, {76, 200}}, {240, {176, 224}}};
    for (const auto& [config, masks] : flats) EXPECT_EQ(masksOf(casx, config, TUT), masks) << config;
    EXPECT_EQ(masksOf(casx, 7, TUT), std::vector<int>());
    EXPECT_EQ(masksOf(casx, 27, TUT), std::vector<int>());
    EXPECT_EQ(masksOf(casx, 90, TUT), (std::vector<int>{88, 26, 74, 82}));
}

TEST(Casx, rowsAreManifoldButForSixAndFlatPairsUseTheSmallestCell) {
    const Casx casx(TM_FAT, false);
    std::set<int> crowded;
    for (int config = 0; config < 256; ++config) {
        std::map<std::set<int>, int> trianglesOfEdge;
        std::vector<Triangle> triangles;
        for (const int mask : masksOf(casx, config, TUT)) triangles.push_back(cellsOf(mask));
        for (const Triangle& triangle : triangles) {
            for (const int cell : triangle) {
                std::set<int> edge = triangle;
                edge.erase(cell);
                if (++trianglesOfEdge[edge] > 2) crowded.insert(config);
            }
        }
        for (std::size_t p = 0; p < triangles.size(); ++p) {
            for (std::size_t q = p + 1; q < triangles.size(); ++q) {
                Triangle a = triangles[p], b = triangles[q];
                unify(a, b);
                EXPECT_TRUE(a == triangles[p] && b == triangles[q]) << config;
            }
        }
    }
    EXPECT_EQ(crowded, (std::set<int>{123, 126, 175, 189, 237, 250}));
}

// Two corners that are neighbours along an axis share four cells: where both have
// triangles among these, they must be the same ones.
TEST(Casx, neighbouringCornersAgreeOnSharedTriples) {
    const Casx casx(TM_FAT, false);
    for (int axis = 0; axis < 3; ++axis) {
        const std::size_t along = static_cast<std::size_t>(axis), u = (along + 1) % 3, v = (along + 2) % 3;
        for (int filling = 0; filling < 4096; ++filling) {
            std::set<std::set<int>> shared[2];
            for (int corner = 0; corner < 2; ++corner) {
                const auto positionOf = [&](int cell) {
                    const Offset o = offsetOf(cell);
                    return (corner + o[along]) * 4 + o[u] * 2 + o[v];
                };
                int config = 0;
                for (int cell = 0; cell < 8; ++cell) config |= (filling >> positionOf(cell) & 1) << cell;
                uint64 positions[8];
                for (int cell = 0; cell < 8; ++cell) positions[cell] = static_cast<uint64>(positionOf(cell));
                std::vector<uint64> vTri;
                casx.getTriangles(config, positions, vTri, TUT);
                for (std::size_t t = 0; t < vTri.size(); t += 3) {
                    std::set<int> triple;
                    for (std::size_t c = 0; c < 3; ++c) triple.insert(static_cast<int>(vTri[t + c]));
                    const bool bShared = std::all_of(triple.begin(), triple.end(), [](int p) { return p / 4 == 1; });
                    if (bShared) shared[corner].insert(triple);
                }
            }
            if (shared[0].empty() || shared[1].empty()) continue;
            EXPECT_EQ(shared[0], shared[1]) << axis << " " << filling;
        }
    }
}

TEST(Casx, borderLookupsFindAbsentAndOppositeCells) {
    const Casx casx(TM_FAT, false);
    const std::map<int, int> opposite = {{63, 3},   {111, 6},   {119, 34}, {127, 2},   {159, 9},   {187, 17}, {191, 1},
                                         {207, 12}, {221, 136}, {223, 8},  {238, 68},  {239, 4},   {243, 48}, {246, 96},
                                         {247, 32}, {249, 144}, {251, 16}, {252, 192}, {253, 128}, {254, 64}};
    int numMissing = 0;
    for (int config = 0; config < 256; ++config) {
        const int numCells = std::popcount(static_cast<unsigned>(config));
        const bool bDefined = numCells == 6 || numCells == 7;
        EXPECT_EQ(casx.getMissingMask(config), bDefined ? 255 - config : 0) << config;
        numMissing += casx.getMissingMask(config) != 0;
        const auto it = opposite.find(config);
        EXPECT_EQ(casx.getOppositeMask(config), it == opposite.end() ? 0 : it->second) << config;
    }
    EXPECT_EQ(numMissing, 36);
}

// Config 90: four cells as cubes of 8 vertices, four as points, and four triangles over them.
TEST(Casx, aConfigIsShownWithItsCellsAndTriangles) {
    const TempFolder folder;
    Visualizer3 visualizer;
    const Casx casx(TM_FAT, false);
    EXPECT_EQ(printedText([&] { casx.showConfig(90, &visualizer, "four", 63); }), "showConfig 90 four\n");
    ASSERT_TRUE(visualizer.write(folder.name("a.list")));
    const std::string text = folder.get("a.list"), cube = "{ OFF\n8 6 0\n";
    std::size_t numCubes = 0;
    for (std::size_t at = text.find(cube); at != std::string::npos; at = text.find(cube, at + 1)) ++numCubes;
    EXPECT_EQ(numCubes, 4u);
    EXPECT_NE(text.find("{ VECT\n"), std::string::npos);
    EXPECT_NE(text.find("{ COFF\n4 4 0\n"), std::string::npos);
}

TEST(Casx, configOfACornerSumsTheBitsOfItsCells) {
    const std::array<uint64, 8> codes = codesAround63();
    for (int config = 0; config < 256; ++config) {
        std::vector<uint64> vCCD;
        for (const int cell : cellsOf(config)) vCCD.push_back(codes[static_cast<std::size_t>(cell)]);
        EXPECT_EQ(getCornerConfig(63, vCCD), config);
    }
}
