#include "grid/Calc.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <functional>
#include <limits>

#include "support/capture.h"
#include "support/digest.h"
#include "support/drawnCells.h"
#include "support/tempFolder.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

// The slow model: coordinates as a triple, codes made bit by bit.
struct Triple {
    uint64 c[3];
};

constexpr uint64 axTriBits[3] = {4, 2, 1};
constexpr uint64 top = coordMask;

uint64 packed(const Triple& t) {
    return (t.c[0] << 42) + (t.c[1] << 21) + t.c[2];
}

uint64 interleaved(const Triple& t) {
    uint64 code = 0;
    for (int k = 0; k < 21; ++k) {
        for (int axis = 0; axis < 3; ++axis) code += (t.c[axis] >> k & 1) * axTriBits[axis] << (3 * k);
    }
    return code;
}

Calc unitCells(int numLevels) {
    const double size = static_cast<double>(uint64{1} << numLevels);
    return Calc(0, 0, 0, size, size, size, numLevels);
}

// Coordinates from low to high, both included; the ends come often.
Triple drawTriple(Draws& draws, uint64 low, uint64 high) {
    Triple t;
    for (uint64& c : t.c) {
        const unsigned kind = draws.below(8);
        c = kind == 0 ? low : kind == 1 ? high : low + draws.below(static_cast<unsigned>(high - low + 1));
    }
    return t;
}

}  // namespace

TEST(Calc, codesHoldTheCoordinatesBitByBitAtEveryDepth) {
    Draws draws(1);
    for (int numLevels = 0; numLevels <= MAXLEVELS; ++numLevels) {
        const Calc calc = unitCells(numLevels);
        const uint64 last = (uint64{1} << numLevels) - 1;
        for (int i = 0; i < 200; ++i) {
            const Triple t = drawTriple(draws, 0, last), any = drawTriple(draws, 0, top);
            const Point3 p{double(t.c[0]) + 0.25, double(t.c[1]) + 0.5, double(t.c[2]) + 0.75};
            const uint64 rcd = packed(t), ccd = interleaved(t);
            ASSERT_EQ(calc.getRCD(p), rcd);
            ASSERT_EQ(calc.getCCD(p), ccd);
            ASSERT_EQ(calc.rcdToCcd(rcd), ccd);
            ASSERT_EQ(calc.ccdToRcd(ccd), rcd);
            const GridCoords coords{t.c[0], t.c[1], t.c[2]};
            ASSERT_EQ(unpackRCD(rcd), coords);
            ASSERT_EQ(unpackCCD(ccd), coords);
            for (int axis = 0; axis < 3; ++axis) {
                Triple alone{};
                alone.c[axis] = t.c[axis];
                ASSERT_EQ(calc.numberToSparse(t.c[axis], axTriBits[axis]), interleaved(alone));
                ASSERT_EQ(ccd & getMask(axis), interleaved(alone));
            }
            // Bits above the depth are dropped.
            const Triple cut{{any.c[0] & last, any.c[1] & last, any.c[2] & last}};
            ASSERT_EQ(calc.rcdToCcd(packed(any)), interleaved(cut));
            ASSERT_EQ(calc.ccdToRcd(interleaved(any)), packed(cut));
            ASSERT_EQ(calc.numberToSparse(any.c[0], 7), interleaved({{cut.c[0], cut.c[0], cut.c[0]}}));
        }
    }
}

TEST(Calc, pointsOutsideTheGridGiveSomeCodeWithoutUndefinedBehaviour) {
    const double inf = std::numeric_limits<double>::infinity(), nan = std::nan("");
    // The second grid is degenerate: every product is NaN or infinite.
    for (const Calc& calc : {Calc(-1, -1, -1, 2, 2, 2, 10), Calc(0, 0, 0, 0, 0, 0, 3)}) {
        for (const double wild : {nan, -nan, inf, -inf, 1e300, -1e300, 1e18, -1e18, 1e6, -1e6, -5e-324}) {
            for (const Point3& p : {Point3(wild, 0, 0), Point3(0, wild, 0), Point3(1, -1, wild)}) {
                EXPECT_LE(calc.getRCD(p), ~uint64{0} >> 1);
                EXPECT_EQ(unpackRCD(calc.getRCD(p)), unpackCCD(calc.getCCD(p)));
            }
        }
    }
    const Calc calc(10, 20, 30, 8, 16, 32, 3);
    EXPECT_EQ(calc.getCellSize(), 1.0);
    EXPECT_EQ(calc.getRCD({12.5, 25.9, 61.9}), packRCD(2, 2, 7));
    EXPECT_EQ(calc.getRCD({9.5, 18.5, 27}), 0u) << "towards zero";
    EXPECT_EQ(calc.getCellCenter(packCCD(2, 2, 7)), Point3(12.5, 25, 60));
}

TEST(Calc, misuseFailsUnderItsCondition) {
    const Calc calc = unitCells(10);
    uint64 array[27] = {};
    std::vector<uint64> v;
    const uint64 last = 1023;
    const std::pair<const char*, std::function<void()>> aCases[] = {
        {"numLevels<=MAXLEVELS", [] { unitCells(22); }},
        {"numLevels>=0", [] { Calc(0, 0, 0, 1, 1, 1, -1); }},
        {"axTriBit<8", [&] { calc.numberToSparse(1, 8); }},
        {"false", [] { getMask(3); }},
        {"false", [] { getMask(-1); }},
        {"false", [&] { calc.completeArray27(packCCD(last, 1, 1), array); }},
        {"false", [&] { calc.completeArray27(packCCD(1, last, 1), array); }},
        {"false", [&] { calc.completeArray27(packCCD(1, 1, 0), array); }},
        {"x>0 && y>0 && z>0", [&] { calc.completeArray26_RCD(packRCD(1, 0, 1), array); }},
        {"xdiff==0 || xdiff==1", [&] { calc.getCbsAroundEdge(packRCD(5, 5, 5), packRCD(7, 5, 5), v); }},
        {"ydiff==0 || ydiff==1", [&] { calc.getCbsAroundEdge(packRCD(5, 5, 5), packRCD(5, 7, 5), v); }},
        {"zdiff==0 || zdiff==1", [&] { calc.getCbsAroundEdge(packRCD(5, 5, 5), packRCD(5, 5, 7), v); }},
        {"xdiff+ydiff+zdiff==1", [&] { calc.getCbsAroundEdge(packRCD(5, 5, 5), packRCD(5, 6, 6), v); }},
        {"result_xor", [&] { calc.getNeigType(7, 7); }},
        {"val<256", [] { Calc::getNumSet8(256); }}};
    for (const auto& [condition, misuse] : aCases) EXPECT_TRUE(failsWith(condition, misuse));
    for (unsigned i = 0; i < 256; ++i) EXPECT_EQ(Calc::getNumSet8(static_cast<int>(i)), std::popcount(i));
}

TEST(Calc, stepsMoveOneAxisAndStopAtTheEnds) {
    Draws draws(2);
    for (int numLevels = 0; numLevels <= MAXLEVELS; ++numLevels) {
        const Calc calc = unitCells(numLevels);
        const uint64 last = (uint64{1} << numLevels) - 1;
        for (int i = 0; i < 300; ++i) {
            const Triple t = drawTriple(draws, 0, last);
            const auto axis = draws.below(3);
            const bool bUp = i % 2;
            Triple next = t;
            next.c[axis] += bUp ? 1 : ~uint64{0};
            uint64 moved = interleaved(t);
            const auto move = [&] {
                return bUp ? calc.incSparse(moved, axTriBits[axis]) : calc.decSparse(moved, axTriBits[axis]);
            };
            if (next.c[axis] > last) {
                ASSERT_TRUE(failsWith("false", move));
                EXPECT_NE(printedText([&] { EXPECT_FALSE(calc.manipOneAxis(moved, bUp, axTriBits[axis])); }), "");
                EXPECT_EQ(moved, ~uint64{0});
                continue;
            }
            ASSERT_EQ(move(), interleaved(next));
            ASSERT_TRUE(calc.manipOneAxis(moved, bUp, axTriBits[axis]));
            ASSERT_EQ(moved, interleaved(next));
        }
    }
}

// Arrays and lists around cells; small ones in both layouts, for their orders.
TEST(Calc, neighbourhoodsAreTheRecordedOnes) {
    const Calc calc = unitCells(21);
    Draws draws(3);
    std::vector<Digest> vDigests(7);
    const Calc slanted(0.1, -7.3, 1e5 / 3, 1000.1, 1000.1 / 3, 77.7, 21);
    std::vector<uint64> vRCD, vCorners{7}, vNeigs{7};
    std::vector<std::pair<uint64, uint64>> vPairs;
    for (int i = 0; i < 1000; ++i) {
        const Triple t = i % 2 ? drawTriple(draws, 1, top - 1) : drawTriple(draws, 100, 105);
        const uint64 rcd = packed(t), ccd = interleaved(t);
        vRCD.push_back(rcd);
        uint64 sparse27[27], packed27[27], packed26[26], cube[8] = {ccd}, star[8] = {};
        star[5] = ccd;
        calc.completeArray27(ccd, sparse27);
        calc.completeArray27_RCD(rcd, packed27);
        calc.completeArray26_RCD(rcd, packed26);
        calc.getVCDsOfCCD(cube);
        calc.getCellsAroundVCD(star);
        for (int n = 0; n < 27; ++n) {
            ASSERT_EQ(calc.rcdToCcd(packed27[n]), sparse27[n]);
            vDigests[1].add(n == 13 ? 0 : calc.getNeigType(ccd, sparse27[n]));
            vDigests[2].add(calc.getUniqueSameComponent(ccd, sparse27[n]));
        }
        vDigests[0].add(packed27, packed26);
        vDigests[3].add(cube, star);
        const uint64 next = rcd + (uint64{1} << (21 * (i % 3)));
        std::vector<uint64> up{1}, down{1};
        calc.getCbsAroundEdge(rcd, next, up);
        calc.getCbsAroundEdge(next, rcd, down);
        ASSERT_EQ(up, down);
        vDigests[4].add(up);
        std::vector<Point3> vCentres{Point3(1, 2, 3)};
        slanted.getCellCenters({ccd, 1}, vCentres);
        ASSERT_EQ(slanted.getCCD(vCentres[1]), ccd);
        // To the last bit: the sum of the sizes of all levels.
        const Point3 low = slanted.getLowerCorner(ccd);
        for (const double x : {low.px, low.py, low.pz}) vDigests[6].add(std::bit_cast<uint64>(x));
        vDigests[6].add(vCentres);
    }
    for (const bool bUnique : {false, true}) {
        calc.getCorners_RCD(vRCD, vCorners, bUnique);
        calc.getNeigs6_RCD(vRCD, vNeigs, bUnique);
        vDigests[5].add(vCorners, vNeigs);
    }
    calc.getCornerPairs_RCD(vRCD, vPairs);
    vDigests[5].add(vPairs);
    Digests vFound;
    for (const Digest& digest : vDigests) vFound.push_back(digest.get());
    EXPECT_EQ(vFound, (Digests{1192907927, 2754925295, 1761317155, 3772364548, 948041132, 3528123741, 3744973690}));
}

TEST(Calc, adaptedPointsMoveJustFarEnoughAndLoseTheirColour) {
    const Calc calc = unitCells(10);
    const auto adapted = [&](Point3 p) {
        const Point3 before = p;
        p.setColor(1, 2, 3, 4);
        const bool bMoved = calc.adaptPointToRCD(packRCD(5, 6, 7), p);
        EXPECT_EQ(bMoved, p != before);
        EXPECT_EQ(bMoved, !p.hasColor() && p.r + p.g + p.b + p.a == 0);
        return p;
    };
    EXPECT_EQ(adapted({5.9, 6.1, 7.5}), Point3(5.9, 6.1, 7.5));
    // The cell begins 2/3 of the way to its centre: only the whole way gets there. Then 1/3 of it.
    EXPECT_EQ(adapted({4, 6.5, 7.5}), Point3(5.5, 6.5, 7.5));
    EXPECT_EQ(adapted({4.75, 6.5, 7.5}), Point3(4.75 + 0.5 * 0.75, 6.5, 7.5));
    EXPECT_EQ(adapted({5.5, 6.5, 6.9995}), Point3(5.5, 6.5, 6.9995 + 0.5005 / 512));
    EXPECT_EQ(adapted({1e300, -1e300, 5}), Point3(5.5, 6.5, 7.5));
    EXPECT_EQ(adapted({std::nan(""), 1, 2}), Point3(5.5, 6.5, 7.5));
}

TEST(Calc, cellsAreWrittenAsCubesOrMissedWithAWarning) {
    const TempFolder folder;
    const Calc calc(0.0, 0.0, 0.0, 8.0, 8.0, 8.0, 3);
    calc.writeCb(calc.getCCD({2.5, 3.5, 4.5}), folder.name("a.list"));
    EXPECT_NE(folder.get("a.list").find("{ OFF\n8 6 0\n2 3 4\n"), std::string::npos);
    const std::string text = printedText([&] { calc.writeCbs({0, 1}, folder.name("none/a.list")); });
    EXPECT_NE(text.find("file not written"), std::string::npos);
}
