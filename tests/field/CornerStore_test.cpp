#include "field/CornerStore.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>
#include <vector>

#include "support/capture.h"
#include "support/threads.h"
#include "support/voxels.h"

namespace {

using namespace QUOR_ZEF;
using namespace zef_test;

constexpr uint64 steps[6] = {0 - stepX_RCD, stepX_RCD, 0 - stepY_RCD, stepY_RCD, 0 - stepZ_RCD, stepZ_RCD};

TEST(CornerStore, slotsHoldTheNeighboursInOrderOfCreation) {
    std::mt19937 random(1);
    std::vector<uint64> vCodes = randomCells(random, 50, 12, 0.6);
    std::shuffle(vCodes.begin(), vCodes.end(), random);
    const Calc calc = unitGrid();
    CornerStore store(&calc);
    std::map<uint64, std::vector<uint64>> mSlots;
    for (const uint64 rcc : vCodes) {
        ASSERT_EQ(store.getCorner(rcc), nullptr);
        const Corner* const pCorner = store.createCorner(rcc);
        ASSERT_EQ(store.getCorner(rcc), pCorner);
        EXPECT_EQ(pCorner->getState(), ST_UNSET);
        EXPECT_FALSE(pCorner->isAssigned());
        std::vector<uint64>& vOwn = mSlots[rcc];
        for (const uint64 step : steps) {
            const auto it = mSlots.find(rcc + step);
            if (it == mSlots.end()) continue;
            vOwn.push_back(rcc + step);
            it->second.push_back(rcc);
        }
    }
    ASSERT_EQ(store.getAllCorners().size(), vCodes.size());
    for (std::size_t i = 0; i < vCodes.size(); ++i) {
        EXPECT_EQ(store.rccOf(*store.vCorners[i]), vCodes[i]);
        std::vector<Corner*> vNeigs;
        store.getNeigs(store.vCorners[i], vNeigs);
        std::vector<uint64> vNeigCodes;
        for (const Corner* pNeig : vNeigs) vNeigCodes.push_back(store.rccOf(*pNeig));
        EXPECT_EQ(vNeigCodes, mSlots[vCodes[i]]);
    }
}

TEST(CornerStore, seventhNeighbourAndFilledOutputFail) {
    const Calc calc = unitGrid();
    CornerStore store(&calc);
    const uint64 centre = packRCD(9, 9, 9);
    Corner* const pCentre = store.createCorner(centre);
    for (const uint64 step : steps) store.createCorner(centre + step);
    EXPECT_TRUE(pCentre->hasAllNeigs());
    EXPECT_TRUE(failsWith("bRegistered", [&] { store.createCorner(centre + stepX_RCD); }));
    std::vector<Corner*> vNeigs{pCentre};
    EXPECT_TRUE(failsWith("vNeigs.empty()", [&] { store.getNeigs(pCentre, vNeigs); }));
}

// The Corners at most maxSteps steps from a change of sign, by the rule.
std::set<const Corner*> nearSignChanges(const CornerStore& store, int maxSteps) {
    std::set<const Corner*> sNear;
    for (const Corner* pCorner : store.vCorners) {
        if (!pCorner->isActive()) continue;
        store.forEachNeig(*pCorner, [&](const Corner& neig) {
            const bool bCrossing = neig.isActive() && (neig.val < 0.0F) != (pCorner->val < 0.0F);
            if (bCrossing || (neig.val == 0.0F && pCorner->state != ST_INFLATED)) sNear.insert(pCorner);
        });
    }
    for (int step = 0; step < maxSteps; ++step) {
        const std::set<const Corner*> sBefore = sNear;
        for (const Corner* pCorner : sBefore) {
            store.forEachNeig(*pCorner, [&](const Corner& neig) { sNear.insert(&neig); });
        }
    }
    return sNear;
}

TEST(CornerStore, growsWhatIsMissingBesideOpenCornersNearTheZeroLevel) {
    const Calc calc = unitGrid();
    const float limit = 4.0F;
    const std::vector<float> vActive = {3.99F, -3.99F, 4.0F, -4.0F, 2.0F, 2.5F, -1e-38F};
    const std::vector<float> vFixed = {0.0F, -0.0F, 1.0F, -1.0F, unassigned};
    const auto isInBox = [](uint64 rcc) { return unpackRCD(rcc).x > 54; };
    for (const unsigned numThreads : {1u, 2u, 16u}) {
        const ThreadCount threads(numThreads);
        std::mt19937 random(2);
        std::vector<uint64> vCodes = randomCells(random, 50, 35, 0.3);
        std::shuffle(vCodes.begin(), vCodes.end(), random);
        CornerStore store(&calc);
        for (const uint64 rcc : vCodes) {
            Corner* const pCorner = store.createCorner(rcc);
            pCorner->state = static_cast<CornerState>(1 + random() % 7);
            const std::vector<float>& vVals = pCorner->isActive() ? vActive : vFixed;
            pCorner->val = vVals[random() % vVals.size()];
            // Large parts of one sign, so that some lie far from any change.
            if (pCorner->isActive() && unpackRCD(rcc).y > 62) pCorner->val = std::abs(pCorner->val);
        }
        const int maxSteps = 2;
        const std::set<const Corner*> sNear = nearSignChanges(store, maxSteps);
        std::set<uint64> sExpected;
        std::size_t numFar = 0;
        for (const Corner* pCorner : store.vCorners) {
            const uint64 rcc = store.rccOf(*pCorner);
            if (std::abs(pCorner->val) >= limit || pCorner->val == 0.0F || !isInBox(rcc)) continue;
            numFar += !sNear.count(pCorner);
            for (const uint64 step : steps) {
                if (sNear.count(pCorner) && !store.getCorner(rcc + step)) sExpected.insert(rcc + step);
            }
        }
        ASSERT_GT(numFar, 100u);
        store.createGrowthFront(limit, maxSteps, isInBox);
        std::vector<uint64> vNew;
        for (std::size_t i = vCodes.size(); i < store.vCorners.size(); ++i) {
            vNew.push_back(store.rccOf(*store.vCorners[i]));
        }
        EXPECT_EQ(vNew, std::vector<uint64>(sExpected.begin(), sExpected.end()));
    }
}

}  // namespace
