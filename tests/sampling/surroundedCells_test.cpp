#include "sampling/surroundedCells.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <set>

#include "grid/Calc.h"

using namespace QUOR_ZEF;

namespace {

// Counts, for each cell, the corners that it shares with the set.
std::vector<uint64> surroundedPlainly(const std::vector<uint64>& vCells, const Calc& calc) {
    std::set<uint64> sCorners;
    for (const uint64 cell : vCells) {
        uint64 codes[8] = {cell};
        calc.getVCDsOfCCD(codes);
        sCorners.insert(codes, codes + 8);
    }
    std::map<uint64, int> mNumCorners;
    for (const uint64 corner : sCorners) {
        uint64 codes[8] = {};
        codes[5] = corner;
        calc.getCellsAroundVCD(codes);
        for (const uint64 cell : codes) ++mNumCorners[cell];
    }
    for (const uint64 cell : vCells) mNumCorners.erase(cell);
    std::vector<uint64> vOut;
    for (const auto& [cell, num] : mNumCorners) {
        if (num > 5) vOut.push_back(cell);
    }
    return vOut;
}

}  // namespace

TEST(SurroundedCells, areThoseWithMoreThanFiveSharedCorners) {
    const Calc calc(0, 0, 0, 64, 64, 64, 6);
    std::mt19937 random(3);
    for (const int numCells : {0, 1, 40, 400, 4000}) {
        // From the second layer of the grid on, over several blocks of 8x8x8.
        std::uniform_int_distribution<uint64> coordinate(1, numCells < 1000 ? 13 : 40);
        std::set<uint64> sCells;
        for (int i = 0; i < numCells; ++i) {
            const uint64 x = coordinate(random), y = coordinate(random);
            sCells.insert(packCCD(x, y, coordinate(random) / 3 + 1));
        }
        const std::vector<uint64> vCells(sCells.begin(), sCells.end());
        const std::vector<uint64> vFound = getSurroundedCells(vCells);
        EXPECT_EQ(vFound, surroundedPlainly(vCells, calc)) << numCells;
        EXPECT_EQ(vFound.empty(), numCells < 40);
    }
}
