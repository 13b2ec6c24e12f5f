#include "grid/Calc.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <set>

#include "support/capture.h"

using namespace QUOR_ZEF;
using zef_test::failsWith;

namespace {

// The slow model: coordinates as a triple, codes made and read bit by bit.
struct Triple {
    int64 c[3];
    int64& operator[](int axis) { return c[axis]; }
    int64 operator[](int axis) const { return c[axis]; }
};

constexpr int packedShift[3] = {42, 21, 0};
constexpr uint64 axTriBits[3] = {4, 2, 1};

uint64 packed(const Triple& t) {
    uint64 code = 0;
    for (int axis = 0; axis < 3; ++axis) code += static_cast<uint64>(t[axis]) << packedShift[axis];
    return code;
}

uint64 interleaved(const Triple& t) {
    uint64 code = 0;
    for (int k = 0; k < 21; ++k) {
        for (int axis = 0; axis < 3; ++axis) {
            if (t[axis] >> k & 1) code += axTriBits[axis] << (3 * k);
        }
    }
    return code;
}

Triple operator+(const Triple& a, const Triple& b) {
    return {a[0] + b[0], a[1] + b[1], a[2] + b[2]};
}

Calc unitCells(int numLevels) {
    const double size = static_cast<double>(uint64{1} << numLevels);
    return Calc(0, 0, 0, size, size, size, numLevels);
}

class Cells {
public:
    // Coordinates from low to high, both included; the ends come often.
    Triple draw(int64 low, int64 high) {
        Triple t;
        for (int64& c : t.c) {
            const auto kind = random() % 8;
            c = kind == 0 ? low : kind == 1 ? high : low + static_cast<int64>(random() % uint64(high - low + 1));
        }
        return t;
    }

private:
    std::mt19937_64 random{20240607};
};

constexpr int64 top = (1 << 21) - 1;

}  // namespace

TEST(Calc, codesHoldTheCoordinatesBitByBitAtEveryDepth) {
    Cells cells;
    for (int numLevels = 0; numLevels <= MAXLEVELS; ++numLevels) {
        const Calc calc = unitCells(numLevels);
        const int64 last = (int64{1} << numLevels) - 1;
        for (int i = 0; i < 500; ++i) {
            const Triple t = cells.draw(0, last);
            const Point3 p{double(t[0]) + 0.25, double(t[1]) + 0.5, double(t[2]) + 0.75};
            const uint64 rcd = packed(t);
            const uint64 ccd = interleaved(t);
            ASSERT_EQ(calc.getRCD(p), rcd);
            ASSERT_EQ(calc.getCCD(p), ccd);
            ASSERT_EQ(calc.rcdToCcd(rcd), ccd);
            ASSERT_EQ(calc.ccdToRcd(ccd), rcd);
            const GridCoords coords{uint64(t[0]), uint64(t[1]), uint64(t[2])};
            ASSERT_EQ(unpackRCD(rcd), coords);
            ASSERT_EQ(unpackCCD(ccd), coords);
            for (int axis = 0; axis < 3; ++axis) {
                Triple alone{};
                alone[axis] = t[axis];
                ASSERT_EQ(calc.numberToSparse(uint64(t[axis]), axTriBits[axis]), interleaved(alone));
                ASSERT_EQ(ccd & getMask(axis), interleaved(alone));
            }
        }
    }
}

TEST(Calc, bitsAboveTheDepthAreDroppedByConversions) {
    Cells cells;
    for (int numLevels = 0; numLevels <= MAXLEVELS; ++numLevels) {
        const Calc calc = unitCells(numLevels);
        for (int i = 0; i < 100; ++i) {
            const Triple t = cells.draw(0, top);
            Triple cut = t;
            for (int64& c : cut.c) c &= (int64{1} << numLevels) - 1;
            ASSERT_EQ(calc.rcdToCcd(packed(t)), interleaved(cut));
            ASSERT_EQ(calc.ccdToRcd(interleaved(t)), packed(cut));
            ASSERT_EQ(calc.numberToSparse(uint64(t[0]), 7), interleaved({cut[0], cut[0], cut[0]}));
        }
    }
    EXPECT_EQ(unitCells(21).rcdToCcd(packed({top, top, top})), ~uint64{0} >> 1);
}

TEST(Calc, pointsOutsideTheGridGiveSomeCodeWithoutUndefinedBehaviour) {
    const Calc calc(-1, -1, -1, 2, 2, 2, 10);
    const double inf = std::numeric_limits<double>::infinity();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (const double wild : {nan, -nan, inf, -inf, 1e300, -1e300, 1e18, -1e18, 1e6, -1e6, -5e-324}) {
        for (const Point3& p : {Point3(wild, 0, 0), Point3(0, wild, 0), Point3(0, 0, wild), Point3(wild, wild, wild)}) {
            EXPECT_LE(calc.getRCD(p), ~uint64{0} >> 1);
            EXPECT_EQ(unpackRCD(calc.getRCD(p)), unpackCCD(calc.getCCD(p)));
        }
    }
    // The grid is degenerate: every product is NaN or infinite.
    const Calc flat(0, 0, 0, 0, 0, 0, 3);
    EXPECT_EQ(unpackRCD(flat.getRCD({0, 1, -1})), unpackCCD(flat.getCCD({0, 1, -1})));
}

TEST(Calc, extentsMayDifferAndPointsTruncateTowardsZero) {
    const Calc calc(10, 20, 30, 8, 16, 32, 3);
    EXPECT_EQ(calc.getCellSize(), 1.0);
    EXPECT_EQ(calc.getRCD({12.5, 25.9, 61.9}), packed({2, 2, 7}));
    EXPECT_EQ(calc.getRCD({9.5, 18.5, 27}), packed({0, 0, 0}));
    const Point3 centre = calc.getCellCenter(interleaved({2, 2, 7}));
    EXPECT_EQ(centre, Point3(12.5, 25, 60));
    EXPECT_FALSE(centre.hasColor());
}

TEST(Calc, constructorRefusesDepthsThatNoCodeHolds) {
    EXPECT_TRUE(failsWith("numLevels<=MAXLEVELS", [] { Calc(0, 0, 0, 1, 1, 1, 22); }));
    EXPECT_TRUE(failsWith("numLevels>=0", [] { Calc(0, 0, 0, 1, 1, 1, -1); }));
    EXPECT_EQ(unitCells(21).numCells, uint64(top) + 1);
}

TEST(Calc, stepsMoveOneAxisAndStopAtTheEnds) {
    Cells cells;
    for (int numLevels = 0; numLevels <= MAXLEVELS; ++numLevels) {
        const Calc calc = unitCells(numLevels);
        const int64 last = (int64{1} << numLevels) - 1;
        for (int i = 0; i < 200; ++i) {
            const Triple t = cells.draw(0, last);
            const uint64 code = interleaved(t);
            for (int axis = 0; axis < 3; ++axis) {
                for (const int step : {-1, 1}) {
                    Triple next = t;
                    next[axis] += step;
                    const auto move = [&] {
                        return step > 0 ? calc.incSparse(code, axTriBits[axis]) : calc.decSparse(code, axTriBits[axis]);
                    };
                    if (next[axis] < 0 || next[axis] > last) {
                        ASSERT_TRUE(failsWith("false", move));
                        continue;
                    }
                    ASSERT_EQ(move(), interleaved(next));
                    uint64 moved = code;
                    ASSERT_TRUE(calc.manipOneAxis(moved, step > 0, axTriBits[axis]));
                    ASSERT_EQ(moved, interleaved(next));
                }
            }
        }
    }
}

TEST(Calc, neighbourArraysHoldTheirOrderInBothLayouts) {
    Cells cells;
    const Calc calc = unitCells(21);
    for (int i = 0; i < 2000; ++i) {
        const Triple t = cells.draw(1, top - 1);
        uint64 sparse27[27], packed27[27], packed26[26];
        calc.completeArray27(interleaved(t), sparse27);
        calc.completeArray27_RCD(packed(t), packed27);
        calc.completeArray26_RCD(packed(t), packed26);
        std::size_t next = 0;
        for (int dz = -1; dz <= 1; ++dz) {
            for (int dy = -1; dy <= 1; ++dy) {
                for (int dx = -1; dx <= 1; ++dx, ++next) {
                    ASSERT_EQ(sparse27[next], interleaved(t + Triple{dx, dy, dz}));
                    ASSERT_EQ(packed27[next], packed(t + Triple{dx, dy, dz}));
                }
            }
        }
        ASSERT_EQ(sparse27[13], interleaved(t));
        next = 0;
        for (int dx = -1; dx <= 1; ++dx) {
            for (int dy = -1; dy <= 1; ++dy) {
                for (int dz = -1; dz <= 1; ++dz) {
                    if (dx == 0 && dy == 0 && dz == 0) continue;
                    ASSERT_EQ(packed26[next++], packed(t + Triple{dx, dy, dz}));
                }
            }
        }
    }
}

TEST(Calc, completeArray27StaysInsideTheGridOfAnyDepth) {
    for (const int numLevels : {2, 9, 21}) {
        const Calc calc = unitCells(numLevels);
        const int64 last = (int64{1} << numLevels) - 1;
        uint64 array[27];
        EXPECT_NO_THROW(calc.completeArray27(interleaved({last - 1, 1, last - 1}), array));
        EXPECT_TRUE(failsWith("false", [&] { calc.completeArray27(interleaved({last, 1, 1}), array); }));
        EXPECT_TRUE(failsWith("false", [&] { calc.completeArray27(interleaved({1, last, 1}), array); }));
        EXPECT_TRUE(failsWith("false", [&] { calc.completeArray27(interleaved({1, 1, 0}), array); }));
    }
}

TEST(Calc, cubeAndCornerSlotsHoldTheirOffsets) {
    const Triple corners[8] = {{0, 0, 0}, {1, 0, 0}, {1, 0, 1}, {0, 0, 1}, {0, 1, 0}, {1, 1, 0}, {1, 1, 1}, {0, 1, 1}};
    const Triple around[8] = {{-1, -1, 0}, {0, -1, 0}, {0, -1, -1}, {-1, -1, -1},
                              {-1, 0, 0},  {0, 0, 0},  {0, 0, -1},  {-1, 0, -1}};
    Cells cells;
    const Calc calc = unitCells(21);
    for (int i = 0; i < 1000; ++i) {
        const Triple t = cells.draw(1, top - 1);
        uint64 cube[8] = {interleaved(t)};
        uint64 star[8] = {};
        star[5] = interleaved(t);
        calc.getVCDsOfCCD(cube);
        calc.getCellsAroundVCD(star);
        for (int slot = 0; slot < 8; ++slot) {
            ASSERT_EQ(cube[slot], interleaved(t + corners[slot])) << slot;
            ASSERT_EQ(star[slot], interleaved(t + around[slot])) << slot;
        }
    }
}

TEST(Calc, listsOfCornersPairsAndFaceNeighboursMatchTheModel) {
    Cells cells;
    const Calc calc = unitCells(21);
    const Triple faces[6] = {{-1, 0, 0}, {1, 0, 0}, {0, -1, 0}, {0, 1, 0}, {0, 0, -1}, {0, 0, 1}};
    const uint64 before = packed({9, 9, 9});  // what vOut held stays
    std::vector<uint64> vRCD, wantCorners{before}, wantNeigs{before};
    std::vector<std::pair<uint64, uint64>> wantPairs;
    for (int i = 0; i < 3000; ++i) {
        const Triple t = i % 2 ? cells.draw(1, top - 1) : cells.draw(100, 105);
        vRCD.push_back(packed(t));
        for (int n = 0; n < 8; ++n) {
            wantCorners.push_back(packed(t + Triple{n >> 2, n >> 1 & 1, n & 1}));
            wantPairs.emplace_back(wantCorners.back(), packed(t));
        }
        for (const Triple& face : faces) wantNeigs.push_back(packed(t + face));
    }
    std::vector<uint64> corners{before}, neigs{before};
    std::vector<std::pair<uint64, uint64>> pairs;
    calc.getCorners_RCD(vRCD, corners, false);
    calc.getCornerPairs_RCD(vRCD, pairs);
    calc.getNeigs6_RCD(vRCD, neigs, false);
    EXPECT_EQ(corners, wantCorners);
    EXPECT_EQ(pairs, wantPairs);
    EXPECT_EQ(neigs, wantNeigs);

    const auto inOrder = [](const std::vector<uint64>& v) {
        const std::set<uint64> ordered(v.begin(), v.end());
        return std::vector<uint64>(ordered.begin(), ordered.end());
    };
    corners = neigs = {before};
    calc.getCorners_RCD(vRCD, corners, true);
    calc.getNeigs6_RCD(vRCD, neigs, true);
    EXPECT_EQ(corners, inOrder(wantCorners));
    EXPECT_EQ(neigs, inOrder(wantNeigs));
}

TEST(Calc, cubesAroundAnEdgeDoNotDependOnItsDirection) {
    const Calc calc = unitCells(10);
    const Triple low{5, 6, 7};
    const Triple offsets[3][4] = {{{0, 0, 0}, {0, -1, 0}, {0, 0, -1}, {0, -1, -1}},
                                  {{0, 0, 0}, {-1, 0, 0}, {0, 0, -1}, {-1, 0, -1}},
                                  {{0, 0, 0}, {-1, 0, 0}, {0, -1, 0}, {-1, -1, 0}}};
    for (int axis = 0; axis < 3; ++axis) {
        Triple high = low;
        ++high[axis];
        std::vector<uint64> want{1}, up{1}, down{1};
        for (const Triple& offset : offsets[axis]) want.push_back(packed(low + offset));
        calc.getCbsAroundEdge(packed(low), packed(high), up);
        calc.getCbsAroundEdge(packed(high), packed(low), down);
        EXPECT_EQ(up, want);
        EXPECT_EQ(down, want);
    }
}

TEST(Calc, neighbourTypeCountsTheAxesThatDiffer) {
    const Calc calc = unitCells(10);
    const Triple t{511, 512, 77};
    for (int n = 1; n < 27; ++n) {
        const Triple step{n % 3, n / 3 % 3, n / 9};
        const int numAxes = (step[0] != 0) + (step[1] != 0) + (step[2] != 0);
        const uint64 a = interleaved(t), b = interleaved(t + step);
        EXPECT_EQ(calc.getNeigType(a, b), numAxes + 1);
        const int same = step[0] == 0 ? 0 : step[1] == 0 ? 1 : 2;
        EXPECT_EQ(calc.getUniqueSameComponent(a, b), numAxes == 2 ? same : -1);
    }
    EXPECT_EQ(calc.getNeigType(interleaved({1, 1, 1}), interleaved({1000, 1, 1})), NT_FACE);
    EXPECT_EQ(calc.getUniqueSameComponent(7, 7), -1);
}

TEST(Calc, lowerCornerIsTheSumOfItsLevels) {
    Cells cells;
    const Calc calc(0.1, -7.3, 1e5 / 3, 1000.1, 1000.1 / 3, 77.7, 21);
    const double origin[3] = {calc.x0, calc.y0, calc.z0};
    const double cell[3] = {calc.cellX, calc.cellY, calc.cellZ};
    bool bDiffers = false;
    for (int i = 0; i < 2000; ++i) {
        const Triple t = cells.draw(0, top);
        double want[3];
        for (int axis = 0; axis < 3; ++axis) {
            want[axis] = origin[axis];
            for (int k = 0; k < 21; ++k) {
                if (t[axis] >> k & 1) want[axis] += std::ldexp(cell[axis], k);
            }
            const double product = origin[axis] + double(t[axis]) * cell[axis];
            bDiffers = bDiffers || product != want[axis];
            ASSERT_NEAR(product, want[axis], 1e-12 * (std::abs(product) + 1000));
        }
        const uint64 ccd = interleaved(t);
        ASSERT_EQ(calc.getLowerCorner(ccd), Point3(want[0], want[1], want[2]));
        const Point3 centre = calc.getCellCenter(ccd);
        ASSERT_EQ(centre, Point3(want[0] + cell[0] / 2, want[1] + cell[1] / 2, want[2] + cell[2] / 2));
        ASSERT_EQ(calc.getCCD(centre), ccd);
    }
    EXPECT_TRUE(bDiffers);  // or the sum would not be worth its time

    const Point3 first(1, 2, 3);
    std::vector<Point3> vOut{first};
    calc.getCellCenters({8, 1}, vOut);
    EXPECT_EQ(vOut, (std::vector<Point3>{first, calc.getCellCenter(8), calc.getCellCenter(1)}));
}

TEST(Calc, adaptedPointsMoveJustFarEnoughAndLoseTheirColour) {
    const Calc calc = unitCells(10);
    Point3 inside(5.9, 6.1, 7.5, 1, 2, 3, 4);
    EXPECT_FALSE(calc.adaptPointToRCD(packed({5, 6, 7}), inside));
    EXPECT_EQ(inside, Point3(5.9, 6.1, 7.5));
    EXPECT_TRUE(inside.hasColor());

    // The cell begins 2/3 of the way to its centre: only the whole way gets there.
    Point3 outside(4, 6.5, 7.5, 1, 2, 3, 4);
    EXPECT_TRUE(calc.adaptPointToRCD(packed({5, 6, 7}), outside));
    EXPECT_EQ(outside, Point3(5.5, 6.5, 7.5));
    // Here it begins 1/3 of the way off.
    Point3 near(4.75, 6.5, 7.5);
    EXPECT_TRUE(calc.adaptPointToRCD(packed({5, 6, 7}), near));
    EXPECT_EQ(near, Point3(4.75 + 0.5 * 0.75, 6.5, 7.5));
    EXPECT_FALSE(outside.hasColor());
    EXPECT_EQ(int(outside.r) + outside.g + outside.b + outside.a, 0);

    for (Point3 far : {Point3(1e300, -1e300, 5), Point3(std::nan(""), 1, 2)}) {
        EXPECT_TRUE(calc.adaptPointToRCD(packed({5, 6, 7}), far));
        EXPECT_EQ(far, Point3(5.5, 6.5, 7.5));
    }
}

