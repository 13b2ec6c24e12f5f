#include "topology/CPatchBook.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "topology/TestMesh.h"

using namespace zef_test;

namespace {

using Patch = CPatchBook::Patch;
using Triangles = std::vector<CTriangle*>;

// The live patches in the order of their first triangles.
std::vector<Patch> inOrder(const CPatchBook& book) {
    std::vector<Patch> v = book.getPatches();
    std::sort(v.begin(), v.end(), [&](Patch a, Patch b) { return book.isBefore(a, b); });
    return v;
}

void expectFreshDivision(TestMesh& m, CPatchBook& book) {
    const std::vector<CPatch*> vFresh = m.patches();
    const std::vector<Patch> vKept = inOrder(book);
    ASSERT_EQ(vKept.size(), vFresh.size());
    for (CPatch* pPatch : vFresh) pPatch->setOuterBoundary();
    EXPECT_NEAR(book.getTotalArea(), m->getTotalArea(), 1e-9);
    for (std::size_t i = 0; i < vKept.size(); ++i) {
        Triangles vT;
        std::vector<CEdge*> vBoundary;
        book.getTriangles(vKept[i], vT);
        book.getBoundary(vKept[i], vBoundary);
        ASSERT_EQ(vT, vFresh[i]->vT);
        ASSERT_EQ(vBoundary, vFresh[i]->vOuterBoundary);
        EXPECT_EQ(book.getSize(vKept[i]), vT.size());
        EXPECT_EQ(book.hasBoundary(vKept[i]), !vBoundary.empty());
        EXPECT_NEAR(book.getArea(vKept[i]), vFresh[i]->getArea(), 1e-9);
        std::vector<Patch> vSame, vExpected;
        book.getSameBoundary(vKept[i], vSame);
        for (std::size_t j = 0; j < vKept.size() && !vBoundary.empty(); ++j)
            if (vFresh[j]->vOuterBoundary == vBoundary) vExpected.push_back(vKept[j]);
        EXPECT_EQ(vSame, vExpected);
        for (const Patch other : vSame) EXPECT_TRUE(book.isBoundary(other, vBoundary));
    }
}

}  // namespace

// Boxes with common walls and membranes, of which a piece is taken away at a time.
TEST(CPatchBook, afterKillsItIsWhatAFreshDivisionGives) {
    std::mt19937 random(3);
    for (int round = 0; round < 6; ++round) {
        TestMesh m(8);
        m.box({0, 0, 0}, {3, 3, 7});
        m.box({3, 0, 0}, {6, 3, 4});
        for (int z = 1; z < 7; ++z) m.boxSide({0, 0, 0}, {3, 3, z}, 2, true);
        CPatchBook book(m.pMesh.get());
        expectFreshDivision(m, book);
        for (Triangles vAlive = m.triangles(); vAlive.size() > 10; vAlive = m.triangles()) {
            Triangles vDead;
            if (random() % 2 == 0)  // a whole patch, as double walls die
                vDead = vAlive[random() % vAlive.size()]->getPatch()->vT;
            else
                for (std::size_t i = random() % vAlive.size(), n = 1 + random() % 9; n > 0 && i < vAlive.size(); --n)
                    vDead.push_back(vAlive[i++]);
            for (CTriangle* pT : vDead) pT->kill(m.pMesh.get());
            std::vector<Patch> vTouched;
            book.renew(vDead, vTouched);
            for (const Patch patch : vTouched) EXPECT_GT(book.getSize(patch), 0u);
            expectFreshDivision(m, book);
            if (HasFatalFailure()) return;
        }
    }
}

// A tower of three floors: without the lower ceiling, two floors are one patch.
TEST(CPatchBook, onlyPatchesAtTheDeadAreTouched) {
    TestMesh m(7);
    for (int z = 0; z < 6; z += 2) m.box({0, 0, z}, {2, 2, z + 2}, false);
    CPatchBook book(m.pMesh.get());
    ASSERT_EQ(book.getPatches().size(), 5u);
    const Triangles vDead = m.patches()[2]->vT;
    ASSERT_EQ(vDead.size(), 8u);
    for (CTriangle* pT : vDead) pT->kill(m.pMesh.get());
    std::vector<Patch> vTouched;
    book.renew(vDead, vTouched);
    ASSERT_EQ(vTouched.size(), 1u);
    EXPECT_EQ(book.getSize(vTouched[0]), 72u);
    EXPECT_EQ(inOrder(book)[0], vTouched[0]);
}
