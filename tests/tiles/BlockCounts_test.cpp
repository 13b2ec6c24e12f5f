#include "tiles/BlockCounts.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>

#include "support/drawnCells.h"

using namespace QUOR_ZEF;
using zef_test::Draws;

namespace {

// Patches at places far from the origin, which come one after the other, and a few points far away.
std::vector<Point3> scatteredPatches() {
    Draws draws(7);
    std::vector<Point3> v;
    for (int patch = 0; patch < 12; ++patch) {
        const double x = draws.between(-40.0, 40.0);
        const double y = draws.between(-40.0, 40.0);
        for (int i = 0; i < 500; ++i) {
            const double u = draws.between(-3.0, 3.0);
            const double w = draws.between(-3.0, 3.0);
            v.emplace_back(433000.0 + x + u, -5e6 + y + w, 0.2 * u);
        }
    }
    v.emplace_back(1e30, -1e30, 0.0);
    v.emplace_back(0.0, 0.0, 0.0);
    return v;
}

using Counts = std::map<std::array<double, 3>, uint64>;

// By the corners of the cubes of the lattice.
Counts countByCubes(const std::vector<Point3>& vPoints, double side) {
    Counts counts;
    for (const Point3& p : vPoints)
        ++counts[{std::floor(p.px / side), std::floor(p.py / side), std::floor(p.pz / side)}];
    return counts;
}

Counts cubesOf(const BlockCounts& blocks) {
    Counts counts;
    for (const auto& [place, num] : blocks.getBlocks()) {
        const Point3 p = blocks.centreOf(place);
        const double side = blocks.getSide();
        counts[{std::floor(p.px / side), std::floor(p.py / side), std::floor(p.pz / side)}] += num;
    }
    return counts;
}

}  // namespace

TEST(BlockCounts, areThoseOfOneLatticeHoweverPointsCome) {
    std::vector<Point3> vPoints = scatteredPatches();
    for (const std::size_t most : {50u, 700u, 100000u}) {
        for (const std::size_t part : {1u, 77u, 100000u}) {
            BlockCounts blocks(most);
            for (std::size_t i = 0; i < vPoints.size(); i += part)
                blocks.add(std::span(vPoints).subspan(i, std::min(part, vPoints.size() - i)));
            EXPECT_LE(blocks.getBlocks().size(), most);
            EXPECT_EQ(std::exp2(std::round(std::log2(blocks.getSide()))), blocks.getSide());
            Counts expected = countByCubes(vPoints, blocks.getSide());
            Counts found = cubesOf(blocks);
            // Beyond what whole numbers in doubles tell apart.
            const auto isFar = [](const auto& cube) { return std::abs(cube.first[0]) > 1e15; };
            EXPECT_EQ(std::erase_if(expected, isFar), 1u);
            EXPECT_EQ(std::erase_if(found, isFar), 1u);
            EXPECT_EQ(found, expected) << most << ' ' << part;
            for (const Point3& p : vPoints) {
                if (std::abs(p.px) > 1e15) continue;
                EXPECT_LE(std::abs(blocks.centreOf(blocks.placeOf(p)).px - p.px), 0.5 * blocks.getSide());
            }
        }
    }
}

// A few absurd points must not make the blocks of all others coarse.
TEST(BlockCounts, farPointsLeaveTheSideAsItIs) {
    std::vector<Point3> vPoints = scatteredPatches();
    BlockCounts with(100000), without(100000);
    with.add(vPoints);
    vPoints.resize(vPoints.size() - 2);
    without.add(vPoints);
    EXPECT_EQ(with.getSide(), without.getSide());
    EXPECT_LT(with.getSide(), 0.2);
}

TEST(BlockCounts, aboveIsTheCubeAround) {
    const std::vector<Point3> vPoints = scatteredPatches();
    BlockCounts blocks(100000);
    blocks.add(vPoints);
    std::map<BlockCounts::Place, std::array<double, 3>> mCubes;
    const double side = 8.0 * blocks.getSide();
    for (const Point3& p : vPoints) {
        if (std::abs(p.px) > 1e15) continue;
        const std::array<double, 3> cube = {std::floor(p.px / side), std::floor(p.py / side), std::floor(p.pz / side)};
        const auto [it, bNew] = mCubes.try_emplace(blocks.aboveOf(blocks.placeOf(p), 3), cube);
        EXPECT_EQ(it->second, cube);
    }
    EXPECT_EQ(mCubes.size(), countByCubes(vPoints, side).size() - 1);
}
