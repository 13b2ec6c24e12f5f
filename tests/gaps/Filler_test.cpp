#include "gaps/Filler.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <optional>
#include <vector>

#include "gaps/Bridges.h"
#include "gaps/drawnGaps.h"
#include "support/capture.h"
#include "support/digest.h"

using namespace QUOR_ZEF;
using namespace zef_test;

// Pairs, sides, bridges and what is filled.
TEST(Filler, everyStepIsTheRecordedOne) {
    std::size_t numFilled = 0;
    expectRecorded(
        {2009595389, 1959488862, 3981875256, 2354013249, 298050941, 3581473771, 3642311785, 1159023546, 1171318867,
         604442552, 4135819388, 853411388, 1322415995, 767783135, 3135944763, 1756247326, 1704231116, 132567786},
        [&](unsigned k, Digest& digest) {
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
            Filler::AffiPairs vPairs;
            filler.determineAffiliation(k % 2 ? 150 : 12, vPairs);
            for (const auto& [pA, pB] : vPairs) {
                digest.add(pA->rcd, pB->rcd, pA->dist);
            }
            filler.dropStacked(vPairs);
            digest.add(vPairs.size());
            filler.orient(vPairs);
            for (const auto& pConnection : filler.vAllConnections) digest.add(pConnection->score);
            for (const auto& pRaw : filler.vRawComponents) {
                for (const Facet& f : pRaw->vVisibleFacets) digest.add(f.component);
            }
            Bridges bridges(filler);
            filler.mergeComponents();
            // On several threads, each component once.
            std::vector<std::optional<std::vector<uint64>>> vBridged(filler.vComponents.size());
            filler.adapt = [&](const Component& component, CodePoints& vNew) {
                vBridged.at(static_cast<std::size_t>(component.id)) = bridges.find(component, codesOf(vNew));
            };
            CodePoints vOut;
            filler.growComponents(vOut);
            for (const auto& bridged : vBridged)
                if (bridged) digest.add(*bridged);
            digest.add(vOut);
            numFilled += vOut.size();
        });
    EXPECT_GT(numFilled, 1000u);
}

TEST(Filler, refusesListsThatDoNotAddUp) {
    Scene scene;
    addDrawnGaps(scene, 0);
    scene.finish();
    scene.vArea.pop_back();
    EXPECT_TRUE(failsWith("vGlobalAreaRCD.size()+vGlobalBorderRCD.size()==vGlobalRCDPoint.size()",
                          [&] { scene.makeFiller(7); }));
}
