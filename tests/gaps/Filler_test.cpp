#include "gaps/Filler.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <map>
#include <random>
#include <set>

#include "gaps/Bridges.h"
#include "grid/RemoveDecider_RCD.h"
#include "grid/codeSets.h"
#include "support/capture.h"
#include "support/threads.h"
#include "support/voxels.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

using Points = Filler::CodePoints;

// Cells with one sample each, sorted into border and area.
struct Samples {
    Calc calc = unitGrid();
    Points vRCDPoint;
    std::vector<uint64> vArea, vBorder;

    void add(double x, double y, double z) {
        const Point3 p(x, y, z);
        vRCDPoint.emplace_back(calc.getRCD(p), p);
    }
    // bThin: one cell thick, as a cloud hands them over.
    void finish(bool bThin = false) {
        sortByFirstMT(vRCDPoint.begin(), vRCDPoint.end());
        std::vector<uint64> vRCD, vKept, vDoomed;
        for (const auto& pair : vRCDPoint) vRCD.push_back(pair.first);
        RemoveDecider_RCD decider(&vRCD, &calc);
        if (bThin) decider.pruneLayered(vRCDPoint, vRCD, vKept, vDoomed, false, true, true);
        decider.classify(vArea, vBorder);
        std::erase_if(vRCDPoint, [&](const auto& pair) { return containsCode(vDoomed, pair.first); });
    }
    Filler makeFiller(int numGrowSteps) { return Filler(numGrowSteps, vBorder, vArea, vRCDPoint, &calc); }
    Points filled(int numGrowSteps) {
        Points vOut;
        makeFiller(numGrowSteps).fill(vOut);
        return vOut;
    }
};

bool isHole(int i, int j) {
    return 13 <= i && i < 18 && 13 <= j && j < 18;
}

// A flat sheet of 31 x 31 cells across an axis with a hole of 5 x 5 in its middle;
// samples at this place inside the cells.
Samples sheetWithHole(int axis, double place) {
    Samples samples;
    for (int i = 0; i < 31; ++i) {
        for (int j = 0; j < 31; ++j) {
            if (isHole(i, j)) continue;
            const double a = 200 + i + place, b = 200 + j + place, c = 200 + place;
            if (axis == 0) samples.add(c, a, b);
            if (axis == 1) samples.add(b, c, a);
            if (axis == 2) samples.add(a, b, c);
        }
    }
    samples.finish();
    return samples;
}

double coordinate(const Point3& p, int axis) {
    return axis == 0 ? p.px : axis == 1 ? p.py : p.pz;
}

// The filled points in the columns of the hole.
Points inHole(const Points& v, int axis) {
    Points vIn;
    for (const auto& pair : v) {
        const int i = static_cast<int>(coordinate(pair.second, (axis + 1) % 3)) - 200;
        const int j = static_cast<int>(coordinate(pair.second, (axis + 2) % 3)) - 200;
        if (isHole(i, j)) vIn.push_back(pair);
    }
    return vIn;
}

// Two parts of a noisy sheet with some holes.
Samples noisySheetWithHoles(double waves, bool bMirrored = false) {
    Samples samples;
    std::mt19937 random(5);
    std::uniform_real_distribution<double> noise(-0.3, 0.3);
    for (int x = 0; x < 50; ++x) {
        for (int y = 0; y < 40; ++y) {
            const double dx = noise(random), dy = noise(random), dz = noise(random);
            if (x / 2 == 12 || std::hypot(x % 13 - 6, y % 20 - 9) < 3.2) continue;
            const double px = x + 0.5 + dx;
            samples.add(300 + (bMirrored ? -px : px), 300.5 + y + dy, 305.5 + waves * std::sin(x / 9.0) + dz);
        }
    }
    samples.finish(true);
    return samples;
}

bool sameBytes(const Points& v, const Points& w) {
    return v.size() == w.size() && std::equal(v.begin(), v.end(), w.begin(), [](const auto& a, const auto& b) {
               return a.first == b.first && std::memcmp(&a.second.px, &b.second.px, 3 * sizeof(double)) == 0;
           });
}

// Two half-sheets that face each other over a gap of this many cells.
Samples halfSheets(int gap) {
    Samples samples;
    for (int x = 0; x < 16; ++x) {
        for (int y = 0; y < 30; ++y) {
            samples.add(200.5 + x, 200.5 + y, 200.5);
            samples.add(216.5 + gap + x, 200.5 + y, 200.5);
        }
    }
    samples.finish();
    return samples;
}

// How many cells of the line across the middle of the gap are filled; flips turn the
// sides of the raw Components first.
int cellsAcross(int gap, int numGrowSteps, bool bFlip0, bool bFlip1) {
    Samples samples = halfSheets(gap);
    Filler filler = samples.makeFiller(numGrowSteps);
    filler.createComponents();
    if (bFlip0) filler.vRawComponents[0]->flipSides();
    if (bFlip1) filler.vRawComponents[1]->flipSides();
    Filler::AffiPairs vPairs;
    filler.determineAffiliation(150, vPairs);
    filler.orient(vPairs);
    filler.mergeComponents();
    Points vOut;
    filler.growComponents(vOut);
    return static_cast<int>(std::count_if(vOut.begin(), vOut.end(), [&](const auto& pair) {
        const GridCoords c = unpackRCD(pair.first);
        return c.y == 215 && c.z == 200 && c.x >= 216 && c.x < 216u + static_cast<unsigned>(gap);
    }));
}

}  // namespace

TEST(Filler, aHoleOfASheetClosesAtItsLevelOnEveryAxis) {
    for (int axis = 0; axis < 3; ++axis) {
        const Points vIn = inHole(sheetWithHole(axis, 0.5).filled(7), axis);
        EXPECT_EQ(vIn.size(), 25u);
        for (const auto& [rcd, p] : vIn) EXPECT_NEAR(coordinate(p, axis), 200.5, 1e-6);
    }
}

TEST(Filler, samplesOnCornersOfTheGridCloseAHoleToo) {
    std::string text;
    Points vIn;
    text = printedText([&] { vIn = inHole(sheetWithHole(2, 0.0).filled(7), 2); });
    EXPECT_EQ(text, "");
    std::vector<uint64> vColumns;
    for (const auto& [rcd, p] : vIn) {
        vColumns.push_back(rcd >> 21);
        EXPECT_NEAR(p.pz, 200.0, 1.0);
    }
    sortUniqueMT(vColumns);
    EXPECT_EQ(vColumns.size(), 25u);
}

TEST(Filler, addsNoCellTwiceAndNoneOfTheCloud) {
    Samples samples = noisySheetWithHoles(4);
    const Points vOut = samples.filled(20);
    EXPECT_GT(vOut.size(), 200u);
    for (std::size_t i = 0; i < vOut.size(); ++i) {
        if (i > 0) {
            EXPECT_LT(vOut[i - 1].first, vOut[i].first);
        }
        EXPECT_EQ(findCode(samples.vRCDPoint, vOut[i].first), samples.vRCDPoint.end());
        EXPECT_EQ(samples.calc.getRCD(vOut[i].second), vOut[i].first);
    }
}

TEST(Filler, halfSheetsJoinAsFarAsGrowthReachesWhateverTheirSides) {
    for (const int flips : {0, 1, 2, 3}) {
        const bool bFlip0 = flips & 1, bFlip1 = flips & 2;
        EXPECT_EQ(cellsAcross(4, 7, bFlip0, bFlip1), 4) << flips;
        EXPECT_EQ(cellsAcross(9, 20, bFlip0, bFlip1), 9) << flips;
        EXPECT_LT(cellsAcross(9, 2, bFlip0, bFlip1), 9) << flips;
        EXPECT_LT(cellsAcross(60, 20, bFlip0, bFlip1), 60) << flips;
    }
}

// Half-sheets and walls that meet at a right angle keep their links, sheets face to face do not.
TEST(Filler, onlyLinksBetweenSurfacesFaceToFaceAreDropped) {
    const auto numLinks = [](Samples samples, bool bDrop) {
        Filler filler = samples.makeFiller(7);
        filler.createComponents();
        Filler::AffiPairs vPairs;
        filler.determineAffiliation(150, vPairs);
        EXPECT_GT(vPairs.size(), 20u);
        if (bDrop) filler.dropStacked(vPairs);
        return vPairs.size();
    };
    const auto twoSheets = [](auto&& placeSecond) {
        Samples samples;
        for (int i = 0; i < 30; ++i) {
            for (int j = 0; j < 30; ++j) {
                samples.add(200.5 + i, 200.5 + j, 200.1);
                placeSecond(samples, i, j);
            }
        }
        samples.finish();
        return samples;
    };
    EXPECT_EQ(numLinks(halfSheets(4), true), numLinks(halfSheets(4), false));
    const Samples walls = twoSheets([](Samples& samples, int i, int j) { samples.add(196.2, 200.5 + j, 204.5 + i); });
    EXPECT_EQ(numLinks(walls, true), numLinks(walls, false));
    for (const int distance : {2, 5, 11}) {
        for (const int shift : {0, 1}) {
            const Samples sheets = twoSheets([&](Samples& samples, int i, int j) {
                samples.add(200.5 + i + shift, 200.5 + j, 200.9 + distance + 0.05 * i);
            });
            EXPECT_EQ(numLinks(sheets, true), 0u) << distance;
        }
    }
}

// Cells that fill a crack stay without those that grow beyond its ends and over the outer rims.
TEST(Filler, bridgesLeadOverCracksBetweenPiecesOnly) {
    const auto isBridgeNeeded = [](int gap, const GridCoords& c) {
        return c.z == 200 && c.x >= 216 && c.x < 216u + static_cast<unsigned>(gap) && c.y >= 200 && c.y < 230;
    };
    for (const int gap : {3, 6}) {
        Samples samples = halfSheets(gap);
        Filler filler = samples.makeFiller(10);
        std::vector<uint64> vBridges, vFilled;
        Bridges bridges(filler);
        filler.adapt = [&](const Component& component, Points& vNew) {
            for (const auto& pair : vNew) vFilled.push_back(pair.first);
            vBridges = bridges.find(component, vFilled);
        };
        Points vOut;
        filler.fill(vOut);
        ASSERT_GT(vFilled.size(), 800u);
        std::set<uint64> sColumns;
        for (const uint64 rcd : vBridges) {
            const GridCoords c = unpackRCD(rcd);
            if (isBridgeNeeded(gap, c)) sColumns.insert(c.y);
            EXPECT_TRUE(c.x >= 215 && c.x < 217u + static_cast<unsigned>(gap) && c.y >= 196 && c.y < 234);
        }
        EXPECT_EQ(sColumns.size(), 30u);
        EXPECT_TRUE(std::includes(vFilled.begin(), vFilled.end(), vBridges.begin(), vBridges.end()));
    }
}

TEST(Filler, mirroredInputGivesTheMirroredField) {
    for (const double waves : {0.0, 1.0, 4.0}) {
        const Points v = noisySheetWithHoles(waves).filled(20);
        Points vBack;
        for (auto [rcd, p] : noisySheetWithHoles(waves, true).filled(20)) {
            const GridCoords c = unpackRCD(rcd);
            vBack.emplace_back(packRCD(599 - c.x, c.y, c.z), Point3(600 - p.px, p.py, p.pz));
        }
        sortByFirstMT(vBack.begin(), vBack.end());
        ASSERT_EQ(v.size(), vBack.size());
        for (std::size_t i = 0; i < v.size(); ++i) {
            ASSERT_EQ(v[i].first, vBack[i].first);
            ASSERT_LT((v[i].second - vBack[i].second).length(), 1e-3);
        }
    }
}

TEST(Filler, givesTheSameBytesForEveryThreadCount) {
    Points vFirst;
    for (const unsigned numThreads : {1u, 2u, 16u}) {
        const ThreadCount threads(numThreads);
        const Points v = noisySheetWithHoles(4).filled(12);
        if (vFirst.empty()) vFirst = v;
        EXPECT_TRUE(sameBytes(v, vFirst)) << numThreads;
    }
}

TEST(Filler, refusesListsThatDoNotAddUp) {
    Samples samples = sheetWithHole(2, 0.5);
    samples.vArea.pop_back();
    EXPECT_TRUE(failsWith("vGlobalAreaRCD.size()+vGlobalBorderRCD.size()==vGlobalRCDPoint.size()",
                          [&] { samples.makeFiller(7); }));
}

namespace {

// The partners of border cells by the rule: radii that widen by 5, all cells asked.
Filler::AffiPairs slowPairs(std::vector<AffiData>& v, double cellSize, int maxDist) {
    const auto dist2 = [](const AffiData& a, const AffiData& b) {
        const GridCoords p = unpackRCD(a.rcd), q = unpackRCD(b.rcd);
        const int dx = int(p.x) - int(q.x), dy = int(p.y) - int(q.y), dz = int(p.z) - int(q.z);
        return dx * dx + dy * dy + dz * dz;
    };
    Filler::AffiPairs vAll, vPairs;
    for (AffiData& a : v) {
        AffiData* pBest = nullptr;
        int best2 = 0x7fffffff;
        for (int r = 10; r < maxDist && !pBest; r += 5) {
            for (AffiData& b : v) {
                const int d2 = dist2(a, b);
                if (b.pComponent == a.pComponent || d2 > best2 || std::sqrt(d2) > r) continue;
                if (b.pComponent->vCellRCD.size() <= 4 && std::sqrt(d2) >= 5 * cellSize) continue;
                if (d2 == best2 && pBest && b.rcd < pBest->rcd) continue;
                best2 = d2;
                pBest = &b;
            }
        }
        if (!pBest) continue;
        const float dist = std::sqrt(static_cast<float>(best2));
        a.dist = std::min(a.dist, dist);
        pBest->dist = std::min(pBest->dist, dist);
        vAll.push_back(std::minmax(&a, pBest));
    }
    std::sort(vAll.begin(), vAll.end());
    vAll.erase(std::unique(vAll.begin(), vAll.end()), vAll.end());
    for (const auto& pr : vAll) {
        const double d = std::sqrt(static_cast<float>(dist2(*pr.first, *pr.second))) - 3.0;
        if (d < pr.first->dist && d < pr.second->dist) vPairs.push_back(pr);
    }
    return vPairs;
}

// Plates of many sizes, from single cells on, strewn over a cube.
Samples strewnPlates(unsigned seed, unsigned side, int numPlates) {
    Samples samples;
    std::mt19937 random(seed);
    std::map<uint64, Point3> mPoints;
    for (int k = 0; k < numPlates; ++k) {
        const auto below = [&](unsigned n) { return static_cast<unsigned>(random() % n); };
        const unsigned x = 100 + below(side), y = 100 + below(side), z = 100 + below(side);
        const unsigned nx = 1 + below(5), ny = 1 + below(5);
        for (unsigned i = 0; i < nx * ny; ++i) {
            const Point3 p(x + i % nx + 0.5, y + i / nx + 0.5, z + 0.5);
            mPoints.emplace(samples.calc.getRCD(p), p);
        }
    }
    samples.vRCDPoint.assign(mPoints.begin(), mPoints.end());
    samples.finish();
    return samples;
}

}  // namespace

TEST(Filler, pairsBorderCellsLikeTheSearchInWideningRadii) {
    for (unsigned seed = 1; seed <= 6; ++seed) {
        Samples samples = strewnPlates(seed, seed % 2 ? 60 : 600, 40);
        Filler filler = samples.makeFiller(7);
        printedText([&] { filler.createComponents(); });
        ASSERT_GT(filler.vRawComponents.size(), 5u);
        std::vector<AffiData> vCopy = filler.vAffiData;
        const Filler::AffiPairs vSlow = slowPairs(vCopy, samples.calc.getCellSize(), 150);
        Filler::AffiPairs vPairs;
        filler.determineAffiliation(150, vPairs);
        ASSERT_EQ(vPairs.size(), vSlow.size());
        for (std::size_t i = 0; i < vPairs.size(); ++i) {
            EXPECT_EQ(vPairs[i].first->rcd, vSlow[i].first->rcd);
            EXPECT_EQ(vPairs[i].second->rcd, vSlow[i].second->rcd);
        }
        for (std::size_t i = 0; i < vCopy.size(); ++i) EXPECT_EQ(filler.vAffiData[i].dist, vCopy[i].dist);
    }
}

TEST(Filler, onePieceHasNoPartnersAndIsFlippedOnce) {
    Samples samples = sheetWithHole(2, 0.5);
    Filler filler = samples.makeFiller(7);
    filler.createComponents();
    ASSERT_EQ(filler.vRawComponents.size(), 1u);
    const std::vector<Facet> vBefore = filler.vRawComponents[0]->vVisibleFacets;
    Filler::AffiPairs vPairs;
    filler.determineAffiliation(150, vPairs);
    EXPECT_TRUE(vPairs.empty());
    filler.orient(vPairs);
    const std::vector<Facet>& vAfter = filler.vRawComponents[0]->vVisibleFacets;
    for (std::size_t i = 0; i < vBefore.size(); ++i) {
        EXPECT_EQ(vAfter[i].component, vBefore[i].component < 0 ? -1 : 1 - vBefore[i].component);
    }
}
