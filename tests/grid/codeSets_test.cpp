#include "grid/codeSets.h"

#include <gtest/gtest.h>

#include <set>

#include "support/capture.h"
#include "support/drawnCells.h"

using namespace QUOR_ZEF;
using zef_test::failsWith;

namespace {

using Codes = std::vector<uint64>;

std::vector<Codes> floodedComponents(std::set<uint64> sCells) {
    std::vector<Codes> vComponents;
    while (!sCells.empty()) {
        Codes v{*sCells.begin()};
        sCells.erase(sCells.begin());
        for (std::size_t k = 0; k < v.size(); ++k) {
            for (const uint64 step : zef_test::voxelBox(0, 0, 0, 2, 2, 2)) {
                const uint64 next = v[k] + step - packRCD(1, 1, 1);
                if (sCells.erase(next)) v.push_back(next);
            }
        }
        std::sort(v.begin(), v.end());
        vComponents.push_back(v);
    }
    return vComponents;
}

TEST(codeSets, componentsAreThoseOfAFlood) {
    std::vector<Codes> vComponents(3);
    for (unsigned k = 0; k < 60; ++k) {
        zef_test::Draws draws(k);
        Codes v = zef_test::voxelBox(1020, 1020, 1020, 1031, 1031, 1031);
        std::erase_if(v, [&](uint64) { return draws.below(200) >= k; });
        const auto vExpected = floodedComponents({v.begin(), v.end()});
        createCC_RCD(v, vComponents);
        ASSERT_EQ(vComponents, vExpected);
        // In any order, with some cells twice.
        v.insert(v.end(), v.begin(), v.begin() + static_cast<std::ptrdiff_t>(v.size() / 3));
        draws.shuffle(v);
        createCC_RCD(v, vComponents);
        ASSERT_EQ(vComponents, vExpected);
    }
}

TEST(codeSets, theEndOfARowIsNoNeighbourOfTheStartOfTheNext) {
    std::vector<Codes> vComponents;
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
