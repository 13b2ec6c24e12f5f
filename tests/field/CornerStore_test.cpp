#include "field/CornerStore.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
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
        EXPECT_EQ(store.vCorners[i]->rcc, vCodes[i]);
        std::vector<Corner*> vNeigs;
        store.getNeigs(store.vCorners[i], vNeigs);
        std::vector<uint64> vNeigCodes;
        for (const Corner* pNeig : vNeigs) vNeigCodes.push_back(pNeig->rcc);
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

TEST(CornerStore, growsFromOpenCornersBelowTheLimitInOrderOfCreation) {
    std::mt19937 random(2);
    std::vector<uint64> vCodes = randomCells(random, 50, 20, 0.9);
    std::shuffle(vCodes.begin(), vCodes.end(), random);
    const Calc calc = unitGrid();
    CornerStore store(&calc);
    for (const uint64 rcc : vCodes) store.createCorner(rcc);
    const double limit = 4.0;
    const std::vector<float> vVals = {0.0F, -0.0F, 3.99F, -3.99F, 4.0F, -4.0F, unassigned, -1e-38F};
    std::vector<uint64> vExpected{7};
    for (std::size_t i = 0; i < vCodes.size(); ++i) {
        Corner& corner = *store.vCorners[i];
        corner.val = vVals[random() % vVals.size()];
        const double distance = std::abs(static_cast<double>(corner.val));
        std::vector<Corner*> vNeigs;
        store.getNeigs(&corner, vNeigs);
        if (vNeigs.size() < 6 && distance < limit && distance > 0.0) vExpected.push_back(corner.rcc);
    }
    for (const unsigned numThreads : {1u, 2u, 16u}) {
        ThreadCount several(numThreads);
        std::vector<uint64> vOut{7};
        store.getGrowRCC(limit, vOut);
        EXPECT_EQ(vOut, vExpected);
    }
}

}  // namespace
