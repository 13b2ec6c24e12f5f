#include "field/CornerStore.h"

#include <gtest/gtest.h>

#include "field/drawnCorners.h"
#include "support/capture.h"
#include "support/digest.h"

using namespace QUOR_ZEF;
using namespace zef_test;

TEST(CornerStore, slotsAndGrowthFrontsAreTheRecordedOnes) {
    const Calc calc = unitGrid();
    const auto isInBox = [](uint64 rcc) { return unpackRCD(rcc).x > 54; };
    Digests vFound;
    for (unsigned k = 0; k < 12; ++k) {
        CornerStore store(&calc);
        const std::vector<uint64> vCodes = drawCorners(store, k, 4.5F);
        Digest digest;
        for (std::size_t i = 0; i < vCodes.size(); ++i) {
            ASSERT_EQ(store.getCorner(vCodes[i]), store.vCorners[i]);
            ASSERT_EQ(store.rccOf(*store.vCorners[i]), vCodes[i]);
            std::vector<Corner*> vNeigs;
            store.getNeigs(store.vCorners[i], vNeigs);
            for (const Corner* pNeig : vNeigs) digest.add(store.rccOf(*pNeig));
            // Large parts of one sign, so that some lie far from any change.
            Corner& c = *store.vCorners[i];
            if (c.isActive() && unpackRCD(vCodes[i]).y > 56) c.val = std::abs(c.val);
            if (i % 9 == 0) c.val = c.isActive() ? 4.0F : 0.0F;
        }
        for (int growth = 0; growth < 3; ++growth) {
            store.createGrowthFront(4.0F, k % 4 ? static_cast<int>(k % 4) : CornerStore::anywhere, isInBox);
            for (std::size_t i = vCodes.size(); i < store.vCorners.size(); ++i) {
                digest.add(store.rccOf(*store.vCorners[i]));
                store.vCorners[i]->state = ST_INFLATED;
                store.vCorners[i]->val = i % 3 ? 0.5F : -0.5F;
            }
        }
        vFound.push_back(digest.get());
    }
    EXPECT_EQ(vFound, (Digests{799095649, 40874447, 853512357, 1804609922, 3847510890, 1821236873, 1844736471,
                               3407691270, 3760500756, 3404082448, 196635019, 532599378}));
}

TEST(CornerStore, seventhNeighbourAndFilledOutputFail) {
    const Calc calc = unitGrid();
    CornerStore store(&calc);
    for (const uint64 rcc : voxelBox(8, 8, 8, 10, 10, 10)) store.createCorner(rcc);
    Corner* const pCentre = store.getCorner(packRCD(9, 9, 9));
    EXPECT_TRUE(pCentre->hasAllNeigs() && !pCentre->isAssigned() && pCentre->getState() == ST_UNSET);
    EXPECT_EQ(store.getCorner(packRCD(11, 9, 9)), nullptr);
    EXPECT_TRUE(failsWith("bRegistered", [&] { store.createCorner(packRCD(9, 9, 10)); }));
    std::vector<Corner*> vNeigs{pCentre};
    EXPECT_TRUE(failsWith("vNeigs.empty()", [&] { store.getNeigs(pCentre, vNeigs); }));
}
