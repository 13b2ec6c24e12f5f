#include <gtest/gtest.h>

#include <algorithm>

#include "field/CoarseField.h"
#include "field/Component.h"
#include "field/CornerSmoother.h"
#include "field/drawnPiece.h"
#include "support/capture.h"
#include "support/digest.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

// A block of corners with gaps, created in random order, with random states and vals. Their codes in that order.
std::vector<uint64> drawCorners(CornerStore& store, unsigned k, float largest) {
    Draws draws(k);
    std::vector<uint64> vRCC = voxelBox(50, 50, 50, 63, 63, 63);
    std::erase_if(vRCC, [&](uint64) { return draws.below(10) < 1 + k % 6; });
    draws.shuffle(vRCC);
    for (const uint64 rcc : vRCC) {
        Corner* const pCorner = store.createCorner(rcc);
        pCorner->state = static_cast<CornerState>(1 + draws.below(7));
        const float magnitude = largest * static_cast<float>(1 + draws.below(1000)) / 1000.0F;
        const bool bNegative =
            pCorner->state == ST_LOWER_BORDER || (pCorner->state != ST_UPPER_BORDER && draws.below(2));
        pCorner->val = bNegative ? -magnitude : magnitude;
        if (pCorner->state == ST_DUAL_NO_EMITTER || pCorner->state == ST_NON_STRIP) pCorner->val = 0.0F;
        pCorner->weight = static_cast<float>(1 + draws.below(10)) / 10.0F;
    }
    return vRCC;
}

void addValues(const CornerStore& store, Digest& digest) {
    for (const Corner* p : store.vCorners) {
        digest.add(p->state, p->val, p->weight);
    }
}

void addInflated(CornerStore& store, uint64 rcc, float val) {
    if (store.getCorner(rcc)) return;
    Corner* const pCorner = store.createCorner(rcc);
    pCorner->val = val;
    pCorner->weight = 0.7F;
    pCorner->state = ST_INFLATED;
}

}  // namespace

TEST(CornerStore, slotsAndGrowthFrontsAreTheRecordedOnes) {
    const Calc calc = unitGrid();
    const auto isInBox = [](uint64 rcc) { return unpackRCD(rcc).x > 54; };
    const Digests vRecorded = {799095649,  40874447,   853512357,  1804609922, 3847510890, 1821236873,
                               1844736471, 3407691270, 3760500756, 3404082448, 196635019,  532599378};
    expectRecorded(vRecorded, [&](unsigned k, Digest& digest) {
        CornerStore store(&calc);
        const std::vector<uint64> vCodes = drawCorners(store, k, 4.5F);
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
    });
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

// Beside the block of corners there is a row, where a new one comes at each call, so that the others may rest.
TEST(CornerSmoother, valuesAreTheRecordedOnes) {
    const Calc calc = unitGrid();
    const Digests vRecorded = {1449564365, 1951003008, 3877508532, 1117715823, 2419855317, 4212780073,
                               2122001788, 960566066,  3133983091, 1274903413, 1893744621, 960889645};
    for (const bool bAnyProcessor : {false, true}) {
        expectRecorded(vRecorded, [&](unsigned k, Digest& digest) {
            CornerStore store(&calc);
            drawCorners(store, k, 2.0F);
            CornerSmoother smoother(k % 4 != 3, 0.5F, k % 3 == 0 ? CornerSmoother::neverResting : k % 3 == 1 ? 2 : 100);
            if (bAnyProcessor) smoother.bAVX2 = false;
            for (unsigned call = 0; call < 6; ++call) {
                addInflated(store, packRCD(200 + call, 50, 50), static_cast<float>(call % 4) - 1.5F);
                if (call == 1) {
                    for (const uint64 rcc : voxelBox(49, 49, 57, 64, 64, 57))
                        addInflated(store, rcc, static_cast<float>(unpackRCD(rcc).x) - 56.5F);
                }
                smoother.smooth(store, call == 0 ? 20 : 1 + static_cast<int>(call));
                addValues(store, digest);
            }
        });
    }
}

TEST(CornerSmoother, printsAtMostOneLineACallForLargeVals) {
    const Calc calc = unitGrid();
    CornerStore store(&calc);
    drawCorners(store, 3, 5000.0F);
    CornerSmoother smoother(true, 0.5F);
    const std::string text = printedText([&] { smoother.smooth(store, 20); });
    EXPECT_EQ(text.rfind("newWeight=", 0), 0u);
    EXPECT_NE(text.find(", newVal="), std::string::npos);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1);
}

// What every second corner has of a linear field comes out linear.
TEST(CoarseField, makesTheMissingCornersBetweenItsOwn) {
    const Calc calc = unitGrid();
    const auto valAt = [](uint64 rcc) {
        const GridCoords c = unpackRCD(rcc);
        return static_cast<float>(c.x) - 0.5F * static_cast<float>(c.y) + 0.25F * static_cast<float>(c.z) - 43.3F;
    };
    const std::vector<uint64> vBlock = voxelBox(49, 49, 49, 64, 64, 64);
    std::vector<uint64> vMissing = voxelBox(50, 50, 50, 61, 61, 61);
    std::erase_if(vMissing, [](uint64 rcc) { return !(rcc & packRCD(1, 1, 1)); });
    CornerStore field(&calc);
    for (const uint64 rcc : difference(vBlock, vMissing)) addInflated(field, rcc, valAt(rcc));
    // In some coarse cells only, of which some have no corners, and in half of the field.
    const CoarseField coarse(field, 1.0F);
    coarse.refine(
        voxelBox(20, 25, 25, 29, 34, 34), [](uint64 rcc) { return unpackRCD(rcc).z < 57; }, field);
    const std::vector<uint64> vMade = intersection(vMissing, voxelBox(50, 50, 50, 59, 61, 56));
    std::vector<uint64> vFound;
    for (const Corner* p : field.vCorners) {
        vFound.push_back(field.rccOf(*p));
        EXPECT_NEAR(p->val, valAt(vFound.back()), 1e-4F);
        EXPECT_FLOAT_EQ(p->weight, 0.7F);
        EXPECT_EQ(p->state, ST_INFLATED);
    }
    std::sort(vFound.begin(), vFound.end());
    EXPECT_EQ(vFound, unionOf(difference(vBlock, vMissing), vMade));
}

TEST(Component, firstDistancesAndTheZeroLevelAreTheRecordedOnes) {
    const Digests vRecorded = {661684082,  4093249461, 2232252011, 1987142047, 4211445777, 4243004209,
                               1965109402, 2319430620, 892924580,  1818072673, 3970287498, 754231384,
                               4107305103, 4102704581, 2629708370, 3567387951};
    expectRecorded(vRecorded, [&](unsigned k, Digest& digest) {
        const CaptureCout quiet;
        std::vector<uint64> vCells = drawnPiece(4 * (k / 2) + 1 + k % 2);  // sheets and walls
        if (k > 11) {                                                      // a sheet with a hole, on a slope
            const std::vector<uint64> vHole = voxelBox(65, 65, 50, 70, 70, 99);
            vCells.clear();
            for (const uint64 flat : voxelBox(50, 50, 60, 89, 89, 60))
                vCells.push_back(flat + (unpackRCD(flat).x - 50) * (k - 12) / 3);
            vCells = difference(vCells, vHole);
        }
        Piece raw(vCells), other(vCells);
        Component strips({other.pComponent.get()}, 3, &other.vSamples, &other.calc);
        strips.assignFirstDistances();
        addValues(strips.cornerStore, digest);
        digest.add(strips.vNonSideRCD);
        Component merged({raw.pComponent.get()}, 3 + static_cast<int>(k % 5), &raw.vSamples, &raw.calc);
        if (k % 2) merged.maxSourceSteps = 2;
        Component::CodePoints vOut;
        EXPECT_TRUE(merged.run(vOut));
        digest.add(vOut);
        addValues(merged.cornerStore, digest);
    });
}

TEST(Component, growthWantsStepsAndNeedsASeam) {
    // A closed shell has two sides and no seam.
    Piece piece(voxelShell(6, 100)), flat(voxelBox(50, 50, 50, 64, 64, 50));
    Component::CodePoints vOut;
    EXPECT_TRUE(Component({piece.pComponent.get()}, 7, &piece.vSamples, &piece.calc).run(vOut));
    EXPECT_TRUE(vOut.empty());
    Component none({flat.pComponent.get()}, 0, &flat.vSamples, &flat.calc);
    EXPECT_TRUE(failsWith("numGrowSteps>0", [&] { none.run(vOut); }));
}
