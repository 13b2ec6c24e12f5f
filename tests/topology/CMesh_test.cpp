#include "topology/CMesh.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>
#include <set>
#include <sstream>
#include <tuple>

#include "support/capture.h"
#include "support/threads.h"
#include "topology/TestMesh.h"

using namespace zef_test;

namespace {

using Pair = std::pair<uint64, uint64>;
using Triple = std::array<uint64, 3>;

// The mesh as a plain list of triples in order of making.
struct Model {
    struct Tri {
        Triple k;
        bool bAlive;
    };
    std::vector<Tri> vT;

    static bool holds(const Tri& t, uint64 v) { return std::find(t.k.begin(), t.k.end(), v) != t.k.end(); }
    std::vector<std::uint32_t> fan(uint64 v) const {
        std::vector<std::uint32_t> vFan;
        for (std::uint32_t i = 0; i < vT.size(); ++i)
            if (vT[i].bAlive && holds(vT[i], v)) vFan.push_back(i);
        return vFan;
    }
    // Every edge that ever was, with its live triangles.
    std::map<Pair, std::set<std::uint32_t>> edges() const {
        std::map<Pair, std::set<std::uint32_t>> m;
        for (std::uint32_t n = 0; n < vT.size(); ++n)
            for (std::size_t i = 0; i < 3; ++i) {
                auto& s = m[std::minmax(vT[n].k[i], vT[n].k[(i + 1) % 3])];
                if (vT[n].bAlive) s.insert(n);
            }
        return m;
    }
    // The rule of the collapse, word by word.
    bool collapse(uint64 src, uint64 trg) {
        const auto srcFan = fan(src), trgFan = fan(trg);
        std::vector<Triple> vNew;
        for (const std::uint32_t n : srcFan) {
            Triple k = vT[n].k;
            if (holds(vT[n], trg)) continue;
            std::rotate(k.begin(), std::find(k.begin(), k.end(), src), k.end());
            for (const std::uint32_t m : trgFan)
                if (holds(vT[m], k[1]) && holds(vT[m], k[2])) return false;
            vNew.push_back({trg, k[1], k[2]});
        }
        for (const std::uint32_t n : srcFan) vT[n].bAlive = false;
        for (const Triple& k : vNew) vT.push_back({k, true});
        return true;
    }
};

std::vector<std::uint32_t> numbers(const std::vector<CTriangle*>& vT) {
    std::vector<std::uint32_t> v;
    for (const CTriangle* pT : vT) v.push_back(pT->getNumber());
    return v;
}

void expectSameTriangles(const CMesh& mesh, const Model& model) {
    ASSERT_EQ(mesh.getNumTriangles(), model.vT.size());
    std::vector<std::uint32_t> vLive;
    for (std::uint32_t n = 0; n < model.vT.size(); ++n) {
        const CTriangle* pT = mesh.getTriangle(n);
        ASSERT_EQ(pT->isAlive(), model.vT[n].bAlive);
        if (!pT->isAlive()) continue;
        vLive.push_back(n);
        for (int i = 0; i < 3; ++i) {
            ASSERT_EQ(pT->getCorner(i), model.vT[n].k[static_cast<std::size_t>(i)]);
            const uint64 a = pT->getCorner((i + 1) % 3), b = pT->getCorner((i + 2) % 3);
            ASSERT_EQ(pT->getCEdge(i), mesh.getEdge(b, a));
            ASSERT_EQ(Pair(pT->getCEdge(i)->v0, pT->getCEdge(i)->v1), Pair(std::minmax(a, b)));
        }
    }
    std::vector<CTriangle*> vT;
    mesh.getAllTriangles(vT);
    ASSERT_EQ(numbers(vT), vLive);
}

void expectSameEdges(const CMesh& mesh, const Model& model) {
    const auto mEdges = model.edges();
    std::vector<CEdge*> vEdges;
    mesh.getAllEdges(vEdges);
    ASSERT_EQ(vEdges.size(), mEdges.size());
    auto it = mEdges.begin();
    std::map<int, std::vector<CEdge*>> mDegrees;
    for (CEdge* pCE : vEdges) {
        ASSERT_EQ(Pair(pCE->v0, pCE->v1), it->first);
        std::vector<CTriangle*> vT;
        pCE->getTriangles(vT);
        const auto vN = numbers(vT);
        ASSERT_EQ(std::set<std::uint32_t>(vN.begin(), vN.end()), it->second);
        ASSERT_EQ(vN.size(), it->second.size());
        ASSERT_EQ(static_cast<std::size_t>(pCE->getDegree()), it->second.size());
        const int deg = pCE->getDegree();
        mDegrees[deg].push_back(pCE);
        if (deg > 2) mDegrees[-1].push_back(pCE);
        if (deg == 1 || deg > 2) mDegrees[-5].push_back(pCE);
        if (deg > 0) mDegrees[-99].push_back(pCE);
        ++it;
    }
    for (const int deg : {1, 2, 3, 7, -1, -5, -99}) {
        std::vector<CEdge*> vSelected;
        mesh.getDegN(deg, vSelected);
        ASSERT_EQ(vSelected, mDegrees[deg]) << deg;
    }
}

void expectSameVertices(const CMesh& mesh, const Model& model, const std::vector<uint64>& vCells) {
    const auto mEdges = model.edges();
    for (const uint64 v : vCells) {
        std::vector<CTriangle*> vT;
        mesh.getIncidentTriangles(v, vT);
        ASSERT_EQ(numbers(vT), model.fan(v));
        std::vector<Pair> vExpected, vFound;
        for (const auto& [pair, sT] : mEdges)
            if ((pair.first == v || pair.second == v) && !sT.empty()) vExpected.push_back(pair);
        std::vector<CEdge*> vEdges;
        mesh.getIncidentEdges(v, vEdges);
        for (const CEdge* pCE : vEdges) vFound.emplace_back(pCE->v0, pCE->v1);
        ASSERT_EQ(vFound, vExpected);
        for (const uint64 w : vCells) ASSERT_EQ(mesh.getEdge(v, w) == nullptr, mEdges.count(std::minmax(v, w)) == 0);
    }
}

void change(CMesh& mesh, Model& model, const std::vector<uint64>& vCells, std::mt19937& random) {
    const auto pick = [&] { return vCells[random() % vCells.size()]; };
    const auto live = [&]() -> std::uint32_t {
        for (int i = 0; i < 50; ++i) {
            const auto n = static_cast<std::uint32_t>(random() % std::max<std::size_t>(1, model.vT.size()));
            if (n < model.vT.size() && model.vT[n].bAlive) return n;
        }
        return Adjacency::none;
    };
    const auto action = random() % 8;
    const std::uint32_t n = action < 4 ? Adjacency::none : live();
    if (action < 4) {
        const uint64 a = pick(), b = pick(), c = pick();
        if (a == b || b == c || a == c) return;
        mesh.createT(a, b, c, 1, 2);
        model.vT.push_back({{a, b, c}, true});
    } else if (n == Adjacency::none) {
        return;
    } else if (action < 6) {
        mesh.getTriangle(n)->kill(&mesh);
        model.vT[n].bAlive = false;
    } else if (action < 7) {
        mesh.getTriangle(n)->flip();
        std::swap(model.vT[n].k[1], model.vT[n].k[2]);
    } else {
        const uint64 src = model.vT[n].k[random() % 3], trg = model.vT[n].k[random() % 3];
        if (src == trg) return;
        const CEdge* pCE = mesh.getEdge(src, trg);
        ASSERT_EQ(mesh.collapseEdgeToEndpoint(pCE, src, trg), model.collapse(src, trg));
    }
}

std::vector<Triple> liveCorners(const TestMesh& m) {
    std::vector<Triple> v;
    for (const CTriangle* pT : m.triangles()) v.push_back({pT->getCorner(0), pT->getCorner(1), pT->getCorner(2)});
    return v;
}

}  // namespace

TEST(CMesh, agreesWithAListOfTriplesThroughCreateKillFlipAndCollapse) {
    std::mt19937 random(3);
    TestMesh m(4);
    // Few cells, so that edges become crowded; every third is unknown to the map.
    for (const int numCells : {6, 14, 30}) {
        m->clear();
        EXPECT_EQ(m->getNumTriangles(), 0u);
        Model model;
        std::vector<uint64> vCells;
        for (int i = 0; i < numCells; ++i)
            vCells.push_back(i % 3 == 0 ? m.ccd(i % 7, 5 + i / 7, i % 5) : m.ccd(i % 4, (i / 4) % 4, (i / 16) % 4));
        for (int step = 0; step < 3000; ++step) {
            ASSERT_NO_FATAL_FAILURE(change(*m.pMesh, model, vCells, random));
            if (step % 400 != 0) continue;
            ASSERT_NO_FATAL_FAILURE(expectSameTriangles(*m.pMesh, model));
            ASSERT_NO_FATAL_FAILURE(expectSameEdges(*m.pMesh, model));
            ASSERT_NO_FATAL_FAILURE(expectSameVertices(*m.pMesh, model, vCells));
        }
    }
}

TEST(CMesh, misuseFailsWithItsCondition) {
    TestMesh m(3);
    const uint64 a = m.ccd(0, 0, 0), b = m.ccd(1, 0, 0), c = m.ccd(0, 1, 0), far = m.ccd(9, 9, 9);
    EXPECT_TRUE(failsWith("v0!=v1 && v1!=v2 && v0!=v2", [&] { m->createT(a, b, a, 0, 0); }));
    EXPECT_TRUE(failsWith("q_it!=mCCDBundle.end()", [&] { m->getAvgPoint(far); }));
    EXPECT_TRUE(failsWith("v0<v1", [&] { CEdge(b, a); }));
    CTriangle* pT = m->createT(a, b, c, 0, 0);
    CTriangle* pFar = m.tri({2, 2, 2}, {2, 2, 1}, {2, 1, 2});
    EXPECT_TRUE(failsWith("false", [&] { pT->getCEdge(3); }));
    EXPECT_TRUE(failsWith("false", [&] { pT->getICI(far); }));
    EXPECT_TRUE(failsWith("false", [&] { pT->needFlip(pFar); }));
    EXPECT_TRUE(failsWith("false", [&] { m->getEdge(a, b)->checkOut(pFar); }));
    EXPECT_TRUE(failsWith("(src==pCE->v0 && trg==pCE->v1) || (src==pCE->v1 && trg==pCE->v0)",
                          [&] { m->collapseEdgeToEndpoint(m->getEdge(a, b), a, c); }));
    EXPECT_NE(failureText([&] { m->getEdge(a, b)->getOtherVCD(c); }).find("getOtherVCD bug, CEdge "),
              std::string::npos);
    EXPECT_NE(failureText([&] {
                  std::vector<CEdge*> v;
                  m->getDegN(-2, v);
              }).find(" ** deg=-2"),
              std::string::npos);
    EXPECT_TRUE(failsWith("pRet==0", [&] {
        m->createT(b, a, m.ccd(0, 0, 1), 0, 0);
        m->getEdge(a, b)->getTriangle(true, true);
    }));
    pT->kill(m.pMesh.get());
    EXPECT_TRUE(failsWith("bAlive", [&] { pT->kill(m.pMesh.get()); }));
    EXPECT_TRUE(failsWith("pRet!=0", [&] { m->getEdge(a, c)->getTriangle(true, false); }));
    EXPECT_FALSE(m->collapseEdgeToEndpoint(m->getEdge(a, c), a, c));  // degree 0
}

TEST(CTriangle, needFlipTellsTheDirectionAlongTheCommonEdge) {
    TestMesh m(3);
    CTriangle* pT = m.tri({0, 0, 0}, {1, 0, 0}, {0, 1, 0});
    CTriangle* pNeigT = m.tri({1, 1, 0}, {0, 1, 0}, {1, 0, 0});
    for (int turn = 0; turn < 4; ++turn) {
        EXPECT_EQ(pT->needFlip(pNeigT), turn % 2 == 1);
        EXPECT_EQ(pNeigT->needFlip(pT), turn % 2 == 1);
        (turn % 3 == 0 ? pT : pNeigT)->flip();
    }
    EXPECT_EQ(pT->getThirdCCD(m.ccd(0, 0, 0), m.ccd(1, 0, 0)), m.ccd(0, 1, 0));
    EXPECT_TRUE(pT->hasBorderEdge());
    EXPECT_FALSE(pT->isAllManifold());
    std::ostringstream text;
    text << *pT;
    EXPECT_NE(text.str().find("):  bAlive=true, 3 different corners\n"), std::string::npos) << text.str();
    EXPECT_NE(text.str().find("degree 2, "), std::string::npos);
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

TEST(CMesh, ofDuplicatesTheFirstMadeStaysAndTheOrderIsThatOfSortedCorners) {
    std::mt19937 random(8);
    TestMesh m(3);
    std::map<Triple, std::uint32_t> mFirst;
    int numDuplicates = 0;
    for (std::uint32_t n = 0; n < 400; ++n) {
        Triple k;
        do
            for (uint64& v : k)
                v = m.ccd(static_cast<int>(random() % 3), static_cast<int>(random() % 3),
                          1 + 4 * static_cast<int>(random() % 2));
        while (k[0] == k[1] || k[1] == k[2] || k[0] == k[2]);
        m->createT(k[0], k[1], k[2], 0, 0);
        std::sort(k.begin(), k.end());
        numDuplicates += !mFirst.emplace(k, n).second;
    }
    ASSERT_GT(numDuplicates, 50);
    EXPECT_EQ(m->killDuplicateTriangles(), numDuplicates);
    m.tri({0, 0, 0}, {1, 0, 0}, {0, 1, 0});
    std::vector<std::uint32_t> vExpected;
    for (const auto& [k, n] : mFirst) vExpected.push_back(n);
    vExpected.push_back(400);
    EXPECT_EQ(numbers(m.triangles()), vExpected);
    EXPECT_EQ(m->killDuplicateTriangles(), 0);
}

// Enough vertices for several chunks, some of which come after the map was built;
// some edges with many triangles.
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
    for (std::uint32_t n = 0; n < 60000; ++n) {
        const auto code = [&](std::size_t i) { return one.cells.getCode(vNew[n][i]); };
        one->createT(code(0), code(1), code(2), n + 7, static_cast<int>(n % 256));
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
    EXPECT_EQ(m->killDuplicateTriangles(), one->killDuplicateTriangles());
    EXPECT_EQ(describe(m), describe(one));
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
    ASSERT_TRUE(m.edge(L, R)->trySplitNeigsKillT(m.pMesh.get(), pFlat, 1, vNew));
    const uint64 l = m.ccd(L), p = m.ccd(P), r = m.ccd(R), a = m.ccd(A), b = m.ccd(B);
    EXPECT_EQ(liveCorners(m), (std::vector<Triple>{{a, r, p}, {a, p, l}, {b, l, p}, {b, p, r}}));
    EXPECT_EQ(vNew, m.triangles());
    EXPECT_EQ(patch.getSize(), 3u);
    EXPECT_EQ(vNew[1]->getPatch(), &patch);
    EXPECT_EQ(vNew[2]->getPatch(), nullptr);
    EXPECT_EQ(m.edge(L, R)->getDegree(), 0);
}

TEST(CEdge, aRefusedSplitLeavesTheMeshAsItWas) {
    TestMesh m(6);
    const Cell L{0, 0, 0}, P{2, 1, 0}, R{4, 0, 0}, A{2, 3, 0}, low{2, 4, 0};
    m.at(P) = {2.5, 4.0, 0.5};  // beyond A: the halves of (A, R, L) would turn over
    CTriangle* pKill = m.tri(L, P, R);
    m.tri(L, R, low);
    m.at(low) = {2.5, -1.0, 0.5};
    m.tri(A, R, L);
    const auto vBefore = liveCorners(m);
    std::vector<CTriangle*> vNew;
    EXPECT_FALSE(m.edge(L, R)->trySplitNeigsKillT(m.pMesh.get(), pKill, 1, vNew));
    m.at(A) = {1.5, 0.5, 0.5};  // no normal now
    EXPECT_FALSE(m.edge(L, R)->trySplitNeigsKillT(m.pMesh.get(), pKill, 1, vNew));
    EXPECT_TRUE(vNew.empty());
    EXPECT_EQ(liveCorners(m), vBefore);
}

TEST(CMesh, degenerateTrianglesAreSplitOrRelaxedButNeverLoopForever) {
    TestMesh m(6);
    m.tri({0, 0, 0}, {2, 0, 0}, {4, 0, 0});  // flat, with two neighbours over its long edge
    m.tri({4, 0, 0}, {0, 0, 0}, {2, 3, 0});
    m.tri({0, 0, 0}, {4, 0, 0}, {2, 0, 3});
    const double area = m->getTotalArea();
    m->splitDegenerateTriangles();
    EXPECT_EQ(m.triangles().size(), 4u);
    EXPECT_DOUBLE_EQ(m->getTotalArea(), area);
    for (const CTriangle* pT : m.triangles()) EXPECT_FALSE(pT->isDegenerate(m.pMesh.get()));

    // All corners of the pair lie on one line: no split and no move can help.
    m->clear();
    m.tri({0, 0, 0}, {1, 0, 0}, {3, 0, 0});
    m.tri({3, 0, 0}, {0, 0, 0}, {2, 0, 0});
    const std::string text = printedText([&] { m->splitDegenerateTriangles(); });
    EXPECT_NE(text.find("\n Not able to split: CTriangle ("), std::string::npos);
    EXPECT_NE(text.find("devAngle would be 360"), std::string::npos);
    EXPECT_EQ(m.triangles().size(), 2u);
}

TEST(CMesh, laplacianForOneMovesATenthOfACellAtMostAndNeverFoldsATriangle) {
    TestMesh m(4);
    EXPECT_FALSE(m->laplacianForOne(m.ccd(1, 1, 1)));
    m.quad({0, 0, 0}, {2, 0, 0}, {2, 2, 0}, {0, 2, 0});
    Point3& p = m.at({0, 0, 0});
    EXPECT_TRUE(m->laplacianForOne(m.ccd(0, 0, 0)));
    EXPECT_NEAR((p - Point3(0.5, 0.5, 0.5)).length(), 0.1, 1e-12);
    EXPECT_DOUBLE_EQ(p.x(), p.y());

    // The apex stands just above the base, the ring's mean is below it.
    m->clear();
    p = {0.5, 0.5, 0.5};
    Point3& apex = m.at({1, 1, 0});
    apex = {1.5, 0.51, 0.5};
    m.tri({0, 0, 0}, {3, 0, 0}, {1, 1, 0});
    m.tri({1, 1, 0}, {3, 0, 0}, {1, 0, 0});
    m.at({1, 0, 0}) = {1.5, -5.0, 0.5};
    const std::string text = printedText([&] { EXPECT_FALSE(m->laplacianForOne(m.ccd(1, 1, 0))); });
    EXPECT_NE(text.find("devAngle would be 180"), std::string::npos) << text;
    EXPECT_EQ(apex, Point3(1.5, 0.51, 0.5));
}
