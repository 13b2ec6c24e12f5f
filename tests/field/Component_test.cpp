#include "field/Component.h"

#include <gtest/gtest.h>

#include "field/drawnPiece.h"
#include "support/capture.h"
#include "support/digest.h"

using namespace QUOR_ZEF;
using namespace zef_test;

TEST(Component, flatSlabHasTwoSidesAndAnOpenRim) {
    for (int axis = 0; axis < 3; ++axis) {
        const int size[3] = {axis == 0 ? 0 : 14, axis == 1 ? 0 : 14, axis == 2 ? 0 : 14};
        const Piece slab(voxelBox(50, 50, 50, 50 + size[0], 50 + size[1], 50 + size[2]));
        EXPECT_EQ(slab.count(0, 2 * axis), 225u);
        EXPECT_EQ(slab.count(1, 2 * axis + 1), 225u);
        EXPECT_EQ(slab.count(-1), 60u);
        EXPECT_EQ(slab.count(0) + slab.count(1), 450u);
    }
    const Piece shell(voxelShell(9, 60));
    EXPECT_EQ(shell.count(1), 1758u) << "the outside is the upper side";
    EXPECT_EQ(shell.count(0), 1350u);
}

namespace {

// How many facets look outward or inward with the label of the other side.
int countMislabelled(const Piece& shell) {
    int n[2] = {0, 0};
    for (const Facet& f : shell.pComponent->vVisibleFacets) {
        const GridCoords c = unpackRCD(f.rcd);
        const double way[3] = {double(c.x) - shellCentre, double(c.y) - shellCentre, double(c.z) - shellCentre};
        const double outward = way[f.dir / 2] * (f.dir % 2 ? 1.0 : -1.0);
        if (f.component != -1 && std::abs(outward) > 0.5 * shellRadius) ++n[f.component == (outward > 0.0)];
    }
    return std::min(n[0], n[1]);
}

}  // namespace

TEST(Component, labelsStayOnTheirSideOfAShellWithHoles) {
    int numThroughHoles = 0, numLeft = 0;
    for (unsigned k = 50; k < 70; ++k) {
        const std::vector<uint64> vCells = largestPiece(thinned(drawnShell(k), k));
        numThroughHoles += countMislabelled(Piece(vCells));
        numLeft += countMislabelled(Piece(vCells, true));
    }
    EXPECT_GT(numThroughHoles, 300);
    EXPECT_EQ(numLeft, 0);
}

TEST(Component, sidesGroupsAndOrientationAreTheRecordedOnes) {
    const Digests vRecorded = {184847747,  761045373,  3048871356, 2500987183, 3361903075, 123181929,
                               4168898675, 4230394149, 1438320503, 3908382861, 2483094902, 2932117286,
                               2455108133, 1056233434, 1756085184, 2500987183, 2998428530, 1654187364,
                               4181932853, 1970602440, 343348857,  3232546877, 2072468072, 3652518890};
    expectRecorded(vRecorded, [&](unsigned k, Digest& digest) {
        const CaptureCout quiet;
        const Piece piece(k == 23 ? drawnCells(5, 90, 90) : drawnPiece(k));
        Component& component = *piece.pComponent;
        digest.add(piece.labels());
        for (const uint64 rcd : piece.vCells) {
            std::array<int, 6> lower, upper;
            component.getOrientationCount(rcd, lower.data(), upper.data());
            digest.add(lower, upper);
        }
        for (Facet& f : component.vVisibleFacets) f.component = -1;
        const int numGroups = component.cc_createFacetComponents();
        digest.add(numGroups, piece.labels());
    });
}

TEST(Component, majoritiesWeightsAndSeamsAreTheRecordedOnes) {
    const Digests vRecorded = {1166802553, 860370912, 4234976180, 2977019340, 1953224571, 438013221,
                               4279497715, 442280858, 1655226564, 2933003982, 1603511871, 804820508};
    expectRecorded(vRecorded, [&](unsigned k, Digest& digest) {
        const CaptureCout quiet;
        const Piece piece(k == 11 ? drawnCells(5, 90, 90) : drawnPiece(k));
        Component& component = *piece.pComponent;
        Draws draws(k);
        std::vector<Facet*> vList, vAll;
        for (Facet& f : component.vVisibleFacets) {
            const bool bLabelled = draws.below(8) == 0 && unpackRCD(f.rcd).y % 16 < 7;
            f.component = bLabelled ? (draws.below(4) ? f.dir % 2 + 2 : 2) : -1;
            vAll.push_back(&f);
            if (!bLabelled) vList.push_back(&f);
        }
        for (const int minCount : {5, 3, 2, 1, 1}) {
            component.cc_colorize_27(vList, 2, 3, minCount, minCount == 1 && k % 2);
            digest.add(piece.labels());
        }
        for (Facet& f : component.vVisibleFacets) f.component = static_cast<int>(draws.below(2));
        for (const Facet& f : component.vVisibleFacets) {
            digest.add(component.cc_getThinWeight(&f), component.cc_getWeight(&f, 0, 1));
        }
        component.cc_makeThinBorder(vAll);
        digest.add(piece.labels());
    });
}

TEST(Component, pieceWithoutTwoGroupsReportsAndHasNoSides) {
    // Cells of a line are all border, so nothing starts a group.
    const std::string text = printedText([] { EXPECT_EQ(Piece(voxelBox(50, 50, 50, 50, 50, 52)).count(-1), 14u); });
    EXPECT_EQ(text, "vCountGroup.size()=0, numRCD=3\n");
}

TEST(Component, flipSwapsSidesAndTurnsEachScoreOnce) {
    Piece a(voxelBox(50, 50, 50, 64, 64, 50)), b(voxelBox(50, 50, 60, 64, 64, 60));
    a.pComponent->id = 0;
    b.pComponent->id = 1;
    ConnectionStruct connection(a.pComponent.get(), b.pComponent.get());
    EXPECT_TRUE(
        failsWith("pComponent0<pComponent1", [&] { ConnectionStruct(b.pComponent.get(), a.pComponent.get()); }));
    connection.score = 2.5;
    a.pComponent->vConnections = {&connection, &connection};
    a.pComponent->flipSides();
    EXPECT_EQ(connection.score, -2.5);
    EXPECT_EQ(a.count(0, 5), 225u);
    EXPECT_EQ(a.count(1, 4), 225u);
    EXPECT_EQ(a.count(-1), 60u);
}
