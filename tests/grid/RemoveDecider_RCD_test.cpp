#include "grid/RemoveDecider_RCD.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "grid/codeSets.h"
#include "support/blockModel.h"
#include "support/voxels.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

using Codes = std::vector<uint64>;
using Samples = std::vector<std::pair<uint64, Point3>>;

// Cells of edge 0.5 at a shifted origin, with a sample anywhere in each cell; a
// coarse position now and then, so that weights are equal.
struct Band {
    Calc calc{-3, 5, 1, 0.5 * 2048, 0.5 * 2048, 0.5 * 2048, 11};
    Codes vCells;
    Samples vRCDPoint;

    Band(Codes cells, unsigned seed) : vCells(std::move(cells)) {
        std::mt19937 random(seed);
        for (const uint64 rcd : vCells) {
            const auto [x, y, z] = unpackRCD(rcd);
            const unsigned steps = random() % 2 ? 4 : 1000;
            const auto inside = [&](uint64 cell, double origin) {
                return (static_cast<double>(cell) + (static_cast<double>(random() % steps) + 0.5) / steps) * 0.5 +
                       origin;
            };
            const double px = inside(x, -3), py = inside(y, 5), pz = inside(z, 1);
            vRCDPoint.emplace_back(rcd, Point3(px, py, pz));
        }
    }

    SlowDecider slow() const {
        SlowDecider decider;
        decider.sListed.insert(vCells.begin(), vCells.end());
        decider.cellSize = 0.5;
        for (const auto& [rcd, p] : vRCDPoint) {
            const auto [x, y, z] = unpackRCD(rcd);
            const double dx = (static_cast<double>(x) + 0.5) * 0.5 - 3 - p.px;
            const double dy = (static_cast<double>(y) + 0.5) * 0.5 + 5 - p.py;
            const double dz = (static_cast<double>(z) + 0.5) * 0.5 + 1 - p.pz;
            decider.mDistance[rcd] = std::sqrt(dx * dx + dy * dy + dz * dz) / 0.5;
        }
        return decider;
    }
};

// Random cells, thick walls with holes and noisy sheets, in turn.
Codes drawCells(std::mt19937& random, int k) {
    if (k % 3 == 0) return randomCells(random, 1020, 9, 0.15 + 0.1 * (k % 9));
    if (k % 3 == 1) return noisySheet(14, 12, 0.2 + 0.1 * (k % 9), static_cast<unsigned>(k));
    Codes v = voxelBox(60, 61, 62, 70, 71, 62 + k % 4);
    v.erase(std::remove_if(v.begin(), v.end(), [&](uint64) { return random() % 12 == 0; }), v.end());
    return v;
}

TEST(RemoveDecider_RCD, answersAreThoseOfASet) {
    std::mt19937 random(1);
    int numNewBorder = 0;
    for (int k = 0; k < 24; ++k) {
        const Band band(drawCells(random, k), 1);
        RemoveDecider_RCD decider(&band.vCells, &band.calc);
        SlowDecider slow = band.slow();
        for (const uint64 rcd : band.vCells) {
            if (random() % 6 || decider.isDoomed(rcd)) continue;
            EXPECT_TRUE(decider.doom(rcd));
            slow.sDoomed.insert(rcd);
        }
        Codes vArea, vBorder, vAlive, vSlowArea, vSlowBorder;
        for (const uint64 rcd : band.vCells) {
            const Block block = slow.block(rcd);
            ASSERT_EQ(decider.isCritical(rcd), block.isCritical());
            ASSERT_EQ(decider.isBorder(rcd), block.isBorder());
            ASSERT_EQ(decider.getWeight(band.vRCDPoint, rcd), slow.weight(rcd));
            const bool bDoomed = slow.sDoomed.count(rcd);
            int numListed = bDoomed ? -1 : 0;
            const Codes vAround = SlowDecider::around(rcd);
            for (const uint64 other : vAround) numListed += static_cast<int>(slow.sListed.count(other));
            ASSERT_EQ(decider.setCenter(rcd), numListed);
            for (int i = 0; i < 27; ++i) ASSERT_EQ(decider.exists_int27(i), !block.missing(i));
            for (int dir = 0; dir < 6; ++dir) {
                if (block.missing(blockFace[static_cast<std::size_t>(dir)])) {
                    ASSERT_EQ(decider.getOppState(rcd, dir), block.oppState(dir));
                }
            }
            if (bDoomed) continue;
            (block.isBorder() ? vSlowBorder : vSlowArea).push_back(rcd);
            for (const uint64 other : vAround) {
                if (!slow.sListed.count(other) && random() % 4) continue;
                const bool bNew = slow.wouldBecomeNewBorder(other, rcd);
                ASSERT_EQ(decider.wouldBecomeNewBorder(other, rcd), bNew);
                numNewBorder += bNew;
            }
            ASSERT_FALSE(decider.wouldBecomeNewBorder(rcd + 2, rcd)) << "out of reach";
        }
        decider.classify(vArea, vBorder);
        EXPECT_EQ(vArea, vSlowArea);
        EXPECT_EQ(vBorder, vSlowBorder);
        decider.getAlive(vAlive);
        EXPECT_EQ(vAlive, unionOf(vArea, vBorder));
    }
    EXPECT_GT(numNewBorder, 100);
}

TEST(RemoveDecider_RCD, thinningDoomsWhatTheRuleDooms) {
    std::mt19937 random(2);
    std::size_t numDoomed = 0;
    for (int k = 0; k < 144; ++k) {
        const Band band(drawCells(random, k), static_cast<unsigned>(k));
        const bool bKeepNoBorder = k / 3 & 1, bDropSmallBorders = k / 6 & 1;
        const int numLastPasses = (k / 12 & 1) * (1 + k % 2 * 9);
        Codes vCandidates = band.vCells;
        if (k / 24 & 1) {
            const auto unwanted = [&](uint64) { return random() % 3 == 0; };
            vCandidates.erase(std::remove_if(vCandidates.begin(), vCandidates.end(), unwanted), vCandidates.end());
        }
        // Cells off the list may be candidates too, and some are doomed before.
        Codes vListed = band.vCells;
        if (k / 48 & 1) std::erase_if(vListed, [&](uint64) { return random() % 10 == 0; });
        for (const bool bLayered : {false, true}) {
            RemoveDecider_RCD decider(&vListed, &band.calc);
            SlowDecider slow = band.slow();
            slow.sListed = {vListed.begin(), vListed.end()};
            for (std::size_t i = 0; i < vListed.size(); i += 17) {
                decider.doom(vListed[i]);
                slow.sDoomed.insert(vListed[i]);
            }
            Codes vKept, vDoomed, vExpected;
            int numReturned;
            if (bLayered) {
                numReturned = decider.pruneLayered(band.vRCDPoint, vCandidates, vKept, vDoomed, bKeepNoBorder,
                                                   bDropSmallBorders, numLastPasses);
                vExpected = slow.pruneLayered(vCandidates, bKeepNoBorder, bDropSmallBorders, numLastPasses);
            } else {
                numReturned =
                    decider.prune(band.vRCDPoint, vCandidates, vKept, vDoomed, bKeepNoBorder, bDropSmallBorders);
                vExpected = slow.prune(vCandidates, bKeepNoBorder, bDropSmallBorders);
            }
            ASSERT_EQ(vDoomed, vExpected) << k << " " << bLayered;
            EXPECT_EQ(numReturned, static_cast<int>(vExpected.size()));
            EXPECT_EQ(vKept, difference(vCandidates, vDoomed));
            for (const uint64 rcd : vDoomed) ASSERT_TRUE(decider.isDoomed(rcd));
            numDoomed += vDoomed.size();
        }
    }
    EXPECT_GT(numDoomed, 10000u);
}

// The empty cells that steps from an empty corner of the box lead to, in a box one larger than the cells.
std::set<uint64> outsideOf(const Codes& vCells, int low, int high) {
    const std::set<uint64> sCells(vCells.begin(), vCells.end());
    const Codes vBox = voxelBox(low, low, low, high, high, high);
    const std::set<uint64> sBox(vBox.begin(), vBox.end());
    Codes vWork{vBox.front()};
    std::set<uint64> sOutside{vBox.front()};
    while (!vWork.empty()) {
        const uint64 rcd = vWork.back();
        vWork.pop_back();
        for (const uint64 step : {stepX_RCD, stepY_RCD, stepZ_RCD}) {
            for (const uint64 next : {rcd - step, rcd + step}) {
                if (sBox.count(next) && !sCells.count(next) && sOutside.insert(next).second) vWork.push_back(next);
            }
        }
    }
    return sOutside;
}

TEST(RemoveDecider_RCD, aClosedSphereStaysClosedWhenThinned) {
    constexpr int center = 60, reach = 20;
    const uint64 inner = packRCD(center, center, center);
    for (const double radius : {9.3, 14.6}) {
        const Band band(voxelSphere(radius, 1.4, center), 1);
        ASSERT_FALSE(outsideOf(band.vCells, center - reach, center + reach).count(inner));
        for (const bool bLastPass : {false, true}) {
            RemoveDecider_RCD decider(&band.vCells, &band.calc);
            Codes vKept, vDoomed;
            decider.pruneLayered(band.vRCDPoint, band.vCells, vKept, vDoomed, false, true, bLastPass);
            EXPECT_FALSE(outsideOf(vKept, center - reach, center + reach).count(inner));
            EXPECT_LT(vKept.size() * 2, band.vCells.size()) << "it was nearly three cells thick";
        }
    }
}

TEST(RemoveDecider_RCD, aNoisyOpenSheetKeepsItsExtent) {
    for (unsigned seed = 0; seed < 10; ++seed) {
        const Band band(noisySheet(24, 24, 0.25 + 0.05 * seed, seed), seed);
        for (const bool bLastPass : {false, true}) {
            RemoveDecider_RCD decider(&band.vCells, &band.calc);
            Codes vKept, vDoomed;
            decider.pruneLayered(band.vRCDPoint, band.vCells, vKept, vDoomed, false, true, bLastPass);
            EXPECT_GE(vKept.size(), 576u) << seed;
        }
    }
}

TEST(RemoveDecider_RCD, smallBorderGroupsGoUpToFortyCells) {
    for (const int length : {1, 40, 41}) {
        const Band band(voxelBox(60, 60, 60, 60, 60, 59 + length), 1);
        for (const bool bLayered : {false, true}) {
            RemoveDecider_RCD decider(&band.vCells, &band.calc);
            Codes vKept, vDoomed;
            const int numDoomed =
                bLayered ? decider.pruneLayered(band.vRCDPoint, band.vCells, vKept, vDoomed, false, true, true)
                         : decider.prune(band.vRCDPoint, band.vCells, vKept, vDoomed, false, true);
            EXPECT_EQ(numDoomed, length <= 40 ? length : 0);
        }
    }
    // A sheet whose rim has 40 cells would get a new rim, so it stays.
    const Band sheet(voxelBox(60, 60, 60, 70, 70, 60), 1);
    RemoveDecider_RCD decider(&sheet.vCells, &sheet.calc);
    Codes vKept, vDoomed;
    EXPECT_EQ(decider.prune(sheet.vRCDPoint, sheet.vCells, vKept, vDoomed, false, true), 0);
    EXPECT_EQ(vKept, sheet.vCells);
}

}  // namespace
