#include "field/Component.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <deque>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "grid/RemoveDecider_RCD.h"
#include "grid/codeSets.h"
#include "support/capture.h"
#include "support/threads.h"
#include "support/voxels.h"

namespace {

using namespace QUOR_ZEF;
using namespace zef_test;

// A raw Component with samples near the centres of its cells.
struct Piece {
    Calc calc = unitGrid();
    std::vector<uint64> vArea, vBorder;
    Component::CodePoints vSamples;
    std::unique_ptr<Component> pComponent;

    explicit Piece(const std::vector<uint64>& vCells) {
        RemoveDecider_RCD(&vCells, &calc).classify(vArea, vBorder);
        std::mt19937 random(7);
        std::uniform_real_distribution<> noise(0.3, 0.7);
        for (const uint64 rcd : vCells) {
            const auto [x, y, z] = unpackRCD(rcd);
            const double dx = noise(random), dy = noise(random), dz = noise(random);
            vSamples.emplace_back(rcd, Point3(double(x) + dx, double(y) + dy, double(z) + dz));
        }
        pComponent = std::make_unique<Component>(vCells, vBorder, &vSamples, &calc);
    }

    std::vector<int> labels() const {
        std::vector<int> v;
        for (const Facet& f : pComponent->vVisibleFacets) v.push_back(f.component);
        return v;
    }
    std::size_t count(int component, int dir = -1) const {
        const auto& v = pComponent->vVisibleFacets;
        return static_cast<std::size_t>(std::count_if(
            v.begin(), v.end(), [&](const Facet& f) { return f.component == component && (dir < 0 || f.dir == dir); }));
    }
};

// What a flood from outside reaches around the cells; false for the inside.
std::set<uint64> outsideOf(const std::vector<uint64>& vCells, uint64 low, uint64 high) {
    std::set<uint64> sOutside{packRCD(low, low, low)};
    std::vector<uint64> vWork(sOutside.begin(), sOutside.end());
    while (!vWork.empty()) {
        const uint64 rcd = vWork.back();
        vWork.pop_back();
        for (const uint64 step : {stepX_RCD, stepY_RCD, stepZ_RCD}) {
            for (const uint64 next : {rcd - step, rcd + step}) {
                const GridCoords c = unpackRCD(next);
                if (std::min({c.x, c.y, c.z}) < low || std::max({c.x, c.y, c.z}) > high) continue;
                if (!containsCode(vCells, next) && sOutside.insert(next).second) vWork.push_back(next);
            }
        }
    }
    return sOutside;
}

// Connected bands and lumps of many kinds, largest piece each.
std::vector<uint64> randomPiece(unsigned seed) {
    std::mt19937 random(seed);
    std::vector<uint64> vCells;
    switch (seed % 4) {
        case 0:
            vCells = noisySheet(12, 12, 0.4 + 0.01 * seed, seed);
            break;
        case 1:
            vCells = voxelShell(4 + int(seed % 3), 40);
            break;
        case 2:
            vCells = randomCells(random, 40, 7, 0.2 + 0.01 * seed);
            break;
        default:
            vCells = noisySheet(16, 5, 0.3, seed);
    }
    std::bernoulli_distribution missing(seed % 3 * 0.08);
    vCells.erase(std::remove_if(vCells.begin(), vCells.end(), [&](uint64) { return missing(random); }), vCells.end());
    std::vector<std::vector<uint64>> vPieces;
    createCC_RCD(vCells, vPieces);
    return *std::max_element(vPieces.begin(), vPieces.end(), [](auto& a, auto& b) { return a.size() < b.size(); });
}

TEST(Component, flatSlabHasTwoSidesAndAnOpenRim) {
    const int sizes[3][3] = {{0, 14, 14}, {14, 0, 14}, {14, 14, 0}};
    for (int axis = 0; axis < 3; ++axis) {
        const auto& s = sizes[axis];
        const Piece slab(voxelBox(50, 50, 50, 50 + s[0], 50 + s[1], 50 + s[2]));
        EXPECT_EQ(slab.count(0, 2 * axis), 225u);
        EXPECT_EQ(slab.count(0), 225u);
        EXPECT_EQ(slab.count(1, 2 * axis + 1), 225u);
        EXPECT_EQ(slab.count(1), 225u);
        EXPECT_EQ(slab.count(-1), 60u);
    }
}

TEST(Component, closedShellIsUpperOutsideAndLowerInside) {
    struct Shell {
        int radius;
        std::size_t numOuter, numInner;
    };
    for (const Shell& shell : {Shell{4, 414, 222}, Shell{6, 822, 582}, Shell{9, 1758, 1350}}) {
        const std::vector<uint64> vCells = voxelShell(shell.radius, 50);
        const Piece piece(vCells);
        EXPECT_EQ(piece.count(1), shell.numOuter);
        EXPECT_EQ(piece.count(0), shell.numInner);
        EXPECT_EQ(piece.count(-1), 0u);
        const std::set<uint64> sOutside = outsideOf(vCells, 30, 70);
        const uint64 steps[3] = {stepX_RCD, stepY_RCD, stepZ_RCD};
        for (const Facet& f : piece.pComponent->vVisibleFacets) {
            const uint64 step = steps[f.dir / 2];
            EXPECT_EQ(f.component == 1, sOutside.count(f.dir % 2 ? f.rcd + step : f.rcd - step) == 1);
        }
    }
}

// The groups by the plain rule, with a search for every question.
std::vector<int> plainGroups(const Piece& piece) {
    const Component& component = *piece.pComponent;
    std::vector<Facet> vFacets = component.vVisibleFacets;
    for (Facet& f : vFacets) f.component = -1;
    RemoveDecider_RCD decider(&component.vCellRCD, &piece.calc);
    int group = 1;
    for (Facet& seed : vFacets) {
        if (seed.component >= 0 || seed.state == FACET_STATE_BORDER) continue;
        ++group;
        std::deque<Facet*> queue{&seed};
        for (; !queue.empty(); queue.pop_front()) {
            for (int edge = 0; edge < 4; ++edge) {
                Facet* const n = queue.front()->fetchNeigPtr(component.vCellRCD, vFacets, edge);
                if (n->state != FACET_STATE_AREA || n->component >= 0 || n->component == -group) continue;
                n->component = group;
                queue.push_back(n);
                if (decider.getOppState(n->rcd, n->dir) != OS_SEPARATED) continue;
                Facet& opposite = vFacets[component.facetIndex.find(n->rcd, n->dir ^ 1)];
                if (opposite.component == -1) opposite.component = -group;
            }
        }
    }
    std::vector<int> vGroups;
    for (const Facet& f : vFacets) vGroups.push_back(f.component);
    return vGroups;
}

TEST(Component, groupsOfRandomPiecesEqualThePlainRule) {
    int numSeveral = 0, numBarred = 0;
    for (unsigned seed = 0; seed < 40; ++seed) {
        const CaptureCout quiet;
        const Piece piece(randomPiece(seed));
        for (Facet& f : piece.pComponent->vVisibleFacets) f.component = -1;
        numSeveral += piece.pComponent->cc_createFacetComponents() > 4;
        ASSERT_EQ(piece.labels(), plainGroups(piece)) << seed;
        numBarred += piece.count(-2) > 0;
    }
    EXPECT_GT(numSeveral, 10);
    EXPECT_GT(numBarred, 5);
}

constexpr int g1 = 3, g2 = 2;

// What a sweep does with a facet by the plain rule: its new label, 0 if it sees none, -1 if it stays.
int plainMajority(const Component& component, const Facet& f, int minCount, bool bResolve) {
    int num1 = 0, num2 = 0;
    component.facetIndex.forEachAround(f.rcd, false, [&](std::uint32_t cell) {
        if (!component.facetIndex.isExposed(cell, f.dir)) return;
        const int label = component.vVisibleFacets[component.facetIndex.facetOf(cell, f.dir)].component;
        num1 += label == g1;
        num2 += label == g2;
    });
    if (num1 + num2 == 0) return 0;
    const bool bBoth = num1 > 0 && num2 > 0;
    const int best = std::max(num1, num2);
    if ((bBoth && (!bResolve || best < 2)) || best < minCount) return -1;
    return num1 > num2 ? g1 : g2;
}

void plainColorize27(Component& component, std::vector<Facet*>& vList, int minCount, bool bResolve) {
    std::vector<Facet*> vDeferred, vKept;
    const auto takeDeferred = [&] {
        vList.insert(vList.end(), vDeferred.begin(), vDeferred.end());
        vDeferred.clear();
    };
    for (;;) {
        std::size_t n = 0;
        vKept.clear();
        for (Facet* f : vList) {
            if (f->component == g1 || f->component == g2) continue;
            const int label = plainMajority(component, *f, minCount, bResolve);
            if (label > 0) f->component = label;
            n += label > 0;
            if (label == 0) vDeferred.push_back(f);
            if (label == -1) vKept.push_back(f);
        }
        vList = vKept;
        const std::size_t r = vList.size();
        if (n == 0 || r < 2000 || r / n >= 1001) takeDeferred();
        if (n != 0) continue;  // these lists are short
        if (component.cc_colorize_w(vList, g1, g2, 10.0) == 0) return;
    }
}

TEST(Component, sweepsByMajorityEqualThePlainRule) {
    for (unsigned seed = 0; seed < 24; ++seed) {
        const CaptureCout quiet;
        const std::vector<uint64> vCells = seed % 6 == 5 ? noisySheet(60, 60, 0.5, seed) : randomPiece(seed);
        const Piece fast(vCells), plain(vCells);
        std::mt19937 random(seed);
        std::vector<Facet*> vFast, vPlain;
        for (std::size_t i = 0; i < fast.labels().size(); ++i) {
            Facet &f = fast.pComponent->vVisibleFacets[i], &p = plain.pComponent->vVisibleFacets[i];
            const bool bLabelled = random() % 8 == 0 && unpackRCD(f.rcd).y % 16 < 7;
            f.component = p.component = bLabelled ? (random() % 4 ? f.dir % 2 + g2 : g2) : -1;
            if (bLabelled) continue;
            vFast.push_back(&f);
            vPlain.push_back(&p);
        }
        for (const int minCount : {5, 3, 2, 1, 1}) {
            const bool bResolve = minCount == 1 && seed % 2;
            fast.pComponent->cc_colorize_27(vFast, g1, g2, minCount, bResolve);
            plainColorize27(*plain.pComponent, vPlain, minCount, bResolve);
            ASSERT_EQ(fast.labels(), plain.labels()) << seed << " " << minCount;
        }
    }
}

// Of two facets that touch with different labels the one with the higher value goes.
TEST(Component, theSeamIsCutBestFirst) {
    int numCut = 0;
    for (unsigned seed = 0; seed < 12; ++seed) {
        const CaptureCout quiet;
        const Piece piece(randomPiece(seed));
        Component& component = *piece.pComponent;
        std::vector<Facet>& v = component.vVisibleFacets;
        std::vector<Facet*> vList;
        std::mt19937 random(seed);
        for (Facet& f : v) {
            f.component = static_cast<int>(random() % 2);
            vList.push_back(&f);
        }
        const std::vector<Facet> vBefore = v;
        std::vector<double> vValue;
        for (const Facet& f : v) vValue.push_back(component.cc_getThinWeight(&f));
        component.cc_makeThinBorder(vList);
        for (std::uint32_t i = 0; i < v.size(); ++i) {
            bool bBeaten = false;
            for (int edge = 0; edge < 4; ++edge) {
                const std::uint32_t n = component.facetIndex.neighbour(v[i], edge);
                if (vBefore[n].component == vBefore[i].component) continue;
                EXPECT_TRUE(v[i].component < 0 || v[n].component < 0);
                bBeaten = bBeaten || v[n].component >= 0 || vValue[n] <= vValue[i];
            }
            if (v[i].component >= 0) continue;
            EXPECT_TRUE(bBeaten) << seed;
            ++numCut;
        }
    }
    EXPECT_GT(numCut, 500);
}

TEST(Component, labelsDoNotDependOnTheThreads) {
    std::vector<uint64> vCells = voxelBox(50, 50, 50, 229, 229, 50);
    // Square holes, whose rims are what is left to label.
    const auto inHole = [](uint64 rcd) { return unpackRCD(rcd).x % 9 > 4 && unpackRCD(rcd).y % 9 > 4; };
    vCells.erase(std::remove_if(vCells.begin(), vCells.end(), inHole), vCells.end());
    ThreadCount one(1);
    const std::vector<int> vExpected = Piece(vCells).labels();
    for (const int label : {0, 1}) EXPECT_GT(std::count(vExpected.begin(), vExpected.end(), label), 10000);
    EXPECT_GT(std::count(vExpected.begin(), vExpected.end(), -1), 50);
    for (const unsigned numThreads : {2u, 16u}) {
        ThreadCount several(numThreads);
        EXPECT_EQ(Piece(vCells).labels(), vExpected);
    }
}

TEST(Component, pieceWithoutTwoGroupsReportsAndHasNoSides) {
    // Cells of a line are all border, so nothing starts a group.
    std::unique_ptr<Piece> pPiece;
    const std::string text = printedText([&] { pPiece = std::make_unique<Piece>(voxelBox(50, 50, 50, 50, 50, 52)); });
    EXPECT_EQ(text, "vCountGroup.size()=0, numRCD=3\n");
    EXPECT_EQ(pPiece->count(-1), 14u);
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

TEST(Component, orientationCountsTheSidesInTheBlock) {
    const Piece slab(voxelBox(50, 50, 50, 64, 64, 50));
    using Counts = std::array<int, 6>;
    Counts lower, upper;
    slab.pComponent->getOrientationCount(packRCD(57, 57, 50), lower.data(), upper.data());
    EXPECT_EQ(lower, (Counts{0, 0, 0, 0, 9, 0}));
    EXPECT_EQ(upper, (Counts{0, 0, 0, 0, 0, 9}));
    // At a corner of the slab, where the rim has no label.
    slab.pComponent->getOrientationCount(packRCD(50, 50, 50), lower.data(), upper.data());
    EXPECT_EQ(lower, (Counts{0, 0, 0, 0, 4, 0}));
    EXPECT_EQ(upper, (Counts{0, 0, 0, 0, 0, 4}));
}

TEST(Component, mergedTakesTheListsAndLabelsOfItsGroup) {
    // Given in the order of neither their codes nor their sizes.
    Piece a(voxelBox(50, 50, 60, 64, 64, 60)), b(voxelBox(50, 50, 50, 64, 64, 50)), c(voxelBox(50, 50, 70, 60, 60, 70));
    b.pComponent->flipSides();
    std::vector<Facet> vExpected;
    std::vector<uint64> vBorder, vArea;
    for (const Piece* p : {&a, &b, &c}) {
        vExpected.insert(vExpected.end(), p->pComponent->vVisibleFacets.begin(), p->pComponent->vVisibleFacets.end());
        vBorder = unionOf(vBorder, p->vBorder);
        vArea = unionOf(vArea, p->vArea);
    }
    std::sort(vExpected.begin(), vExpected.end());
    const Component merged({a.pComponent.get(), b.pComponent.get(), c.pComponent.get()}, 20, &a.vSamples, &a.calc);
    EXPECT_EQ(merged.vCellRCD, unionOf(vBorder, vArea));
    EXPECT_EQ(merged.vBorderRCD, vBorder);
    EXPECT_EQ(merged.vAreaRCD, vArea);
    EXPECT_TRUE(merged.bOriented);
    EXPECT_EQ(merged.numGrowSteps, 20);
    EXPECT_EQ(merged.maxBorderVal, 0.5F);
    ASSERT_EQ(merged.vVisibleFacets.size(), vExpected.size());
    for (std::uint32_t i = 0; i < vExpected.size(); ++i) {
        const Facet& f = merged.vVisibleFacets[i];
        ASSERT_EQ(f, vExpected[i]);
        ASSERT_EQ(f.component, vExpected[i].component);
        ASSERT_EQ(merged.facetIndex.find(f.rcd, f.dir), i);
    }
    EXPECT_TRUE(a.pComponent->vVisibleFacets.empty());
}

}  // namespace
