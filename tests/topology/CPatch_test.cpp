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
    ASSERT_EQ(m.edgesOfDegree(4).size(), 2u);
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
    EXPECT_TRUE(m.edgesOfDegree(-5).empty());
    m->clear();
}

TEST(CMesh, aBarrierStopsTheFloodAndBordersBoundAPatch) {
    TestMesh m(5);
    m.box({0, 0, 0}, {2, 2, 2}, false);
    EXPECT_EQ(m.edgesOfDegree(1).size(), 8u);
    std::set<CEdge*> sBarrier;  // one vertical edge of the box has no effect alone
    sBarrier.insert(m.edge({0, 0, 0}, {0, 0, 1}));
    std::vector<CPatch*> vPatches;
    std::map<uint64, CPatch*> mThird;
    std::vector<CEdge*> vFanEdges;
    m->createPatches(&sBarrier, vPatches, mThird, vFanEdges);
    ASSERT_EQ(vPatches.size(), 1u);
    EXPECT_FALSE(vPatches[0]->isClosed());
    vPatches[0]->setOuterBoundary();
    EXPECT_EQ(vPatches[0]->vOuterBoundary, m.edgesOfDegree(1));
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
    for (CTriangle* pT : m.triangles())
        if (random() % 2 == 0) pT->flip();
    CPatch* pPatch = m.patches()[0];
    pPatch->orientAll();
    EXPECT_NEAR(pPatch->getVolume(), 36.0, 1e-9);
    for (const CEdge* pCE : m.edgesOfDegree(2)) EXPECT_FALSE(pCE->triangles()[0]->needFlip(pCE->triangles()[1]));

    for (CTriangle* pT : m.triangles()) pT->flip();
    pPatch->orientAll();
    EXPECT_NEAR(pPatch->getVolume(), 36.0, 1e-9);
}

TEST(CPatch, aPatchWithoutLiveTrianglesWarnsAndStays) {
    TestMesh m(3);
    CPatch patch(m.pMesh.get(), &m.calc);
    EXPECT_NE(printedText([&] { patch.orientPatch(); }).find("reorientation failed"), std::string::npos);
    EXPECT_EQ(patch.getVolume(), 0.0);
}

TEST(CPatch, aMemberOfALaterPatchLeavesTheEarlierOne) {
    TestMesh m(3);
    CTriangle* pT = m.tri({0, 0, 0}, {1, 0, 0}, {0, 1, 0});
    CPatch later(m.pMesh.get(), &m.calc);
    {
        CPatch earlier(m.pMesh.get(), &m.calc);
        earlier.addTriangle(pT);
        EXPECT_LT(later.id, earlier.id);
        later.addTriangle(pT);
    }
    EXPECT_EQ(pT->getPatch(), &later);
}

TEST(CPatch, aThinBodyOnItsRimLosesOneWholeSheet) {
    Pillow p;
    ASSERT_TRUE(p.patch()->isClosed());
    EXPECT_TRUE(p.patch()->splitClosedPatchKill(true));
    const std::size_t numLower = numAlive(p.vLower), numUpper = numAlive(p.vUpper);
    EXPECT_EQ(numLower + numUpper, 32u);
    EXPECT_EQ(numLower * numUpper, 0u);
    EXPECT_EQ(numAlive(p.vCollar), p.vCollar.size());
    EXPECT_TRUE(p.m.edgesOfDegree(-1).empty());
    const auto& vFlags = p.m->getScratchFlags();
    EXPECT_EQ(std::count(vFlags.begin(), vFlags.end(), 0), static_cast<std::ptrdiff_t>(vFlags.size()));
}

TEST(CPatch, aFreeSheetDiesBeforeAnAttachedOneWhateverTheirSizes) {
    for (const bool bUpper : {false, true}) {
        Pillow p;
        p.fin(bUpper);
        EXPECT_TRUE(p.patch()->splitClosedPatchKill(true));
        EXPECT_EQ(numAlive(p.vLower), bUpper ? 0u : 32u);
        EXPECT_EQ(numAlive(p.vUpper), bUpper ? 32u : 0u);
    }
}

TEST(CPatch, ofTwoAttachedSheetsTheCarefulFormKillsNoneAndTheOtherOne) {
    Pillow p;
    p.fin(false);
    p.fin(true);
    EXPECT_FALSE(p.patch()->splitClosedPatchKill(true));
    EXPECT_EQ(numAlive(p.vLower) + numAlive(p.vUpper), 64u);
    EXPECT_TRUE(p.patch()->splitClosedPatchKill(false));
    EXPECT_EQ(numAlive(p.vLower) + numAlive(p.vUpper), 32u);
}

TEST(CPatch, aThinBodyWithoutSeamsIsLeftAlone) {
    Pillow p(false);
    ASSERT_TRUE(p.patch()->isClosed());
    EXPECT_FALSE(p.patch()->splitClosedPatchKill(false));
    EXPECT_EQ(p.m.triangles().size(), 64u);
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
