#include "grid/CellBlocks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>

#include "support/capture.h"
#include "support/drawnCells.h"

using namespace QUOR_ZEF;
using namespace zef_test;

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
    CellBlocksOf() {
        for (const int low : {0, 1000, static_cast<int>(coordMask) - 19}) {
            for (const uint64 rcd : voxelBox(low, low, low, low + 19, low + 19, low + 19)) {
                const GridCoords c = unpackRCD(rcd);
                if (draws.below(10) < 3) sListed.insert(Layout::code(c));
                if (draws.below(10) < 5) sAsked.insert(Layout::code({(c.x + 1) & coordMask, c.y, c.z}));
            }
        }
        sAsked.insert(sListed.begin(), sListed.end());
        vCodes.assign(sListed.begin(), sListed.end());
    }

    // The listed cells of the block, by index, with the centre; cells beyond the grid do not exist.
    std::map<int, uint64> listedAround(uint64 code) const {
        const GridCoords c = Layout::coords(code);
        std::map<int, uint64> m;
        for (int i = 0; i < 27; ++i) {
            const GridCoords n = {c.x + static_cast<uint64>(i % 3) - 1, c.y + static_cast<uint64>(i / 3 % 3) - 1,
                                  c.z + static_cast<uint64>(i / 9) - 1};
            if (std::max({n.x, n.y, n.z}) <= coordMask && sListed.count(Layout::code(n))) m[i] = Layout::code(n);
        }
        return m;
    }
    std::uint32_t slowMask(uint64 code, bool bSeeDoomed) const {
        std::uint32_t mask = sDoomed.count(code) ? 0 : blockCentreBit;
        for (const auto& [i, other] : listedAround(code)) {
            if (i != 13 && !(bSeeDoomed && sDoomed.count(other))) mask |= 1u << i;
        }
        return mask;
    }

    Draws draws{1};
    std::set<uint64> sListed, sAsked, sDoomed;
    std::vector<uint64> vCodes;
};

using Layouts = testing::Types<Packed, Interleaved>;
TYPED_TEST_SUITE(CellBlocksOf, Layouts);

TYPED_TEST(CellBlocksOf, masksAndIndicesAreThoseOfASet) {
    typename TypeParam::Blocks blocks(this->vCodes);
    EXPECT_EQ(blocks.size(), this->vCodes.size());
    for (uint64 round = 0; round < 2; ++round) {
        for (const uint64 code : this->sAsked) {
            ASSERT_EQ(blocks.mask27(code), this->slowMask(code, true)) << code;
            ASSERT_EQ(blocks.maskListed27(code), this->slowMask(code, false)) << code;
            ASSERT_EQ(blocks.isDoomed(code), this->sDoomed.count(code) == 1);
            const bool bListed = this->sListed.count(code);
            ASSERT_EQ(blocks.contains(code), bListed);
            const auto i = std::lower_bound(this->vCodes.begin(), this->vCodes.end(), code) - this->vCodes.begin();
            ASSERT_EQ(blocks.indexOf(code), bListed ? static_cast<std::uint32_t>(i) : TypeParam::Blocks::npos);
        }
        // On and off the list, and in a block that isn't there yet.
        this->sAsked.insert(TypeParam::code({500, 500, 500 + round}));
        for (const uint64 code : this->sAsked) {
            if (this->draws.below(4)) continue;
            ASSERT_EQ(blocks.doom(code), this->sDoomed.insert(code).second);
        }
    }
}

TYPED_TEST(CellBlocksOf, sweepsAndMarksSeeEachCellAndPairOnce) {
    typename TypeParam::Blocks blocks(this->vCodes);
    std::set<uint64> sAround, sAlive = this->sListed;
    for (const uint64 code : this->sAsked) {
        if (this->draws.below(4) == 0 && blocks.doom(code)) this->sDoomed.insert(code);
        if (this->draws.below(20)) continue;
        blocks.markAround(code);
        for (const auto& [i, other] : this->listedAround(code)) sAround.insert(other);
    }
    for (const uint64 code : this->sDoomed) {
        sAlive.erase(code);
        sAround.erase(code);
    }
    const auto expectMarked = [&](const std::set<uint64>& sExpected) {
        std::set<uint64> sMarked;
        for (const auto& vBlocks : blocks.blocksByRegion())
            blocks.takeMarked(vBlocks, [&](std::uint32_t i) { ASSERT_TRUE(sMarked.insert(this->vCodes[i]).second); });
        EXPECT_EQ(sMarked, sExpected);
    };
    expectMarked(sAround);
    expectMarked({});
    blocks.markAll();
    expectMarked(sAlive);

    std::set<uint64> sSeen;
    std::set<std::pair<uint64, uint64>> sPairs, sSlowPairs;
    blocks.forEachMask([&](std::uint32_t i, std::uint32_t mask) {
        ASSERT_TRUE(sSeen.insert(this->vCodes[i]).second);
        ASSERT_EQ(mask, this->slowMask(this->vCodes[i], true));
    });
    EXPECT_EQ(sSeen, sAlive);
    blocks.forEachPair([&](std::uint32_t i, std::uint32_t j) {
        ASSERT_TRUE(sPairs.insert(std::minmax(this->vCodes[i], this->vCodes[j])).second);
    });
    for (const uint64 code : this->vCodes) {
        std::map<int, uint64> mFound;
        blocks.forEachInMask(code, blockAll, [&](std::uint32_t index, int i) { mFound[i] = this->vCodes[index]; });
        ASSERT_EQ(mFound, this->listedAround(code));
        for (const auto& [i, other] : mFound) {
            if (i != 13) sSlowPairs.insert(std::minmax(code, other));
        }
    }
    EXPECT_EQ(sPairs, sSlowPairs);
}

TEST(CellBlocks, aListOutOfOrderIsRefused) {
    EXPECT_EQ(CellBlocks_RCD(std::vector<uint64>{}).indexOf(0), CellBlocks_RCD::npos);
    for (const std::vector<uint64>& v : {std::vector<uint64>{5, 4}, std::vector<uint64>{4, 4}}) {
        EXPECT_TRUE(failsWith("i == 0 || vCodes[i - 1] < vCodes[i]", [&] { CellBlocks_RCD blocks(v); }));
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
