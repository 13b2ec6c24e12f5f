#include "gaps/Filler.h"

#include <gtest/gtest.h>

#include "gaps/Bridges.h"
#include "gaps/drawnGaps.h"
#include "support/capture.h"
#include "support/digest.h"

using namespace QUOR_ZEF;
using namespace zef_test;

TEST(Filler, aHoleOfASheetClosesAtItsLevelOnEveryAxis) {
    // Samples in the middle of their cells, and on corners of the grid.
    for (const double place : {0.5, 0.0}) {
        for (int axis = 0; axis < 3; ++axis) {
            Scene scene;
            addSheetWithHole(scene, axis, place);
            scene.finish(false);
            CodePoints vOut;
            EXPECT_EQ(printedText([&] { scene.makeFiller(7).fill(vOut); }), "");
            Codes vColumns;
            for (const auto& [rcd, p] : vOut) {
                double c[3] = {p.px, p.py, p.pz};
                std::rotate(c, c + (axis + 1) % 3, c + 3);
                if (c[0] < 213 || c[0] >= 218 || c[1] < 213 || c[1] >= 218) continue;
                vColumns.push_back(packRCD(static_cast<uint64>(c[0]), static_cast<uint64>(c[1]), 0));
                EXPECT_NEAR(c[2], 200 + place, place > 0 ? 1e-6 : 1.0);
            }
            sortUniqueMT(vColumns);
            EXPECT_EQ(vColumns.size(), 25u);
        }
    }
}

// Pairs, sides, bridges and what is filled.
TEST(Filler, everyStepIsTheRecordedOne) {
    Digests vFound;
    std::size_t numFilled = 0;
    for (unsigned k = 0; k < 18; ++k) {
        const CaptureCout quiet;
        Scene scene;
        addDrawnGaps(scene, k);
        scene.finish();
        Filler filler = scene.makeFiller(3 + static_cast<int>(k % 5) * 3);
        filler.bStepsWithinSize = k % 3 == 0;
        filler.maxSourceSteps = k % 2 ? 4 : CornerStore::anywhere;
        filler.createComponents();
        // The sides of some are turned first.
        for (const auto& pRaw : filler.vRawComponents) {
            if (pRaw->id % 3 == 1) pRaw->flipSides();
        }
        Digest digest;
        Filler::AffiPairs vPairs;
        filler.determineAffiliation(k % 2 ? 150 : 12, vPairs);
        for (const auto& [pA, pB] : vPairs) {
            digest.add(pA->rcd);
            digest.add(pB->rcd);
            digest.add(pA->dist);
        }
        filler.dropStacked(vPairs);
        digest.add(vPairs.size());
        filler.orient(vPairs);
        for (const auto& pConnection : filler.vAllConnections) digest.add(pConnection->score);
        for (const auto& pRaw : filler.vRawComponents) {
            for (const Facet& f : pRaw->vVisibleFacets) digest.add(f.component);
        }
        Bridges bridges(filler);
        filler.adapt = [&](const Component& component, CodePoints& vNew) {
            digest.add(bridges.find(component, codesOf(vNew)));
        };
        filler.mergeComponents();
        CodePoints vOut;
        filler.growComponents(vOut);
        digest.add(vOut);
        numFilled += vOut.size();
        vFound.push_back(digest.get());
    }
    EXPECT_GT(numFilled, 1000u);
    EXPECT_EQ(vFound, (Digests{4088411148, 1959488862, 3981875256, 2354013249, 298050941, 3581473771, 959432555,
                               1159023546, 1171318867, 604442552, 4135819388, 4003048493, 3188782561, 767783135,
                               3135944763, 1756247326, 1704231116, 132567786}));
}

TEST(Filler, refusesListsThatDoNotAddUp) {
    Scene scene;
    addSheetWithHole(scene, 2, 0.5);
    scene.finish();
    scene.vArea.pop_back();
    EXPECT_TRUE(failsWith("vGlobalAreaRCD.size()+vGlobalBorderRCD.size()==vGlobalRCDPoint.size()",
                          [&] { scene.makeFiller(7); }));
}
