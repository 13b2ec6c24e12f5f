#include "gaps/GrowthChoice.h"

#include <gtest/gtest.h>

#include "field/Component.h"
#include "gaps/drawnGaps.h"
#include "grid/coarseCodes.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

struct Growth {
    Codes vChosen;  // coarse cells
    CodePoints vFilled;
    bool bAsked = false;
};

// All growth steps, the ones after the fourth where they were chosen, or everywhere.
Growth grownOn(const Codes& vCells, bool bChoose = true) {
    const Calc calc = unitGrid();
    Codes vArea, vBorder;
    RemoveDecider_RCD(&vCells, &calc).classify(vArea, vBorder);
    CodePoints vSamples;
    for (const uint64 rcd : vCells) vSamples.emplace_back(rcd, calc.getCellCenter(calc.rcdToCcd(rcd)));
    Filler filler(20, vBorder, vArea, vSamples, &calc);
    filler.maxSourceSteps = filler.numFreeSteps = 4;
    filler.joinPieces();
    const GrowthChoice choice(filler, vSamples);
    Growth growth;
    if (bChoose)
        filler.chooseGrowth = [&](const Component& component, const Codes& vCrossed) {
            growth.bAsked = true;
            return growth.vChosen = choice.find(component, vCells, vBorder, vCrossed);
        };
    filler.growComponents(growth.vFilled);
    return growth;
}

Codes plate(int low, int high) {
    return voxelBox(low, 100, 100, high, 170, 100);
}

std::size_t numChosenOf(const Growth& growth, const Codes& vCells) {
    return intersection(coarseCodesOf(vCells), growth.vChosen).size();
}

// The filling above, below and in these cells, at any z.
Codes filledAt(const Growth& growth, const Codes& vCells) {
    Codes v;
    for (const auto& [rcd, sample] : growth.vFilled) {
        const GridCoords c = unpackRCD(rcd);
        if (containsCode(vCells, packRCD(c.x, c.y, 100))) v.push_back(rcd);
    }
    return v;
}

}  // namespace

TEST(GrowthChoice, isWhatClosesHolesAndCracksAndNotTheOpenBorder) {
    // In a plate, on a lattice that halving cuts unevenly; and between two, with open ends.
    const Codes vHole = voxelBox(121, 121, 100, 135, 135, 100), vCrack = voxelBox(141, 110, 100, 154, 160, 100);
    const Codes vHoled = difference(plate(100, 190), vHole), vCracked = unionOf(plate(100, 140), plate(155, 190));
    for (const auto& [vCells, vGap] : {std::pair(vHoled, vHole), std::pair(vCracked, vCrack)}) {
        const Growth growth = grownOn(vCells), everywhere = grownOn(vCells, false);
        EXPECT_EQ(numChosenOf(growth, vGap), coarseCodesOf(vGap).size());
        // The coarse copy's zero level, from which the field went on, is not quite where the field's own would be.
        const Codes vFilled = filledAt(growth, vGap);
        EXPECT_EQ(intersection(vFilled, filledAt(everywhere, vGap)), filledAt(everywhere, vGap));
        EXPECT_LE(vFilled.size(), vGap.size() + 10);
        // Beside the plates, beyond the free steps and the cells at their end.
        const Codes vOutside = unionOf(voxelBox(70, 100, 100, 94, 170, 100), voxelBox(196, 100, 100, 220, 170, 100));
        EXPECT_TRUE(filledAt(growth, vOutside).empty());
        EXPECT_FALSE(filledAt(everywhere, vOutside).empty());
    }
    // A flat hole, where the sides never meet: in its plane, or a cell off it.
    const Codes vWide = voxelBox(115, 115, 100, 139, 139, 100);
    const Growth wide = grownOn(difference(plate(90, 170), vWide));
    Codes vColumns;
    for (const uint64 rcd : filledAt(wide, vWide)) {
        const GridCoords c = unpackRCD(rcd);
        EXPECT_LE(c.z - 99, 2u);
        vColumns.push_back(packRCD(c.x, c.y, 100));
    }
    sortUniqueMT(vColumns);
    EXPECT_EQ(vColumns, vWide);
    // A hole that the field does not reach across, and nothing at all.
    for (const Codes& vCells : {difference(plate(100, 190), voxelBox(110, 110, 100, 180, 160, 100)), plate(100, 170)}) {
        const Growth none = grownOn(vCells);
        EXPECT_TRUE(none.bAsked);
        EXPECT_TRUE(none.vChosen.empty());
    }
}

TEST(CoarseCodes, areThoseOfHalvedCoordinates) {
    constexpr uint64 coordinates[] = {0, 1, 6, 1'048'577, coordMask};
    for (const uint64 x : coordinates) {
        for (const uint64 y : coordinates)
            EXPECT_EQ(coarseCodeOf(packRCD(x, y, x ^ y)), packRCD(x / 2, y / 2, (x ^ y) / 2));
    }
}
