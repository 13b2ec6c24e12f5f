#include "gaps/GapCloser.h"

#include <gtest/gtest.h>

#include "gaps/drawnGaps.h"
#include "support/capture.h"
#include "support/digest.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

GapCloser closer(int growSteps, bool bKeepBorders) {
    static const Calc calc = unitGrid();
    return {calc, growSteps, bKeepBorders};
}

std::vector<RCDPoint> withCentres(const Codes& vRCD) {
    std::vector<RCDPoint> v;
    for (const uint64 rcd : vRCD) v.emplace_back(rcd, unitGrid().getCellCenter(unitGrid().rcdToCcd(rcd)));
    return v;
}

// A flat sheet with a square hole of this width in its middle.
Codes sheetWithHole(int width) {
    const int low = 100 + 15, high = low + width - 1, end = high + 15;
    return difference(voxelBox(100, 100, 100, end, end, 100), voxelBox(low, low, 100, high, high, 100));
}

// What filling adds.
Codes addedCells(const Codes& vCells, int numGrowSteps, bool bKeepBorders) {
    std::vector<RCDPoint> vAll = withCentres(vCells);
    closer(numGrowSteps, bKeepBorders).fillGaps(vCells, vAll);
    Codes vAllCodes = codesOf(vAll);
    sortUniqueMT(vAllCodes);
    EXPECT_EQ(vAllCodes.size(), vAll.size());
    return difference(vAllCodes, vCells);
}

const Codes vHole5 = voxelBox(115, 115, 100, 119, 119, 100);

}  // namespace

TEST(GapCloser, closesHolesExactlyAndKeepsTheOpenBorderIfAsked) {
    EXPECT_EQ(addedCells(sheetWithHole(5), 7, true), vHole5);
    const Codes vGrown = addedCells(sheetWithHole(5), 7, false);
    EXPECT_EQ(intersection(vGrown, vHole5), vHole5);
    EXPECT_GT(vGrown.size(), 25u + 4 * 35u) << "over the border";
    // A hole that is filled in part only is taken back.
    EXPECT_GT(addedCells(sheetWithHole(25), 3, false).size(), 4 * 25u);
    EXPECT_TRUE(addedCells(sheetWithHole(25), 3, true).empty());
    // Pieces grow by their own size only; a single cell is one, too.
    const Codes vSmallHole = voxelBox(405, 105, 100, 409, 109, 100);
    Codes vCells = unionOf(sheetWithHole(9), voxelBox(300, 300, 300, 300, 300, 300));
    vCells = unionOf(vCells, difference(voxelBox(400, 100, 100, 414, 114, 100), vSmallHole));
    EXPECT_EQ(addedCells(vCells, 20, true), unionOf(voxelBox(115, 115, 100, 123, 123, 100), vSmallHole));
}

// On the inside, which is concave, a dent beside a hole would be several cells deep.
TEST(GapCloser, fillingsOfAShellLieInIt) {
    double farthest = 0.0;
    for (unsigned k = 60; k < 65; ++k) {
        const std::vector<RCDPoint> vAll = drawnSamples(drawnShell(k), k);
        const Codes vCells = codesOf(vAll);
        Codes vKept, vDoomed;
        const Calc calc = unitGrid();
        RemoveDecider_RCD(&vCells, &calc).pruneLayered(vAll, vCells, vKept, vDoomed, false, true, 0);
        for (const uint64 rcd : addedCells(vKept, 20, true)) {
            const GridCoords c = unpackRCD(rcd);
            const double radius =
                std::hypot(double(c.x) - shellCentre, double(c.y) - shellCentre, double(c.z) - shellCentre);
            farthest = std::max(farthest, std::abs(radius - shellRadius));
        }
    }
    EXPECT_LT(farthest, 1.0) << "cells";
}

TEST(GapCloser, everyStepIsTheRecordedOne) {
    expectRecorded(
        {2003885377, 3557509159, 926874964, 3084868315, 2045545099, 1043985886, 103505235, 2981152424, 323731308,
         369133641, 2014255556, 3332283402, 3664385954, 3757956223, 1013996971, 953668898, 2143924311, 2693843479},
        [&](unsigned k, Digest& digest) {
            const CaptureCout quiet;
            Scene scene;
            addDrawnGaps(scene, k);
            scene.finish();
            const int numGrowSteps = 4 + static_cast<int>(k % 3) * 4;
            for (const bool bKeepBorders : {false, true}) {
                std::vector<RCDPoint> vAll = scene.vSamples;
                closer(numGrowSteps, bKeepBorders).fillGaps(scene.vCells, vAll);
                digest.add(vAll);
            }
            // Some of the cells, as a filling of the others.
            Draws draws(k);
            Codes vArea, vBorder, vBridges, vCells = scene.vCells;
            std::vector<RCDPoint> vCloud, vZero, vOut;
            for (const RCDPoint& pair : scene.vSamples) {
                const GridCoords c = unpackRCD(pair.first);
                const bool bZero = (c.x / 4 + c.y / 5 + k) % 3 == 0 || draws.below(40) == 0;
                (bZero ? vZero : vCloud).push_back(pair);
                if (!bZero) (draws.below(4) ? vArea : vBorder).push_back(pair.first);
                if (bZero && draws.below(3) == 0) vBridges.push_back(pair.first);
            }
            std::vector<RCDPoint> vPinholes = vCloud, vTight = vZero, vPeeled = vZero;
            Codes vPinholeCodes = codesOf(vCloud);
            const GapCloser gapCloser = closer(7, true);
            gapCloser.closePinholes(vPinholeCodes, vPinholes);
            gapCloser.tightenFilling(vBorder, vCloud, vTight);
            gapCloser.peelFilling(codesOf(vCloud), vBridges, vPeeled);
            std::vector<ZeroComponent> vComponents;
            gapCloser.rateZeroComponents(codesOf(vZero), vBorder, vComponents);
            for (const ZeroComponent& component : vComponents) {
                digest.add(component.ratio, component.vCells);
            }
            gapCloser.pruneZeros(vArea, vBorder, vZero, vOut);
            EXPECT_TRUE(vArea.empty() && vBorder.empty());
            for (const auto& v : {vPinholes, vTight, vPeeled, vOut}) digest.add(v);
            digest.add(vPinholeCodes);
        });
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
    EXPECT_EQ(tightened(19, 1, 17), 6859u);          // around a whole block of empty cells
    EXPECT_EQ(tightened(20, 1, 18), 8000u - 5832u);  // too large
    EXPECT_EQ(tightened(3, 1, 2), 27u - 8u);         // open to the outside
    // The inside of an object stays empty under its lid.
    const Codes vHull = difference(voxelBox(100, 100, 100, 106, 106, 106), voxelBox(101, 101, 101, 105, 105, 105));
    const Codes vLid = voxelBox(101, 101, 106, 105, 105, 106);
    std::vector<RCDPoint> vFilled = withCentres(vLid);
    closer(7, true).tightenFilling(difference(vHull, vLid), withCentres(difference(vHull, vLid)), vFilled);
    EXPECT_EQ(codesOf(vFilled), vLid);
}

TEST(GapCloser, refusesFillingInCellsOfTheCloud) {
    const auto prunes = [](Codes vArea, Codes vBorder, const Codes& vZero) {
        return [=]() mutable {
            std::vector<RCDPoint> vZeroPoints = withCentres(vZero), vOut;
            closer(7, false).pruneZeros(vArea, vBorder, vZeroPoints, vOut);
        };
    };
    EXPECT_TRUE(failsWith("assert_disjoint(vLocalArea,vLocalBorder)", prunes({1, 2}, {2}, {3})));
    EXPECT_TRUE(failsWith("assert_disjoint(vLocalArea,vZeroRCD)", prunes({1, 3}, {2}, {3})));
    EXPECT_TRUE(failsWith("assert_disjoint(vLocalBorder,vZeroRCD)", prunes({1}, {2, 3}, {3})));
    EXPECT_TRUE(failsWith("isUnique vRCD2ZeroPoint", prunes({1}, {2}, {7, 7})));
    EXPECT_TRUE(failsWith("isUnique vLocalArea", prunes({1, 1}, {2}, {7})));
    EXPECT_TRUE(failsWith("isUnique vLocalBorder", prunes({1}, {2, 2}, {7})));
}
