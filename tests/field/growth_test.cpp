#include <gtest/gtest.h>

#include <algorithm>

#include "field/Component.h"
#include "field/CornerSmoother.h"
#include "field/drawnCorners.h"
#include "field/drawnPiece.h"
#include "support/capture.h"
#include "support/digest.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

void addValues(const CornerStore& store, Digest& digest) {
    for (const Corner* p : store.vCorners) {
        digest.add(p->state);
        digest.add(p->val);
        digest.add(p->weight);
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

// Beside the block of corners there is a row, where a new one comes at each call, so that the others may rest.
TEST(CornerSmoother, valuesAreTheRecordedOnes) {
    const Calc calc = unitGrid();
    Digests vFound;
    for (unsigned k = 0; k < 12; ++k) {
        CornerStore store(&calc);
        drawCorners(store, k, 2.0F);
        CornerSmoother smoother(k % 4 != 3, 0.5F, k % 3 == 0 ? CornerSmoother::neverResting : k % 3 == 1 ? 2 : 100);
        Digest digest;
        for (unsigned call = 0; call < 6; ++call) {
            addInflated(store, packRCD(200 + call, 50, 50), static_cast<float>(call % 4) - 1.5F);
            if (call == 1) {
                for (const uint64 rcc : voxelBox(49, 49, 57, 64, 64, 57))
                    addInflated(store, rcc, static_cast<float>(unpackRCD(rcc).x) - 56.5F);
            }
            smoother.smooth(store, call == 0 ? 20 : 1 + static_cast<int>(call));
            addValues(store, digest);
        }
        vFound.push_back(digest.get());
    }
    EXPECT_EQ(vFound, (Digests{1449564365, 1951003008, 3877508532, 1117715823, 2419855317, 4212780073, 2122001788,
                               960566066, 3133983091, 1274903413, 1893744621, 960889645}));
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

TEST(Component, firstDistancesAndTheZeroLevelAreTheRecordedOnes) {
    Digests vFound;
    for (unsigned k = 0; k < 16; ++k) {
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
        Digest digest;
        addValues(strips.cornerStore, digest);
        digest.add(strips.vNonSideRCD);
        Component merged({raw.pComponent.get()}, 3 + static_cast<int>(k % 5), &raw.vSamples, &raw.calc);
        if (k % 2) merged.maxSourceSteps = 2;
        Component::CodePoints vOut;
        EXPECT_TRUE(merged.run(vOut));
        digest.add(vOut);
        addValues(merged.cornerStore, digest);
        vFound.push_back(digest.get());
    }
    EXPECT_EQ(vFound,
              (Digests{661684082, 4093249461, 2232252011, 1987142047, 4211445777, 4243004209, 1965109402, 2319430620,
                       892924580, 1818072673, 3970287498, 754231384, 4107305103, 4102704581, 2629708370, 3567387951}));
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
