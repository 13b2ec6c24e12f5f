#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <map>
#include <random>

#include "field/Component.h"
#include "field/CornerSmoother.h"
#include "parallel/sortMT.h"
#include "support/capture.h"
#include "support/threads.h"
#include "support/voxels.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

// A cube of corners with gaps, created in random order, with random states and vals.
void fillStore(CornerStore& store, unsigned seed, float largest) {
    std::mt19937 random(seed);
    std::vector<uint64> vRCC = randomCells(random, 50, 14, 0.7);
    std::shuffle(vRCC.begin(), vRCC.end(), random);
    for (const uint64 rcc : vRCC) {
        Corner* const pCorner = store.createCorner(rcc);
        pCorner->state = static_cast<CornerState>(1 + random() % 7);
        const float magnitude = largest * static_cast<float>(1 + random() % 1000) / 1000.0F;
        const bool bNegative = pCorner->state == ST_LOWER_BORDER || (pCorner->state != ST_UPPER_BORDER && random() % 2);
        pCorner->val = bNegative ? -magnitude : magnitude;
        if (pCorner->state == ST_DUAL_NO_EMITTER || pCorner->state == ST_NON_STRIP) pCorner->val = 0.0F;
        pCorner->weight = static_cast<float>(1 + random() % 10) / 10.0F;
    }
}

// One sweep by the rule, from corner to corner. Neighbours in the order of the slots or by dir.
void slowPass(CornerStore& store, bool bUseWeights, bool bInSlotOrder) {
    constexpr float maxBorderVal = 0.5F;
    constexpr float tiny = 1.17549435e-38F;
    std::vector<std::pair<float, float>> vNew;
    for (const Corner* c : store.vCorners) {
        float sum = bUseWeights ? c->weight * c->val : c->val;
        float sumWeight = bUseWeights ? c->weight : 1.0F;
        std::vector<Corner*> vNeigs;
        store.getNeigs(c, vNeigs);
        const uint64 rcc = store.rccOf(*c);
        for (int i = 0; !bInSlotOrder && i < 6; ++i) {
            const uint64 step = i / 2 == 0 ? stepX_RCD : i / 2 == 1 ? stepY_RCD : stepZ_RCD;
            if (i == 0) vNeigs.clear();
            if (Corner* const n = store.getCorner(i % 2 ? rcc + step : rcc - step)) vNeigs.push_back(n);
        }
        for (const Corner* n : vNeigs) {
            sum += bUseWeights ? n->weight * n->val : n->val;
            sumWeight += bUseWeights ? n->weight : 1.0F;
        }
        float val = sum / sumWeight;
        if (val == 0) val = tiny;
        if (c->state == ST_LOWER_BORDER) val = val < -maxBorderVal ? -maxBorderVal : val >= 0 ? -tiny : val;
        if (c->state == ST_UPPER_BORDER) val = val > maxBorderVal ? maxBorderVal : val <= 0 ? tiny : val;
        vNew.emplace_back(val, sumWeight / static_cast<float>(vNeigs.size() + 1));
    }
    for (std::size_t i = 0; i < vNew.size(); ++i) {
        Corner& c = *store.vCorners[i];
        if (c.state == ST_LOWER_BORDER || c.state == ST_UPPER_BORDER || c.state == ST_INFLATED) {
            c.val = vNew[i].first;
            c.weight = vNew[i].second;
        }
    }
}

void expectSameCorners(const CornerStore& a, const CornerStore& b) {
    ASSERT_EQ(a.vCorners.size(), b.vCorners.size());
    int numDifferent = 0;
    for (std::size_t i = 0; i < a.vCorners.size(); ++i) {
        const Corner &p = *a.vCorners[i], &q = *b.vCorners[i];
        numDifferent += std::bit_cast<std::uint32_t>(p.val) != std::bit_cast<std::uint32_t>(q.val);
        numDifferent += std::bit_cast<std::uint32_t>(p.weight) != std::bit_cast<std::uint32_t>(q.weight);
    }
    EXPECT_EQ(numDifferent, 0);
}

// A slab with a hole as a merged Component that is ready to run.
struct Slab {
    Calc calc = unitGrid();
    Component::CodePoints vRCDPoint;
    std::unique_ptr<Component> pRaw, pMerged;

    explicit Slab(int numGrowSteps, double tilt) {
        std::vector<uint64> vCells, vBorder;
        for (int x = 0; x < 40; ++x) {
            for (int y = 0; y < 40; ++y) {
                if (std::hypot(x - 19.5, y - 19.5) < 3) continue;
                const Point3 p(100.5 + x, 100.5 + y, 100.5 + tilt * x);
                vRCDPoint.emplace_back(calc.getRCD(p), p);
                vCells.push_back(vRCDPoint.back().first);
                const bool bRim = x == 0 || y == 0 || x == 39 || y == 39 || std::hypot(x - 19.5, y - 19.5) < 4;
                if (bRim) vBorder.push_back(vCells.back());
            }
        }
        pRaw = std::make_unique<Component>(vCells, vBorder, &vRCDPoint, &calc);
        pMerged = std::make_unique<Component>(std::vector<Component*>{pRaw.get()}, numGrowSteps, &vRCDPoint, &calc);
    }
};

// The zero level by the rule: a record for each crossed edge and cell, sorted.
Component::CodePoints slowZero(const Component& component) {
    const Calc& calc = *component.pCalc;
    const auto at = [&](uint64 rcc) {
        const GridCoords c = unpackRCD(rcc);
        return Point3(double(c.x) / calc.invCellX + calc.x0, double(c.y) / calc.invCellY + calc.y0,
                      double(c.z) / calc.invCellZ + calc.z0);
    };
    const auto rccOf = [&](const Corner* p) { return component.cornerStore.rccOf(*p); };
    std::map<uint64, std::vector<Point3>> mCrossings;
    for (const Corner* c : component.cornerStore.vCorners) {
        std::vector<Corner*> vNeigs;
        component.cornerStore.getNeigs(c, vNeigs);
        for (const Corner* n : vNeigs) {
            if (c->state > 3 || n->state > 3 || (c->val < 0) == (n->val < 0)) continue;
            const float sum = std::abs(c->val) + std::abs(n->val);
            const Point3 p = at(rccOf(c)) + (at(rccOf(n)) - at(rccOf(c))) * double(std::abs(c->val)) / double(sum);
            std::vector<uint64> vAround;
            calc.getCbsAroundEdge(rccOf(c), rccOf(n), vAround);
            for (const uint64 rcd : vAround) mCrossings[rcd].push_back(p);
        }
    }
    Component::CodePoints vOut;
    for (const auto& [rcd, vPoints] : mCrossings) {
        if (std::binary_search(component.vCellRCD.begin(), component.vCellRCD.end(), rcd)) continue;
        double x = 0, y = 0, z = 0;
        for (const Point3& p : vPoints) p.addOwnCoords(x, y, z);
        const double num = static_cast<double>(vPoints.size());
        Point3 mean(x / num, y / num, z / num);
        calc.adaptPointToRCD(rcd, mean);
        vOut.emplace_back(rcd, mean);
    }
    return vOut;
}

}  // namespace

// A layer of inflated corners where none is yet.
void addLayer(CornerStore& store) {
    for (uint64 x = 49; x <= 64; ++x) {
        for (uint64 y = 49; y <= 64; ++y) {
            if (store.getCorner(packRCD(x, y, 57))) continue;
            Corner* const pCorner = store.createCorner(packRCD(x, y, 57));
            pCorner->val = static_cast<float>(x) - 56.5F;
            pCorner->weight = 0.7F;
            pCorner->state = ST_INFLATED;
        }
    }
}

TEST(CornerSmoother, givesTheBitsOfThePlainRuleForEveryThreadCountWhileCornersCome) {
    const Calc calc = unitGrid();
    for (unsigned seed = 1; seed <= 6; ++seed) {
        const ThreadCount threads(seed % 3 == 0 ? 16 : seed % 3);
        const bool bUseWeights = seed != 4, bInSlotOrder = seed % 2 == 0;
        CornerStore fast(&calc), slow(&calc);
        for (CornerStore* pStore : {&fast, &slow}) fillStore(*pStore, seed, 2.0F);
        CornerSmoother smoother(bUseWeights, 0.5F, bInSlotOrder ? CornerSmoother::neverResting : 100);
        for (const int numPasses : {20, 1, 7}) {
            smoother.smooth(fast, numPasses);
            for (int i = 0; i < numPasses; ++i) slowPass(slow, bUseWeights, bInSlotOrder);
            expectSameCorners(fast, slow);
            if (numPasses != 20) continue;
            for (CornerStore* pStore : {&fast, &slow}) addLayer(*pStore);
        }
    }
}

// Two clusters far apart; only beside the second one new corners come at each call.
TEST(CornerSmoother, restsOnlyWhereNoCornersCome) {
    const Calc calc = unitGrid();
    constexpr int restAfter = 2;
    CornerStore store(&calc), plain(&calc);
    for (CornerStore* const p : {&store, &plain}) {
        fillStore(*p, 5, 2.0F);
        for (uint64 x = 200; x < 206; ++x) p->createCorner(packRCD(x, 50, 50));
        for (std::size_t i = p->vCorners.size() - 6; i < p->vCorners.size(); ++i) {
            p->vCorners[i]->state = ST_INFLATED;
            p->vCorners[i]->val = static_cast<float>(i % 4) - 1.5F;
            p->vCorners[i]->weight = 0.5F;
        }
    }
    const std::size_t numFirst = store.vCorners.size() - 6;
    CornerSmoother resting(true, 0.5F, restAfter), exact(true, 0.5F);
    std::vector<float> vBefore;
    for (int call = 1; call <= 6; ++call) {
        for (CornerStore* const p : {&store, &plain}) {
            Corner* const pNew = p->createCorner(packRCD(205 + static_cast<uint64>(call), 50, 50));
            pNew->state = ST_INFLATED;
            pNew->val = pNew->weight = 1.0F;
        }
        resting.smooth(store, 3);
        exact.smooth(plain, 3);
        std::vector<float> vNow;
        for (std::size_t i = 0; i < numFirst; ++i) vNow.push_back(store.vCorners[i]->val);
        EXPECT_EQ(vNow == vBefore, call > restAfter + 1) << call;
        vBefore = vNow;
        for (std::size_t i = 0; i < store.vCorners.size(); ++i) {
            if (i < numFirst && call > restAfter + 1) continue;
            ASSERT_NEAR(store.vCorners[i]->val, plain.vCorners[i]->val, 1e-5) << call << " " << i;
        }
    }
}

TEST(CornerSmoother, printsAtMostOneLineACallForLargeVals) {
    const Calc calc = unitGrid();
    CornerStore store(&calc);
    fillStore(store, 3, 5000.0F);
    CornerSmoother smoother(true, 0.5F);
    const std::string text = printedText([&] { smoother.smooth(store, 20); });
    EXPECT_EQ(text.rfind("newWeight=", 0), 0u);
    EXPECT_NE(text.find(", newVal="), std::string::npos);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1);
}

TEST(Component, stripsEndFiveStepsFromTheSeam) {
    Slab slab(7, 0.0);
    Component& component = *slab.pMerged;
    component.assignFirstDistances();
    // Nothing of so small a slab is out of reach of growth.
    std::vector<uint64> vRCC;
    for (const Facet& facet : component.vVisibleFacets) facet.getCorners(vRCC);
    sortUniqueMT(vRCC);
    EXPECT_EQ(component.cornerStore.vCorners.size(), vRCC.size());
    int aCount[8] = {};
    for (const Corner* pCorner : component.cornerStore.vCorners) {
        ++aCount[pCorner->state];
        const GridCoords c = unpackRCD(component.cornerStore.rccOf(*pCorner));
        const bool bMiddle = c.x == 108 && c.y == 108;  // 8 steps from the rim and the hole
        if (bMiddle) {
            EXPECT_EQ(pCorner->getState(), ST_NON_STRIP);
        }
        if (pCorner->isActive()) {
            EXPECT_NEAR(std::abs(pCorner->val), std::sqrt(0.75), 1e-6);
        }
        if (pCorner->state == ST_LOWER_BORDER || pCorner->state == ST_CLEAN_LOWER) {
            EXPECT_LT(pCorner->val, 0);
        }
        if (pCorner->state == ST_UPPER_BORDER || pCorner->state == ST_CLEAN_UPPER) {
            EXPECT_GT(pCorner->val, 0);
        }
    }
    EXPECT_EQ(aCount[ST_UNSET] + aCount[ST_INFLATED], 0);
    EXPECT_EQ(aCount[ST_LOWER_BORDER], aCount[ST_UPPER_BORDER]);
    EXPECT_GT(aCount[ST_LOWER_BORDER], 90);
    EXPECT_EQ(aCount[ST_CLEAN_LOWER], aCount[ST_CLEAN_UPPER]);
    EXPECT_GT(aCount[ST_NON_STRIP], 0);
}

TEST(Component, theZeroLevelIsThatOfThePlainRule) {
    for (const double tilt : {0.0, 0.31, 0.77}) {
        Slab slab(9, tilt);
        Component::CodePoints vOut;
        slab.pMerged->run(vOut);
        const Component::CodePoints vSlow = slowZero(*slab.pMerged);
        ASSERT_EQ(vOut.size(), vSlow.size());
        EXPECT_GT(vOut.size(), 30u);
        for (std::size_t i = 0; i < vOut.size(); ++i) {
            EXPECT_EQ(vOut[i].first, vSlow[i].first);
            EXPECT_EQ(vOut[i].second, vSlow[i].second);
        }
    }
}

TEST(Component, growthWantsStepsAndNeedsASeam) {
    Slab slab(0, 0.0);
    Component::CodePoints vOut;
    EXPECT_TRUE(failsWith("numGrowSteps>0", [&] { slab.pMerged->run(vOut); }));
    // A closed sphere has two sides and no seam.
    const Calc calc = unitGrid();
    const std::vector<uint64> vCells = voxelSphere(6, 0.9, 100);
    Component::CodePoints vRCDPoint;
    for (const uint64 rcd : vCells) vRCDPoint.emplace_back(rcd, calc.getCellCenter(calc.rcdToCcd(rcd)));
    Component raw(vCells, {}, &vRCDPoint, &calc);
    Component merged({&raw}, 7, &vRCDPoint, &calc);
    EXPECT_TRUE(merged.run(vOut));
    EXPECT_TRUE(vOut.empty());
}
