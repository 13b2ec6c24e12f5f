#include "topology/CPatch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "support/capture.h"
#include "topology/ConEdge.h"
#include "topology/TestMesh.h"

using namespace zef_test;

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
