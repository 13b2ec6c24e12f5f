#include "topology/CMesh.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <sstream>

#include "support/capture.h"
#include "support/threads.h"
#include "support/tripleModel.h"
#include "topology/TestMesh.h"

using namespace zef_test;

namespace {

std::vector<std::uint32_t> numbers(const std::vector<CTriangle*>& vT) {
    std::vector<std::uint32_t> v;
    for (const CTriangle* pT : vT) v.push_back(pT->getNumber());
    return v;
}

// Vertices are cells, every third of which is unknown to the map of samples.
struct CellMesh {
    static constexpr bool bKnowsMinus5 = true;
    TestMesh m{4};
    std::vector<uint64> vCells;  // ascending

    explicit CellMesh(unsigned numVertices) {
        for (int i = 0; i < int(numVertices); ++i)
            vCells.push_back(i % 3 == 0 ? m.ccd(i % 7, 5 + i / 7, i % 5) : m.ccd(i % 4, (i / 4) % 4, (i / 16) % 4));
        std::sort(vCells.begin(), vCells.end());
    }
    uint64 vertex(uint64 ccd) const { return uint64(std::ranges::lower_bound(vCells, ccd) - vCells.begin()); }
    Ends endsOf(const CEdge* pCE) const { return {vertex(pCE->v0), vertex(pCE->v1)}; }

    void create(const Triple& v) { m->createT(vCells[v[0]], vCells[v[1]], vCells[v[2]], 1, 2); }
    void kill(std::uint32_t t) { m->getTriangle(t)->kill(m.pMesh.get()); }
    void flip(std::uint32_t t, Triple& v) {
        m->getTriangle(t)->flip();
        std::swap(v[1], v[2]);
    }
    // The triangles at the edge go, the others come anew with the target in place of
    // the source, unless one of them is there.
    void merge(uint64 src, uint64 trg, TripleModel& model) {
        const Numbers vFan = model.trianglesAt(src, src);
        std::vector<Triple> vNew;
        bool bTaken = false;
        for (const std::uint32_t t : vFan) {
            Triple v = model.vTriples[t];
            if (model.has(t, trg)) continue;
            std::rotate(v.begin(), std::find(v.begin(), v.end(), src), v.end());
            for (const std::uint32_t u : model.trianglesAt(v[1], v[2])) bTaken = bTaken || model.has(u, trg);
            vNew.push_back({trg, v[1], v[2]});
        }
        ASSERT_EQ(m->canCollapse(vCells[src], vCells[trg]), !bTaken);
        const CEdge* pCE = m->getEdge(vCells[src], vCells[trg]);
        ASSERT_EQ(m->collapseEdgeToEndpoint(pCE, vCells[src], vCells[trg]), !bTaken);
        if (bTaken) return;
        for (const std::uint32_t t : vFan) model.vAlive[t] = false;
        for (const Triple& v : vNew) model.create(v);
    }
    bool isAlive(std::uint32_t t) const { return m->getTriangle(t)->isAlive(); }
    Triple cornersOf(std::uint32_t t) const {
        const CTriangle* pT = m->getTriangle(t);
        return {vertex(pT->getCorner(0)), vertex(pT->getCorner(1)), vertex(pT->getCorner(2))};
    }
    Ends edgeOf(std::uint32_t t, int i) const { return endsOf(m->getTriangle(t)->getCEdge(i)); }
    Numbers fan(uint64 v) const {
        std::vector<CTriangle*> vT;
        m->getIncidentTriangles(vCells[v], vT);
        return numbers(vT);
    }
    std::vector<Ends> edgesAt(uint64 v) const {
        std::vector<CEdge*> vEdges;
        m->getIncidentEdges(vCells[v], vEdges);
        EXPECT_TRUE(std::is_sorted(vEdges.begin(), vEdges.end(), edgeLess));
        std::vector<Ends> vEnds;
        for (const CEdge* pCE : vEdges) vEnds.push_back(endsOf(pCE));
        return vEnds;
    }
    std::vector<std::pair<Ends, Numbers>> edges(int degree) const {
        const std::vector<CEdge*> vEdges = m.edgesOfDegree(degree);
        EXPECT_TRUE(std::is_sorted(vEdges.begin(), vEdges.end(), edgeLess));
        std::vector<std::pair<Ends, Numbers>> v;
        for (const CEdge* pCE : vEdges) {
            std::vector<CTriangle*> vT;
            pCE->getTriangles(vT);
            v.emplace_back(endsOf(pCE), sorted(numbers(vT)));
        }
        return v;
    }
};

std::vector<Triple> liveCorners(const TestMesh& m) {
    std::vector<Triple> v;
    for (const CTriangle* pT : m.triangles()) v.push_back({pT->getCorner(0), pT->getCorner(1), pT->getCorner(2)});
    return v;
}

}  // namespace

namespace zef_test {
INSTANTIATE_TYPED_TEST_SUITE_P(CMesh, MeshModel, CellMesh);
}

TEST(CMesh, misuseFailsWithItsText) {
    TestMesh m(3);
    const uint64 a = m.ccd(0, 0, 0), b = m.ccd(1, 0, 0), c = m.ccd(0, 1, 0), far = m.ccd(9, 9, 9);
    CTriangle *pT = m->createT(a, b, c, 0, 0), *pFar = m.tri({2, 2, 2}, {2, 2, 1}, {2, 1, 2});
    CTriangle* pDead = m.tri({1, 0, 0}, {0, 0, 0}, {0, 0, 1});
    pDead->kill(m.pMesh.get());
    CEdge* pAB = m->getEdge(a, b);
    std::vector<CEdge*> v;
    const std::vector<std::pair<std::string, std::function<void()>>> cases = {
        {"[ v0!=v1 && v1!=v2 && v0!=v2 failed ]", [&] { m->createT(a, b, a, 0, 0); }},
        {"[ q_it!=mCCDBundle.end() failed ]", [&] { m->getAvgPoint(far); }},
        {"[ v0<v1 failed ]", [&] { CEdge(b, a); }},
        {"[ false failed ]", [&] { pT->getCEdge(3); }},
        {"[ false failed ]", [&] { pT->getICI(far); }},
        {"[ false failed ]", [&] { pT->needFlip(pFar); }},
        {"[ false failed ]", [&] { pAB->checkOut(pFar); }},
        {"[ (src==pCE->v0 && trg==pCE->v1) || (src==pCE->v1 && trg==pCE->v0) failed ]",
         [&] { m->collapseEdgeToEndpoint(pAB, a, c); }},
        {"getOtherVCD bug, CEdge ", [&] { pAB->getOtherVCD(c); }},
        {" ** deg=-2", [&] { m->getDegN(-2, v); }},
        {"[ bAlive failed ]", [&] { pDead->kill(m.pMesh.get()); }},
        {"[ pRet!=0 failed ]",
         [&] {
             m.edge({0, 0, 0}, {0, 0, 1})->getTriangle(true, false);
         }},
        {"[ pRet==0 failed ]", [&] {
             m->createT(b, a, m.ccd(0, 0, 1), 0, 0);
             pAB->getTriangle(true, true);
         }}};
    for (const auto& [text, fn] : cases) EXPECT_NE(failureText(fn).find(text), std::string::npos) << text;
    pT->kill(m.pMesh.get());
    EXPECT_FALSE(m->collapseEdgeToEndpoint(m->getEdge(a, c), a, c));  // degree 0
}

// Corner 2, then corner 0 win where lengths are equal.
TEST(CTriangle, tiesOfTheLongestEdgeGoToCorner2ThenTo0) {
    TestMesh m(4);
    EXPECT_EQ(m.tri({0, 0, 0}, {1, 1, 0}, {0, 1, 1})->getLargestEdgeICI(m.pMesh.get()), 2);  // all equal
    EXPECT_EQ(m.tri({0, 0, 0}, {1, 0, 0}, {0, 3, 0})->getLargestEdgeICI(m.pMesh.get()), 0);
    EXPECT_EQ(m.tri({0, 0, 0}, {0, 1, 1}, {0, 0, 3})->getLargestEdgeICI(m.pMesh.get()), 1);
    m.at({2, 0, 0}) = {9.0, 0.0, 0.0};
    m.at({0, 1, 0}) = {0.0, 0.0, 3.0};
    m.at({0, 2, 0}) = {0.0, 0.0, -3.0};
    EXPECT_EQ(m.tri({0, 1, 0}, {0, 2, 0}, {2, 0, 0})->getLargestEdgeICI(m.pMesh.get()), 0);  // 12 and 20 equal
    EXPECT_EQ(m.tri({0, 1, 0}, {2, 0, 0}, {0, 2, 0})->getLargestEdgeICI(m.pMesh.get()), 2);  // 01 and 12 equal
}

// Enough vertices for several chunks, some of which come after the map was built; some
// edges with many triangles. Of duplicates the first stays, and the order becomes that
// of sorted corners.
TEST(CMesh, trianglesMadeAtOnceAreAsIfMadeOneByOne) {
    using Vertices = std::array<std::uint32_t, 3>;
    std::mt19937 random(9);
    TestMesh m(24), one(24);
    for (int n = 0; n < 500; ++n) {
        const uint64 late = m.ccd(30 + n % 10, n / 10 % 10, n / 100);
        ASSERT_EQ(m.cells.addNumber(late), one.cells.addNumber(late));
    }
    std::vector<Vertices> vNew;
    while (vNew.size() < 60000) {
        const auto below = [&](std::uint32_t n) { return static_cast<std::uint32_t>(random()) % n; };
        const bool bWide = vNew.size() % 50 == 0;
        const std::uint32_t reach = bWide ? 600 : 4, last = m.cells.getNumNumbers() - reach;
        const std::uint32_t first = bWide ? last : below(last);
        const Vertices v = {first + below(reach), first + below(reach), first + below(reach)};
        if (v[0] != v[1] && v[1] != v[2] && v[2] != v[0]) vNew.push_back(v);
    }
    const ThreadCount threads(3);
    m->createTriangles(60000, [&](const CMesh::TriangleWriter& write) {
        for (std::uint32_t n = 60000; n-- > 0;) write(n, vNew[n], n + 7, static_cast<int>(n % 256));
    });
    std::map<Triple, uint64> mFirst;
    for (std::uint32_t n = 0; n < 60000; ++n) {
        Triple v;
        for (std::size_t i = 0; i < 3; ++i) v[i] = one.cells.getCode(vNew[n][i]);
        one->createT(v[0], v[1], v[2], n + 7, static_cast<int>(n % 256));
        std::sort(v.begin(), v.end());
        mFirst.emplace(v, n);
    }
    const auto describe = [](TestMesh& mesh) {
        std::vector<uint64> v;
        std::vector<CEdge*> vEdges;
        mesh->getAllEdges(vEdges);
        for (const CEdge* pCE : vEdges) {
            v.insert(v.end(), {pCE->v0, pCE->v1});
            for (const CTriangle* pT : pCE->triangles()) v.push_back(pT->getNumber());
        }
        mesh->forEachTriangle([&](const CTriangle* pT) {
            v.insert(v.end(), {pT->getNumber(), pT->vcd, static_cast<uint64>(pT->config)});
            for (int i = 0; i < 3; ++i) v.insert(v.end(), {pT->getCorner(i), pT->getCEdge(i)->v0, pT->getCEdge(i)->v1});
        });
        for (std::uint32_t n = 0; n < mesh.cells.getNumNumbers(); ++n)
            for (const std::uint32_t number : mesh->getFan(mesh.cells.getCode(n))) v.push_back(number);
        return v;
    };
    EXPECT_EQ(m->killDuplicateTriangles(), int(60000 - mFirst.size()));
    one->killDuplicateTriangles();
    EXPECT_EQ(describe(m), describe(one));
    Numbers vExpected;
    for (const auto& entry : mFirst) vExpected.push_back(std::uint32_t(entry.second));
    EXPECT_EQ(numbers(m.triangles()), vExpected);
}

// The flat triangle (L, P, R) on the edge L-R is taken out by moving P into it:
//
//        A               A
//      /   \           / | \        B is under the edge; N on both sides.
//    L---P---R   ->  L---P---R
//      \   /           \ | /
//        B               B
TEST(CEdge, aFlatTriangleIsSplitIntoAllItsNeighbours) {
    TestMesh m(6);
    const Cell L{0, 0, 0}, P{2, 0, 0}, R{4, 0, 0}, A{2, 3, 0}, B{2, 0, 3};
    CTriangle* pFlat = m.tri(L, P, R);
    CTriangle* pA = m.tri(A, R, L);
    m.tri(L, R, B);
    CPatch patch(m.pMesh.get(), &m.calc);
    patch.addTriangle(pA);
    std::vector<CTriangle*> vNew;
    const double area = m->getTotalArea();
    ASSERT_TRUE(m.edge(L, R)->trySplitNeigsKillT(m.pMesh.get(), pFlat, 1, vNew));
    EXPECT_DOUBLE_EQ(m->getTotalArea(), area);
    const uint64 l = m.ccd(L), p = m.ccd(P), r = m.ccd(R), a = m.ccd(A), b = m.ccd(B);
    EXPECT_EQ(liveCorners(m), (std::vector<Triple>{{a, r, p}, {a, p, l}, {b, l, p}, {b, p, r}}));
    EXPECT_EQ(vNew, m.triangles());
    EXPECT_EQ(patch.getSize(), 3u);
    EXPECT_EQ(vNew[1]->getPatch(), &patch);
    EXPECT_EQ(vNew[2]->getPatch(), nullptr);
    EXPECT_EQ(m.edge(L, R)->getDegree(), 0);
}

// Of a pair with all corners on one line, no split and no move can help.
TEST(CMesh, degenerateTrianglesThatCannotBeSplitNeverLoopForever) {
    TestMesh m(6);
    m.tri({0, 0, 0}, {1, 0, 0}, {3, 0, 0});
    m.tri({3, 0, 0}, {0, 0, 0}, {2, 0, 0});
    const std::string text = printedText([&] { m->splitDegenerateTriangles(); });
    EXPECT_NE(text.find("\n Not able to split: CTriangle ("), std::string::npos);
    EXPECT_NE(text.find("devAngle would be 360"), std::string::npos);
    EXPECT_EQ(m.triangles().size(), 2u);
}
