#include "topology/CPatch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "support/capture.h"
#include "topology/ConEdge.h"
#include "topology/TestMesh.h"

using namespace zef_test;

namespace {

std::size_t numAlive(const std::vector<CTriangle*>& vT) {
    return static_cast<std::size_t>(
        std::count_if(vT.begin(), vT.end(), [](const CTriangle* pT) { return pT->isAlive(); }));
}

// Two sheets of n x n quads over one rim, the upper one raised a little inside,
// and a collar outside along three sides of the rim, which makes seams of them:
//
//            ___________
//     ______/___________\     <- here the sheets are one patch
//
// Fins, triangles that stand on an edge inside a sheet, hang it to a surface.
struct Pillow {
    static constexpr int n = 4;
    TestMesh m{8};
    std::vector<CTriangle*> vLower, vUpper, vCollar;

    Cell lower(int x, int y) const { return {x + 1, y + 1, 1}; }
    Cell upper(int x, int y) const {
        const bool bRim = x == 0 || y == 0 || x == n || y == n;
        return {x + 1, y + 1, bRim ? 1 : 2};
    }
    explicit Pillow(bool bCollar = true) {
        for (int x = 0; x < n; ++x)
            for (int y = 0; y < n; ++y) {
                // Diagonals run towards the corners, so that no edge inside joins two rim vertices.
                const bool bRising = (x < n / 2) == (y < n / 2);
                piece(lower(x, y), lower(x, y + 1), lower(x + 1, y + 1), lower(x + 1, y), bRising);
                piece(upper(x, y), upper(x + 1, y), upper(x + 1, y + 1), upper(x, y + 1), bRising);
            }
        const auto vT = m.triangles();
        for (std::size_t i = 0; i < vT.size(); ++i) (i % 4 < 2 ? vLower : vUpper).push_back(vT[i]);
        for (int x = 1; x < n; ++x)
            for (int y = 1; y < n; ++y) m.at(upper(x, y)).pz = 1.7;
        if (bCollar) makeCollar();
    }
    void piece(const Cell& a, const Cell& b, const Cell& c, const Cell& d, bool bRising) {
        bRising ? m.quad(a, b, c, d) : m.quad(b, c, d, a);
    }
    void makeCollar() {
        for (int i = 0; i < n; ++i) {
            vCollar.push_back(m.tri(lower(i, 0), lower(i + 1, 0), {i + 1, 0, 1}));
            vCollar.push_back(m.tri(lower(i, n), lower(i + 1, n), {i + 1, n + 2, 1}));
            vCollar.push_back(m.tri(lower(0, i), lower(0, i + 1), {0, i + 1, 1}));
        }
    }
    void fin(bool bUpper) {
        if (bUpper)
            m.tri(upper(2, 2), upper(2, 3), {3, 3, 5});
        else
            m.tri(lower(2, 2), lower(2, 3), {3, 3, 0});
    }
    // The two sheets' patch; made anew.
    CPatch* patch() {
        m.patches();
        return vLower[0]->getPatch();
    }
};

}  // namespace

TEST(CMesh, patchesOfTwoTouchingBodiesPartAtTheCommonEdges) {
    TestMesh m(5);
    m.box({0, 0, 0}, {2, 2, 2});
    m.box({2, 2, 0}, {4, 4, 2});
    std::vector<CPatch*> vPatches;
    std::map<uint64, CPatch*> mThird;
    std::vector<CEdge*> vFanEdges;
    m->createPatches(nullptr, vPatches, mThird, vFanEdges);
    ASSERT_EQ(vPatches.size(), 2u);
    EXPECT_EQ(vFanEdges.size(), 8u);  // each once for each of its triangles
    EXPECT_EQ(mThird.at(m.ccd(1, 2, 0)), vPatches[0]);
    EXPECT_EQ(mThird.at(m.ccd(2, 3, 1)), vPatches[1]);
    for (CPatch* pPatch : vPatches) {
        EXPECT_EQ(pPatch->getSize(), 48u);
        EXPECT_EQ(pPatch->vT[0], m->getTriangle(pPatch == vPatches[0] ? 0u : 48u));
        EXPECT_TRUE(pPatch->isClosed());
        pPatch->setOuterBoundary();
        EXPECT_TRUE(pPatch->vOuterBoundary.empty());
        EXPECT_DOUBLE_EQ(pPatch->getArea(), 24.0);
        EXPECT_NEAR(pPatch->getVolume(), 8.0, 1e-12);
    }
    vPatches[0]->kill();
    EXPECT_EQ(m.triangles().size(), 48u);
    EXPECT_TRUE(failsWith("isAlive()", [&] { vPatches[0]->setOuterBoundary(); }));
    // A member of a later patch leaves the earlier one.
    CTriangle* pT = m.triangles()[0];
    CPatch later(m.pMesh.get(), &m.calc);
    later.addTriangle(pT);
    EXPECT_EQ(vPatches[1]->getSize(), 48u);
    EXPECT_EQ(pT->getPatch(), &later);
}

TEST(CMesh, aBarrierStopsTheFlood) {
    TestMesh m(5);
    m.box({0, 0, 0}, {2, 2, 2}, false);
    std::set<CEdge*> sBarrier = {m.edge({0, 0, 0}, {0, 0, 1})};  // has no effect alone
    std::vector<CPatch*> vPatches;
    std::map<uint64, CPatch*> mThird;
    std::vector<CEdge*> vFanEdges;
    m->createPatches(&sBarrier, vPatches, mThird, vFanEdges);
    ASSERT_EQ(vPatches.size(), 1u);
    EXPECT_FALSE(vPatches[0]->isClosed());
    CTriangle* pT = vPatches[0]->vT[0];
    for (int i = 0; i < 3; ++i) sBarrier.insert(pT->getCEdge(i));
    vPatches.clear();
    m->createPatches(&sBarrier, vPatches, mThird, vFanEdges);
    ASSERT_EQ(vPatches.size(), 2u);  // the earlier patch is gone
    EXPECT_EQ(pT->getPatch()->getSize(), 1u);
}

TEST(CPatch, closedNeedsFourTrianglesAndAPartnerAtEachEdge) {
    TestMesh m(3);
    const Cell a{0, 0, 0}, b{1, 0, 0}, c{0, 1, 0}, d{0, 0, 1};
    m.tri(a, c, b);
    m.tri(a, b, d);
    m.tri(b, c, d);
    EXPECT_FALSE(m.patches()[0]->isClosed());
    m.tri(c, a, d);
    EXPECT_TRUE(m.patches()[0]->isClosed());
    for (int i = 0; i < 3; ++i) m.tri(a, b, c);  // three on the same cells do not close a patch
    for (CPatch* pPatch : m.patches()) EXPECT_FALSE(pPatch->isClosed());
}

TEST(CPatch, orientAllTurnsAScrambledBodyOutward) {
    std::mt19937 random(2);
    TestMesh m(5);
    m.box({0, 1, 0}, {4, 4, 3});
    CPatch* pPatch = m.patches()[0];
    for (const unsigned share : {2u, 1u}) {  // the second time all look inward
        for (CTriangle* pT : m.triangles())
            if (random() % share == 0) pT->flip();
        pPatch->orientAll();
        EXPECT_NEAR(pPatch->getVolume(), 36.0, 1e-9);
        for (const CEdge* pCE : m.edgesOfDegree(2)) EXPECT_FALSE(pCE->triangles()[0]->needFlip(pCE->triangles()[1]));
    }
    CPatch bare(m.pMesh.get(), &m.calc);
    EXPECT_NE(printedText([&] { bare.orientPatch(); }).find("reorientation failed"), std::string::npos);
    EXPECT_EQ(bare.getVolume(), 0.0);
}

// A free sheet dies before an attached one, whatever their sizes; of two attached ones
// the careful form kills none. Without seams the body is left alone.
TEST(CPatch, aThinBodyOnItsRimLosesOneWholeSheet) {
    struct Case {
        bool bCollar, bFinLow, bFinHigh, bCareful;
        std::size_t numLower, numUpper;
    };
    for (const Case& c : {Case{true, false, false, true, 32, 0}, Case{true, true, false, true, 32, 0},
                          Case{true, false, true, true, 0, 32}, Case{true, true, true, true, 32, 32},
                          Case{true, true, true, false, 32, 0}, Case{false, false, false, false, 32, 32}}) {
        Pillow p(c.bCollar);
        if (c.bFinLow) p.fin(false);
        if (c.bFinHigh) p.fin(true);
        ASSERT_TRUE(p.patch()->isClosed());
        EXPECT_EQ(p.patch()->splitClosedPatchKill(c.bCareful), c.numLower + c.numUpper == 32);
        EXPECT_EQ(numAlive(p.vLower), c.numLower);
        EXPECT_EQ(numAlive(p.vUpper), c.numUpper);
        EXPECT_EQ(numAlive(p.vCollar), p.vCollar.size());
        EXPECT_EQ(std::ranges::count(p.m->getScratchFlags(), 0), std::ptrdiff_t(p.m->getScratchFlags().size()));
    }
}

// Two triangles on the edge a-b, their apices turned by the given angle.
TEST(ConEdge, theScoreIsTheBendOnASheetAndItsRestAcrossASeam) {
    TestMesh m(3);
    const Cell a{0, 0, 0}, b{1, 0, 0}, c{0, 1, 0}, d{1, 1, 0}, e{0, 0, 1};
    m.at(a) = {0, 0, 0};
    m.at(b) = {1, 0, 0};
    m.at(c) = {0, 1, 0};
    const double angle = 30.0 * std::acos(-1.0) / 180.0;
    m.at(d) = {0, -std::cos(angle), std::sin(angle)};
    CTriangle* pT0 = m.tri(a, b, c);
    CTriangle* pT1 = m.tri(b, a, d);
    CPatch patch(m.pMesh.get(), &m.calc);
    patch.addTriangle(pT0);
    patch.addTriangle(pT1);
    const auto make = [&] { return ConEdge(m.pMesh.get(), m.edge(a, b), &patch); };
    for (int i = 0; i < 2; ++i, pT1->flip()) {  // however they are oriented
        EXPECT_NEAR(make().score, 30.0, 1e-6);
        EXPECT_TRUE(make().bSameSide);
    }
    EXPECT_TRUE(failsWith("deg>1", [&] { ConEdge(m.pMesh.get(), m.edge(a, c), &patch); }));

    CTriangle* pOther = m.tri(a, b, e);
    EXPECT_NEAR(make().score, 150.0, 1e-6);
    EXPECT_FALSE(make().bSameSide);
    EXPECT_EQ(make().degree, 3);
    m.at(d) = {0.5, 0, 0};
    EXPECT_EQ(make().score, 90.0);
    patch.addTriangle(pOther);
    EXPECT_EQ(make().score, 181.0);
    EXPECT_TRUE(make().bSameSide);
    pT0->setPatch(nullptr);
    pT1->setPatch(nullptr);
    EXPECT_TRUE(failsWith("vMemT.size()>=2", make));
}

TEST(CEdge, adjacentEdgesAreSelectedByHowOftenTheyOccur) {
    TestMesh m(4);
    const auto fan = [&](int x, int num) {  // an edge with num triangles, each with two more of its own
        for (int i = 0; i < num; ++i) m.tri({x, 0, 0}, {x, 1, 0}, {x, 2 + i / 4, i % 4});
    };
    for (int num = 1; num <= 4; ++num) fan(num - 1, num);
    m.tri({0, 0, 0}, {0, 1, 0}, {3, 3, 3})->kill(m.pMesh.get());
    const auto count = [&](int kind) {
        std::vector<CEdge*> vEdges;
        getAdjacentEdges(kind, m.triangles(), vEdges);
        EXPECT_TRUE(std::is_sorted(vEdges.begin(), vEdges.end(), edgeLess));
        return vEdges.size();
    };
    EXPECT_EQ(count(1), 21u);  // 20 of the sides
    EXPECT_EQ(count(2), 1u);
    EXPECT_EQ(count(3), 1u);
    EXPECT_EQ(count(5), 0u);
    EXPECT_EQ(count(-1), 22u);
    EXPECT_EQ(count(-2), 2u);
    EXPECT_EQ(count(-3), 2u);
    EXPECT_EQ(count(-4), 1u);
    failureText([&] { count(-5); });
}
