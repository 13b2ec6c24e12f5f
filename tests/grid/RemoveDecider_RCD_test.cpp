#include "grid/RemoveDecider_RCD.h"

#include <gtest/gtest.h>

#include "grid/RemoveDecider.h"
#include "grid/codeSets.h"
#include "support/digest.h"
#include "support/drawnCells.h"

using namespace QUOR_ZEF;
using namespace zef_test;

using Codes = std::vector<uint64>;

TEST(RemoveDecider_RCD, answersAreTheRecordedOnes) {
    const Calc calc = unitGrid();
    const Digests vRecorded = {3016247532, 2731055021, 3216019431, 2361102427, 3533979580, 3776589717,
                               2259740466, 2691196001, 2972420723, 970057209,  1548120380, 2052902705};
    expectRecorded(vRecorded, [&](unsigned k, Digest& digest) {
        const Codes vCells = drawnCells(k);
        const auto vSamples = drawnSamples(vCells, k);
        RemoveDecider_RCD decider(&vCells, &calc);
        for (std::size_t i = 0; i < vCells.size(); i += 6) digest.add(decider.doom(vCells[i]));
        for (const uint64 rcd : vCells) {
            digest.add(decider.isCritical(rcd) + 2 * decider.isBorder(rcd) + 4 * decider.isDoomed(rcd),
                       decider.getWeight(vSamples, rcd), decider.setCenter(rcd));
            for (int i = 0; i < 27; ++i) digest.add(decider.exists_int27(i));
            for (int dir = 0; dir < 6; ++dir) {
                if (decider.setCenter(rcd); !decider.exists_int27(blockFace[static_cast<std::size_t>(dir)]))
                    digest.add(decider.getOppState(rcd, dir));
            }
            if (decider.isDoomed(rcd)) continue;
            for (const uint64 other : voxelBox(0, 0, 0, 4, 4, 4))
                digest.add(decider.wouldBecomeNewBorder(rcd + other - packRCD(2, 2, 2), rcd));
        }
        Codes vArea{7}, vBorder{8}, vAlive{9};
        decider.classify(vArea, vBorder);
        decider.getAlive(vAlive);
        digest.add(vArea, vBorder, vAlive);
    });
}

TEST(RemoveDecider_RCD, thinningIsTheRecordedOne) {
    const Calc calc = unitGrid();
    const Digests vRecorded = {4093895546, 2897655367, 2664747813, 2546852699, 2412012365, 1782731340,
                               1840407629, 2738588085, 1725734514, 165567604,  38439605,   59237522,
                               4254275082, 2400219770, 2652611356, 2235989912, 3402152735, 141997408,
                               1376581033, 2581370049, 46366465,   4219466499, 1696641137, 854966165};
    expectRecorded(vRecorded, [&](unsigned k, Digest& digest) {
        const Codes vCells = drawnCells(k);
        const auto vSamples = drawnSamples(vCells, k);
        for (unsigned variant = 0; variant < 16; ++variant) {
            const bool bKeepNoBorder = variant & 1, bDropSmallBorders = variant & 2, bLayered = variant & 4;
            // Some cells are no candidates, some candidates are off the list, and some doomed before.
            Codes vListed = vCells, vCandidates = vCells, vKept{1}, vDoomed;
            Draws draws(variant);
            if (variant & 8) std::erase_if(vCandidates, [&](uint64) { return draws.below(3) == 0; });
            if (k % 2) std::erase_if(vListed, [&](uint64) { return draws.below(10) == 0; });
            RemoveDecider_RCD decider(&vListed, &calc);
            for (std::size_t i = 0; i < vListed.size(); i += 17) decider.doom(vListed[i]);
            const int numLastPasses = static_cast<int>(k / 4 % 3);
            digest.add(bLayered
                           ? decider.pruneLayered(vSamples, vCandidates, vKept, vDoomed, bKeepNoBorder,
                                                  bDropSmallBorders, numLastPasses)
                           : decider.prune(vSamples, vCandidates, vKept, vDoomed, bKeepNoBorder, bDropSmallBorders));
            digest.add(vKept, vDoomed);
            for (const uint64 rcd : vDoomed) ASSERT_TRUE(decider.isDoomed(rcd));
        }
    });
}

TEST(RemoveDecider_RCD, smallBorderGroupsGoUpToFortyCells) {
    const Calc calc = unitGrid();
    for (const int length : {1, 40, 41}) {
        const Codes vLine = voxelBox(60, 60, 60, 60, 60, 59 + length);
        RemoveDecider_RCD decider(&vLine, &calc);
        Codes vKept, vDoomed;
        EXPECT_EQ(decider.prune(drawnSamples(vLine, 1), vLine, vKept, vDoomed, false, true), length % 41);
    }
    // A sheet whose rim has 40 cells would get a new rim, so it stays.
    const Codes vSheet = voxelBox(60, 60, 60, 70, 70, 60);
    RemoveDecider_RCD decider(&vSheet, &calc);
    Codes vKept, vDoomed;
    EXPECT_EQ(decider.prune(drawnSamples(vSheet, 1), vSheet, vKept, vDoomed, false, true), 0);
    EXPECT_EQ(vKept, vSheet);
}

TEST(RemoveDecider, answersAndThinningAreTheRecordedOnes) {
    const Calc calc = unitGrid();
    expectRecorded(
        {2598975190, 4250746910, 3862092789, 81354288, 2349104226, 683001434, 4249987134, 1614588739, 3151080940,
         2660398999, 2330570599, 2005323653},
        [&](unsigned k, Digest& digest) {
            std::vector<uint64> vCCD, vCandidates, vDoomed{1}, vKept{2};
            for (const uint64 rcd : drawnCells(k)) vCCD.push_back(calc.rcdToCcd(rcd));
            std::sort(vCCD.begin(), vCCD.end());
            RemoveDecider decider(&vCCD, &calc);
            // Listed cells and empty ones; removal changes the answers for the cells around.
            for (const uint64 rcd : voxelBox(49, 49, 49, 60, 60, 60)) {
                const uint64 ccd = calc.rcdToCcd(rcd);
                vCandidates.push_back(ccd);
                const bool bAllowed = decider.allowsRemoval(ccd);
                digest.add(bAllowed + 2 * decider.isBorder(ccd));
                EXPECT_TRUE(!bAllowed || (decider.doom(ccd) && !decider.doom(ccd) && !decider.allowsRemoval(ccd)));
                digest.add(decider.isDoomed(ccd));
            }
            Draws(k).shuffle(vCandidates);
            RemoveDecider strong(&vCCD, &calc);
            digest.add(strong.pruneStrong(vCandidates, vDoomed, vKept), vDoomed, vKept);
        });
}
