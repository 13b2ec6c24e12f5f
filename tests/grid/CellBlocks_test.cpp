#include "grid/CellBlocks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>

#include "support/capture.h"
#include "support/voxels.h"

using namespace QUOR_ZEF;

namespace {

struct Packed {
    using Blocks = CellBlocks_RCD;
    static uint64 code(const GridCoords& c) { return packRCD(c.x, c.y, c.z); }
    static GridCoords coords(uint64 code) { return unpackRCD(code); }
};
struct Interleaved {
    using Blocks = CellBlocks_CCD;
    static uint64 code(const GridCoords& c) { return packCCD(c.x, c.y, c.z); }
    static GridCoords coords(uint64 code) { return unpackCCD(code); }
};

template <class Layout>
class CellBlocksOf : public testing::Test {
public:
    // Random cells in cubes of 20 at the lower and upper ends of the grid and inside,
    // so that cells lie on borders of blocks and of the grid.
    void SetUp() override {
        for (const int lowest : {0, 1000, static_cast<int>(coordMask) - 19}) {
            for (const uint64 rcd : zef_test::randomCells(random, lowest, 20, 0.3)) {
                sListed.insert(Layout::code(unpackRCD(rcd)));
            }
        }
        vCodes.assign(sListed.begin(), sListed.end());
    }

    // All listed cells, and cells around them.
    std::vector<uint64> asked() const {
        std::set<uint64> s = sListed;
        for (const uint64 code : vCodes) {
            const GridCoords c = Layout::coords(code);
            s.insert(Layout::code({(c.x + 9) & coordMask, c.y, c.z}));
            s.insert(Layout::code({c.x, c.y, (c.z - 2) & coordMask}));
        }
        return {s.begin(), s.end()};
    }

    // Cells beyond the grid do not exist.
    std::uint32_t slowMask(uint64 code, bool bSeeDoomed) const {
        const GridCoords c = Layout::coords(code);
        std::uint32_t mask = 0;
        for (int i = 0; i < 27; ++i) {
            const GridCoords n = {c.x + static_cast<uint64>(i % 3) - 1, c.y + static_cast<uint64>(i / 3 % 3) - 1,
                                  c.z + static_cast<uint64>(i / 9) - 1};
            if (std::max({n.x, n.y, n.z}) > coordMask) continue;
            const uint64 other = Layout::code(n);
            const bool bCentre = i == 13;
            if (!sListed.count(other) && !bCentre) continue;
            if (sDoomed.count(other) && (bSeeDoomed || bCentre)) continue;
            mask |= 1u << i;
        }
        return mask;
    }

    std::mt19937 random{1};
    std::set<uint64> sListed, sDoomed;
    std::vector<uint64> vCodes;
};

using Layouts = testing::Types<Packed, Interleaved>;
TYPED_TEST_SUITE(CellBlocksOf, Layouts);

TYPED_TEST(CellBlocksOf, masksAndIndicesAreThoseOfASet) {
    typename TypeParam::Blocks blocks(this->vCodes);
    EXPECT_EQ(blocks.size(), this->vCodes.size());
    for (int round = 0; round < 2; ++round) {
        for (const uint64 code : this->asked()) {
            ASSERT_EQ(blocks.mask27(code), this->slowMask(code, true)) << code;
            ASSERT_EQ(blocks.maskListed27(code), this->slowMask(code, false)) << code;
            ASSERT_EQ(blocks.isDoomed(code), this->sDoomed.count(code) == 1);
            const bool bListed = this->sListed.count(code);
            ASSERT_EQ(blocks.contains(code), bListed);
            const auto it = std::lower_bound(this->vCodes.begin(), this->vCodes.end(), code);
            ASSERT_EQ(blocks.indexOf(code),
                      bListed ? static_cast<std::uint32_t>(it - this->vCodes.begin()) : TypeParam::Blocks::npos);
        }
        // On and off the list.
        for (const uint64 code : this->asked()) {
            if (this->random() % 4 || this->sDoomed.count(code)) continue;
            ASSERT_TRUE(blocks.doom(code));
            ASSERT_FALSE(blocks.doom(code));
            this->sDoomed.insert(code);
        }
        // In a block that isn't there yet.
        const uint64 far = TypeParam::code({500, 500, 500u + static_cast<uint64>(round)});
        ASSERT_TRUE(blocks.doom(far));
        ASSERT_TRUE(blocks.isDoomed(far));
        ASSERT_FALSE(blocks.contains(far));
    }
}

TYPED_TEST(CellBlocksOf, sweepsSeeEachCellAndPairOnce) {
    typename TypeParam::Blocks blocks(this->vCodes);
    for (const uint64 code : this->vCodes) {
        if (this->random() % 4) continue;
        blocks.doom(code);
        this->sDoomed.insert(code);
    }
    std::map<uint64, std::uint32_t> mSeen;
    blocks.forEachMask(
        [&](std::uint32_t i, std::uint32_t mask) { ASSERT_TRUE(mSeen.emplace(this->vCodes[i], mask).second); });
    ASSERT_EQ(mSeen.size(), this->sListed.size() - this->sDoomed.size());
    std::set<std::pair<uint64, uint64>> sPairs;
    blocks.forEachPair([&](std::uint32_t i, std::uint32_t j) {
        ASSERT_TRUE(sPairs.insert(std::minmax(this->vCodes[i], this->vCodes[j])).second);
    });
    std::size_t numPairs = 0;
    for (const uint64 code : this->vCodes) {
        const std::uint32_t listed = this->slowMask(code, false) & ~blockCentreBit;
        numPairs += static_cast<std::size_t>(countCells(listed));
        const GridCoords c = TypeParam::coords(code);
        blocks.forEachInMask(code, blockAll & ~blockCentreBit, [&](std::uint32_t index, int i) {
            const uint64 other = this->vCodes[index];
            ASSERT_TRUE(listed >> i & 1);
            ASSERT_EQ(other,
                      TypeParam::code({c.x + static_cast<uint64>(blockDx(i)), c.y + static_cast<uint64>(blockDy(i)),
                                       c.z + static_cast<uint64>(blockDz(i))}));
            ASSERT_TRUE(sPairs.count(std::minmax(code, other)));
        });
        if (mSeen.count(code)) {
            ASSERT_EQ(mSeen[code], this->slowMask(code, true));
        }
        ASSERT_EQ(mSeen.count(code) == 1, this->sDoomed.count(code) == 0);
    }
    EXPECT_EQ(sPairs.size() * 2, numPairs);
}

TYPED_TEST(CellBlocksOf, marksAreTheCellsAround) {
    typename TypeParam::Blocks blocks(this->vCodes);
    std::set<uint64> sExpected;
    for (const uint64 code : this->asked()) {
        if (this->random() % 20 == 0) {
            blocks.doom(code);
            this->sDoomed.insert(code);
        }
        if (this->random() % 20) continue;
        blocks.markAround(code);
        blocks.forEachInMask(code, blockAll, [&](std::uint32_t i, int) { sExpected.insert(this->vCodes[i]); });
    }
    for (const uint64 code : this->sDoomed) sExpected.erase(code);
    for (int round = 0; round < 3; ++round) {
        std::set<uint64> sMarked;
        blocks.takeMarked([&](std::uint32_t i) { ASSERT_TRUE(sMarked.insert(this->vCodes[i]).second); });
        ASSERT_EQ(sMarked, sExpected);
        sExpected.clear();
        if (round == 1) {
            blocks.markAll();
            sExpected = this->sListed;
            for (const uint64 code : this->sDoomed) sExpected.erase(code);
        }
    }
}

TEST(CellBlocks, aListOutOfOrderIsRefused) {
    EXPECT_EQ(CellBlocks_RCD(std::vector<uint64>{}).indexOf(0), CellBlocks_RCD::npos);
    for (const std::vector<uint64>& v : {std::vector<uint64>{5, 4}, std::vector<uint64>{4, 4}}) {
        EXPECT_TRUE(zef_test::failsWith("i == 0 || vCodes[i - 1] < vCodes[i]", [&] { CellBlocks_RCD blocks(v); }));
    }
}

TEST(CodeMap, numbersAreThoseOfAMap) {
    std::mt19937_64 random(1);
    CodeMap map;
    std::map<uint64, std::uint32_t> slow;
    for (std::uint32_t k = 0; k < 20000; ++k) {
        const uint64 code = k % 3 ? random() % 5000 << 40 : ~(random() % 5000);
        ASSERT_EQ(map.insert(code, k), slow.emplace(code, k).first->second);
    }
    EXPECT_EQ(map.size(), slow.size());
    for (uint64 i = 0; i < 5000; ++i) {
        for (const uint64 code : {i << 40, ~i}) {
            ASSERT_EQ(map.find(code), slow.count(code) ? slow[code] : CodeMap::npos);
        }
    }
}

}  // namespace
