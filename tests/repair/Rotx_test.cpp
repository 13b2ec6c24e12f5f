#include "repair/Rotx.h"

#include <gtest/gtest.h>

#include <array>
#include <map>

#include "support/capture.h"
#include "topology/TestMesh.h"

using namespace zef_test;

namespace {

using Vec = std::array<int, 3>;

Vec step(uint64 from, uint64 to) {
    const GridCoords f = unpackRCD(from), t = unpackRCD(to);
    return {int(t.x) - int(f.x), int(t.y) - int(f.y), int(t.z) - int(f.z)};
}
Vec crossOf(const Vec& a, const Vec& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
int dotOf(const Vec& a, const Vec& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

// The order of the half planes of two third cells around an axis, from that of
// the first on, by integers only: cubic cells.
struct ExactOrder {
    Vec axis, first;
    int sector(const Vec& w) const {
        const Vec n = crossOf(axis, first);
        const int side = dotOf(n, w), along = dotOf(n, crossOf(axis, w));
        return side == 0 ? (along > 0 ? 0 : 2) : side > 0 ? 1 : 3;
    }
    bool before(const Vec& v, const Vec& w) const {
        if (sector(v) != sector(w)) return sector(v) < sector(w);
        return dotOf(axis, crossOf(v, w)) > 0;
    }
};

std::map<std::uint32_t, std::int32_t> tableOf(const Rotx& rotx) {
    return {rotx.mRank.begin(), rotx.mRank.end()};
}

}  // namespace

TEST(Rotx, ranksFollowTheExactAngularOrder) {
    TestMesh m(2);
    const Rotx rotx(m.pMesh.get(), true);
    EXPECT_EQ(rotx.sAxisPairs.size(), 56u);
    EXPECT_EQ(rotx.mRank.size(), 672u);
    const auto mRank = tableOf(rotx);
    int highest = 0;
    for (const auto& [a, b] : rotx.sAxisPairs) {
        std::vector<uint64> vThird;
        Rotx::getThirdRCDs(a, b, vThird);
        EXPECT_GE(vThird.size(), 6u);
        EXPECT_LE(vThird.size(), 16u);
        EXPECT_EQ(mRank.at(Rotx::getKey(a, b, vThird[0])), 0);
        const ExactOrder order{step(a, b), step(a, vThird[0])};
        for (const uint64 p : vThird)
            for (const uint64 q : vThird) {
                const bool bLess = mRank.at(Rotx::getKey(a, b, p)) < mRank.at(Rotx::getKey(a, b, q));
                EXPECT_EQ(order.before(step(a, p), step(a, q)), bLess) << a << " " << b << " " << p << " " << q;
            }
        for (const uint64 q : vThird) highest = std::max(highest, mRank.at(Rotx::getKey(a, b, q)));
    }
    EXPECT_EQ(highest, 7);
}

TEST(Rotx, anAngleShortOfAFullTurnKeepsARankOfItsOwn) {
    // Axis along z. In cells of 1 x 400 the directions (1,0), (3,1) and (3,-1) are
    // not a degree apart from those next to them only where x is stretched.
    TestMesh m(2);
    m.calc.cellX = 400.0;
    Rotx rotx(m.pMesh.get(), false);
    EXPECT_TRUE(rotx.mRank.empty());
    const uint64 a = packRCD(1, 1, 1), b = packRCD(1, 1, 2);
    const uint64 ahead = packRCD(3, 1, 1), above = packRCD(3, 2, 1), below = packRCD(3, 0, 1);
    std::vector<uint64> vThird = {ahead, above, below};
    rotx.sortThirdRCDs(a, b, vThird);
    EXPECT_EQ(vThird, (std::vector<uint64>{ahead, above, below}));
    const auto mRank = tableOf(rotx);
    EXPECT_EQ(mRank.at(Rotx::getKey(a, b, ahead)), 0);
    EXPECT_EQ(mRank.at(Rotx::getKey(a, b, above)), 0);
    EXPECT_EQ(mRank.at(Rotx::getKey(a, b, below)), 1);
    vThird = {packRCD(1, 1, 3)};
    EXPECT_TRUE(failsWith("bOK", [&] { rotx.sortThirdRCDs(a, b, vThird); }));
}
