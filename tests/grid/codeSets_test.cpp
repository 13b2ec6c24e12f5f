#include "grid/codeSets.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "support/blockModel.h"
#include "support/capture.h"
#include "support/voxels.h"

using namespace QUOR_ZEF;
using zef_test::failsWith;

namespace {

using Codes = std::vector<uint64>;

TEST(codeSets, componentsAreThoseOfAFlood) {
    std::mt19937 random(1);
    std::vector<std::vector<uint64>> vComponents(3);
    for (int k = 0; k < 60; ++k) {
        Codes v = zef_test::randomCells(random, 1020, 12, 0.005 * k);
        const std::set<uint64> s(v.begin(), v.end());
        const auto vExpected = zef_test::SlowDecider().components(s);
        createCC_RCD(v, vComponents);
        ASSERT_EQ(vComponents, vExpected);
        // In any order, with some cells twice.
        v.insert(v.end(), v.begin(), v.begin() + static_cast<std::ptrdiff_t>(v.size() / 3));
        std::shuffle(v.begin(), v.end(), random);
        createCC_RCD(v, vComponents);
        ASSERT_EQ(vComponents, vExpected);
    }
}

TEST(codeSets, componentsHangTogetherAtCornersOnly) {
    std::vector<std::vector<uint64>> vComponents;
    const uint64 cell = packRCD(7, 7, 7), touching = packRCD(8, 8, 8), apart = packRCD(8, 10, 9);
    createCC_RCD({cell, touching, apart}, vComponents);
    EXPECT_EQ(vComponents, (std::vector<Codes>{{cell, touching}, {apart}}));
    // The end of a row is no neighbour of the start of the next.
    createCC_RCD({packRCD(3, 3, coordMask), packRCD(3, 4, 0)}, vComponents);
    EXPECT_EQ(vComponents.size(), 2u);
}

TEST(codeSets, checksFailUnderTheirNames) {
    using Samples = std::vector<std::pair<uint64, Point3>>;
    checkSorted(Codes{1, 1, 2}, "vCodes");
    EXPECT_TRUE(failsWith("vCodes", [] { checkSorted(Codes{2, 1}, "vCodes"); }));
    EXPECT_TRUE(failsWith("vRCDPoint", [] { checkSorted(Samples{{2, {}}, {1, {}}}, "vRCDPoint"); }));
    checkUnique(Codes{3, 1, 2}, "isUnique vLocalArea");
    EXPECT_TRUE(failsWith("isUnique vLocalArea", [] { checkUnique(Codes{3, 1, 3}, "isUnique vLocalArea"); }));
    EXPECT_TRUE(failsWith("isUnique v", [] { checkUnique(Samples{{1, {1, 2, 3}}, {1, {}}}, "isUnique v"); }));
}

TEST(codeSets, operationsAreThoseOfSets) {
    const Codes vA{1, 3, 5, 7}, vB{2, 3, 7, 9};
    EXPECT_EQ(intersection(vA, vB), (Codes{3, 7}));
    EXPECT_EQ(unionOf(vA, vB), (Codes{1, 2, 3, 5, 7, 9}));
    EXPECT_EQ(difference(vA, vB), (Codes{1, 5}));
    EXPECT_FALSE(assert_disjoint(vA, vB));
    EXPECT_FALSE(assert_disjoint({7, 1}, {9, 2, 7}));
    EXPECT_TRUE(assert_disjoint({7, 1}, {9, 2}));
    EXPECT_TRUE(assert_disjoint({}, vB));
    EXPECT_TRUE(containsCode(vA, 5));
    EXPECT_FALSE(containsCode(vA, 4));
    const std::vector<std::pair<uint64, int>> vPairs{{1, 10}, {3, 30}};
    EXPECT_EQ(findCode(vPairs, 3)->second, 30);
    EXPECT_EQ(findCode(vPairs, 2), vPairs.end());
    EXPECT_EQ(findCode(vPairs, 4), vPairs.end());
}

}  // namespace
