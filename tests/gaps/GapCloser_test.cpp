#include "gaps/GapCloser.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "grid/Calc.h"
#include "grid/CellBlocks.h"
#include "grid/RemoveDecider_RCD.h"
#include "grid/codeSets.h"
#include "support/capture.h"
#include "support/voxels.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

using Codes = std::vector<uint64>;

GapCloser closer(int growSteps, bool bKeepBorders) {
    static const Calc calc = unitGrid();
    return {calc, growSteps, bKeepBorders};
}

std::vector<RCDPoint> withCentres(const Codes& vRCD) {
    std::vector<RCDPoint> v;
    for (const uint64 rcd : vRCD) {
        const GridCoords c = unpackRCD(rcd);
        v.emplace_back(rcd, Point3(double(c.x) + 0.5, double(c.y) + 0.5, double(c.z) + 0.5));
    }
    return v;
}

// A flat sheet with a square hole of this width in its middle.
Codes sheetWithHole(int width) {
    const int low = 100 + 15, high = low + width - 1, end = high + 15;
    return difference(voxelBox(100, 100, 100, end, end, 100), voxelBox(low, low, 100, high, high, 100));
}

// What filling adds.
Codes addedCells(int width, int numGrowSteps, bool bKeepBorders) {
    const Codes vCells = sheetWithHole(width);
    std::vector<RCDPoint> vAll = withCentres(vCells);
    closer(numGrowSteps, bKeepBorders).fillGaps(vCells, vAll);
    Codes vAdded = codesOf(vAll);
    vAdded.erase(vAdded.begin(), vAdded.begin() + static_cast<std::ptrdiff_t>(vCells.size()));
    return vAdded;
}

const Codes vHole5 = voxelBox(115, 115, 100, 119, 119, 100);

// Cells of a cloud, and of fillings beside them, at random.
struct RandomFilling {
    Codes vArea, vBorder, vZero;

    explicit RandomFilling(unsigned seed) {
        std::mt19937 random(seed);
        Codes vAll = randomCells(random, 50, 16, 0.15);
        const Codes vSheet = noisySheet(20, 20, 0.6, seed);
        vAll = unionOf(vAll, vSheet);
        for (const uint64 rcd : vAll) {
            const GridCoords c = unpackRCD(rcd);
            const bool bZero = (c.x / 4 + c.y / 5 + seed) % 3 == 0 || random() % 40 == 0;
            (bZero ? vZero : random() % 4 ? vArea : vBorder).push_back(rcd);
        }
    }
};

}  // namespace

TEST(GapCloser, closesAHoleExactlyAndKeepsTheOpenBorder) {
    EXPECT_EQ(addedCells(5, 7, true), vHole5);
    EXPECT_EQ(addedCells(5, 20, true), vHole5);
}

// Pieces grow by their own size only; a single cell is one, too.
TEST(GapCloser, closesTheHolesOfEachPieceBesideSmallOnes) {
    const Codes vSmallHole = voxelBox(405, 105, 100, 409, 109, 100);
    Codes vCells = unionOf(sheetWithHole(9), voxelBox(300, 300, 300, 300, 300, 300));
    vCells = unionOf(vCells, difference(voxelBox(400, 100, 100, 414, 114, 100), vSmallHole));
    std::vector<RCDPoint> vAll = withCentres(vCells);
    closer(20, true).fillGaps(vCells, vAll);
    Codes vAllCodes = codesOf(vAll);
    std::sort(vAllCodes.begin(), vAllCodes.end());
    EXPECT_EQ(difference(vAllCodes, vCells), unionOf(voxelBox(115, 115, 100, 123, 123, 100), vSmallHole));
}

TEST(GapCloser, growsOverTheBorderUnlessItIsToBeKept) {
    const Codes vAdded = addedCells(5, 7, false);
    EXPECT_EQ(intersection(vAdded, vHole5), vHole5);
    EXPECT_GT(vAdded.size(), 25u + 4 * 35u);
}

TEST(GapCloser, takesAPartlyFilledHoleBackWhenBordersAreKept) {
    EXPECT_GT(addedCells(25, 3, false).size(), 4 * 25u);
    EXPECT_TRUE(addedCells(25, 3, true).empty());
}

TEST(GapCloser, addsASingleCellThatIsMissingAtTheSeam) {
    const Codes vCells = sheetWithHole(5);
    Codes vArea, vBorder;
    const Calc calc = unitGrid();
    RemoveDecider_RCD(&vCells, &calc).classify(vArea, vBorder);
    const auto tightened = [&](const Codes& vMissing) {
        std::vector<RCDPoint> vFilled = withCentres(difference(vHole5, vMissing));
        closer(7, true).tightenFilling(vBorder, withCentres(vCells), vFilled);
        for (const RCDPoint& pair : vFilled) EXPECT_EQ(calc.getRCD(pair.second), pair.first);
        return codesOf(vFilled);
    };
    EXPECT_EQ(tightened({packRCD(115, 117, 100)}), vHole5);
    // What isn't a single cell at the seam is a gap that growth left open.
    const Codes vPair = {packRCD(115, 117, 100), packRCD(115, 118, 100)}, vMiddle = {packRCD(117, 117, 100)};
    EXPECT_EQ(tightened(vPair), difference(vHole5, vPair));
    EXPECT_EQ(tightened(vMiddle), difference(vHole5, vMiddle));
}

// Rims two cells thick are taken off for the field only.
TEST(GapCloser, takesCellsOfTheCloudOnlyBesideWhatItAdds) {
    const Calc calc = unitGrid();
    std::size_t numThick = 0, numAdded = 0;
    for (unsigned seed = 1; seed <= 6; ++seed) {
        const Codes vHole = voxelBox(110, 110, 90, 114, 114, 110);
        const Codes vBand = difference(noisySheet(24, 24, 0.5, seed), seed % 2 ? vHole : Codes());
        Codes vCells, vCore, vDoomed;
        RemoveDecider_RCD(&vBand, &calc).pruneLayered(withCentres(vBand), vBand, vCells, vDoomed, false, true, 0);
        RemoveDecider_RCD(&vCells, &calc).pruneLayered(withCentres(vCells), vCells, vCore, vDoomed, false, true, 99);
        numThick += vCells.size() - vCore.size();
        std::vector<RCDPoint> vAll = withCentres(vCells);
        closer(12, true).fillGaps(vCells, vAll);
        Codes vAfter = codesOf(vAll);
        sortUniqueMT(vAfter);
        const Codes vAdded = difference(vAfter, vCells);
        const CellBlocks_RCD added(vAdded);
        for (const uint64 rcd : difference(vCells, vAfter)) EXPECT_NE(added.mask27(rcd), blockCentreBit) << seed;
        numAdded += vAdded.size();
    }
    EXPECT_GT(numThick, 50u);
    EXPECT_GT(numAdded, 3 * 20u);
}

TEST(GapCloser, closesPinholesOfOneCellInsideASheet) {
    const Codes vSheet = voxelBox(100, 100, 100, 120, 120, 100);
    const auto closed = [&](const Codes& vMissing) {
        std::vector<RCDPoint> vPoints = withCentres(difference(vSheet, vMissing));
        Codes vCodes = codesOf(vPoints);
        closer(7, true).closePinholes(vCodes, vPoints);
        EXPECT_EQ(codesOf(vPoints), vCodes);
        for (const RCDPoint& pair : vPoints) EXPECT_EQ(unitGrid().getRCD(pair.second), pair.first);
        return difference(vCodes, difference(vSheet, vMissing));
    };
    const Codes vPinhole = {packRCD(110, 110, 100)}, vGap = voxelBox(105, 105, 100, 105, 106, 100);
    EXPECT_EQ(closed(unionOf(vPinhole, vGap)), vPinhole);
    EXPECT_TRUE(closed(voxelBox(100, 110, 100, 100, 110, 100)).empty()) << "a notch of the rim";
}

TEST(GapCloser, fillsPocketsThatAreSmallOrWalledInByTheFilling) {
    const Codes vCells = voxelBox(50, 50, 50, 60, 60, 50);
    const auto tightened = [&](int side, int low, int high) {
        std::vector<RCDPoint> vFilled =
            withCentres(difference(voxelBox(100, 100, 100, 99 + side, 99 + side, 99 + side),
                                   voxelBox(100 + low, 100 + low, 100 + low, 100 + high, 100 + high, 100 + high)));
        closer(7, true).tightenFilling(vCells, withCentres(vCells), vFilled);
        return vFilled.size();
    };
    EXPECT_EQ(tightened(4, 1, 2), 64u);
    EXPECT_EQ(tightened(5, 1, 3), 125u);
    EXPECT_EQ(tightened(3, 1, 2), 27u - 8u);  // open to the outside
}

TEST(GapCloser, leavesTheInsideOfAnObjectEmptyUnderItsLid) {
    const Codes vHull = difference(voxelBox(100, 100, 100, 106, 106, 106), voxelBox(101, 101, 101, 105, 105, 105));
    const Codes vLid = voxelBox(101, 101, 106, 105, 105, 106), vCells = difference(vHull, vLid);
    std::vector<RCDPoint> vFilled = withCentres(vLid);
    closer(7, true).tightenFilling(vCells, withCentres(vCells), vFilled);
    EXPECT_EQ(codesOf(vFilled), vLid);
}

TEST(GapCloser, ratesComponentsByTheCornersThatTheyShareWithTheBorder) {
    const GapCloser gapCloser = closer(7, false);
    const Calc calc = unitGrid();
    int numPartly = 0;
    for (unsigned seed = 1; seed <= 8; ++seed) {
        const RandomFilling filling(seed);
        Codes vBorderRCC;
        calc.getCorners_RCD(filling.vBorder, vBorderRCC, true);
        std::vector<ZeroComponent> vComponents;
        gapCloser.rateZeroComponents(filling.vZero, filling.vBorder, vComponents);
        std::size_t numCells = 0;
        for (const ZeroComponent& component : vComponents) {
            numCells += component.vCells.size();
            Codes vArea, vRim;
            RemoveDecider_RCD(&component.vCells, &calc).classify(vArea, vRim);
            double numTouching = 0;
            for (const uint64 rcd : vRim) {
                Codes vRCC;
                calc.getCorners_RCD({rcd}, vRCC, true);
                numTouching += !intersection(vRCC, vBorderRCC).empty();
            }
            const double ratio = vRim.size() < 10 ? 1.0 : numTouching / static_cast<double>(vRim.size());
            EXPECT_EQ(component.ratio, ratio);
            numPartly += ratio > 0.0 && ratio < 1.0;
        }
        EXPECT_EQ(numCells, filling.vZero.size());
    }
    EXPECT_GT(numPartly, 3);
}

TEST(GapCloser, prunesAllComponentsAtOnceLikeOneAfterTheOther) {
    const GapCloser gapCloser = closer(7, false);
    const Calc calc = unitGrid();
    for (unsigned seed = 1; seed <= 8; ++seed) {
        RandomFilling filling(seed);
        std::vector<RCDPoint> vZeroPoints = withCentres(filling.vZero), vOut;
        const Codes vAll = unionOf(unionOf(filling.vArea, filling.vBorder), filling.vZero);
        std::vector<ZeroComponent> vComponents;
        gapCloser.rateZeroComponents(filling.vZero, filling.vBorder, vComponents);
        RemoveDecider_RCD decider(&vAll, &calc);
        Codes vKept, vDoomed;
        for (const ZeroComponent& component : vComponents) {
            decider.prune(vZeroPoints, component.vCells, vKept, vDoomed, component.ratio < 0.3, false);
        }
        gapCloser.pruneZeros(filling.vArea, filling.vBorder, vZeroPoints, vOut);
        EXPECT_EQ(codesOf(vOut), difference(filling.vZero, vDoomed));
        EXPECT_LT(vOut.size(), filling.vZero.size());
        EXPECT_TRUE(filling.vArea.empty() && filling.vBorder.empty());
    }
}

TEST(GapCloser, refusesFillingInCellsOfTheCloud) {
    const GapCloser gapCloser = closer(7, false);
    RandomFilling filling(1);
    std::vector<RCDPoint> vZeroPoints = withCentres({filling.vBorder[0]}), vOut;
    EXPECT_TRUE(failsWith("assert_disjoint(vLocalBorder,vZeroRCD)",
                          [&] { gapCloser.pruneZeros(filling.vArea, filling.vBorder, vZeroPoints, vOut); }));
    vZeroPoints = withCentres({7, 7});
    EXPECT_TRUE(failsWith("isUnique vRCD2ZeroPoint",
                          [&] { gapCloser.pruneZeros(filling.vArea, filling.vBorder, vZeroPoints, vOut); }));
}
