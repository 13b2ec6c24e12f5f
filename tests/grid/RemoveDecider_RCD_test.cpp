#include "grid/RemoveDecider_RCD.h"

#include <gtest/gtest.h>

#include "grid/RemoveDecider.h"
#include "grid/codeSets.h"
#include "support/digest.h"
#include "support/drawnCells.h"
#include "support/threads.h"

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

namespace {

// The rule of pruneLayered() taken word for word: what it dooms, in order of code.
Codes thinnedInTurns(RemoveDecider_RCD& decider, const Codes& vCandidates,
                     const std::vector<std::pair<uint64, Point3>>& vSamples) {
    const auto mayGo = [&](uint64 rcd) {
        decider.setCenter(rcd);
        std::uint32_t mask = 0;
        for (int i = 0; i < 27; ++i) mask |= std::uint32_t{decider.exists_int27(i)} << i;
        return mayGoBlock(mask, thickRimMissing);
    };
    Codes vDoomed;
    for (std::size_t numBefore = 1; numBefore != vDoomed.size();) {
        numBefore = vDoomed.size();
        std::vector<std::pair<double, uint64>> vTurns;
        for (const uint64 rcd : vCandidates)
            if (mayGo(rcd)) vTurns.emplace_back(decider.getWeight(vSamples, rcd), rcd);
        std::sort(vTurns.begin(), vTurns.end());
        for (const auto& [weight, rcd] : vTurns)
            if (mayGo(rcd) && decider.doom(rcd)) vDoomed.push_back(rcd);
    }
    std::sort(vDoomed.begin(), vDoomed.end());
    return vDoomed;
}

}  // namespace

TEST(RemoveDecider_RCD, manyCellsAreThinnedAsIfTheyTookTurns) {
    const Calc calc = unitGrid();
    const Codes vCells = drawnCells(18, 130, 130);
    const auto vSamples = drawnSamples(vCells, 18);
    for (const bool bOffList : {false, true}) {
        Codes vListed = vCells, vCandidates = vCells;
        if (bOffList) {
            // A corner without any listed cell, and single ones.
            Draws draws(18);
            std::erase_if(vListed, [&](uint64 rcd) { return rcd < packRCD(80, 0, 0) || draws.below(10) == 0; });
            std::erase_if(vCandidates, [&](uint64) { return draws.below(10) == 0; });
        }
        RemoveDecider_RCD slow(&vListed, &calc);
        const Codes vExpected = thinnedInTurns(slow, vCandidates, vSamples);
        ASSERT_GT(vExpected.size(), 20'000u);
        for (const unsigned numThreads : {1u, 2u, 5u}) {
            const ThreadCount count(numThreads);
            RemoveDecider_RCD decider(&vListed, &calc);
            Codes vKept, vDoomed;
            decider.pruneLayered(vSamples, vCandidates, vKept, vDoomed, false, false, 0);
            EXPECT_EQ(vDoomed, vExpected);
            EXPECT_EQ(vKept, difference(vCandidates, vExpected));
        }
    }
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
