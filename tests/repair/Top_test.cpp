#include "repair/Top.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <set>
#include <utility>
#include <vector>

#include "support/capture.h"
#include "support/voxelMesh.h"
#include "topology/TestMesh.h"

using namespace zef_test;

namespace {

using Shape = std::vector<std::array<Cell, 3>>;

Shape join(const std::vector<Shape>& vShapes) {
    Shape all;
    for (const Shape& shape : vShapes) all.insert(all.end(), shape.begin(), shape.end());
    return all;
}

struct TopMesh : TestMesh {
    Top top{pMesh.get(), &calc};

    explicit TopMesh(int n) : TestMesh(n) { planRepair(); }

    using Corners = std::array<uint64, 3>;
    using Triangles = std::vector<CTriangle*>;
    // The cells of live triangles, each sorted, and all sorted.
    std::vector<Corners> cornersNow() const {
        std::vector<Corners> v;
        for (const CTriangle* pT : triangles()) {
            Corners c;
            pT->getSortedCorners(c[0], c[1], c[2]);
            v.push_back(c);
        }
        std::sort(v.begin(), v.end());
        return v;
    }
    std::vector<Corners> cornersOf(const Shape& shape) const {
        std::vector<Corners> v;
        for (const auto& t : shape) {
            Corners c = {ccd(t[0]), ccd(t[1]), ccd(t[2])};
            std::sort(c.begin(), c.end());
            v.push_back(c);
        }
        std::sort(v.begin(), v.end());
        return v;
    }
    void add(const Shape& shape) {
        for (const auto& [from, to, third] : shape) tri(from, to, third);
    }
    // A fan of num triangles over a strip of cells, from x0 on in the row y: a flat
    // band, open all around.
    void band(int num, int y, int z) {
        for (int i = 0; i < num; ++i) {
            const int x = i / 2;
            i % 2 == 0 ? tri({x, y, z}, {x + 1, y, z}, {x, y + 1, z})
                       : tri({x + 1, y, z}, {x + 1, y + 1, z}, {x, y + 1, z});
        }
    }
};

const Cell a{0, 0, 0}, b{1, 1, 0}, p{1, 0, 0}, q{0, 1, 0};

}  // namespace

//   q --- b    Both diagonals of the quad carry triangles, (a, b) two and (p, q)
//   | \ / |    one: that on a is there, that on b is made.
//   | / \ |
//   a --- p
TEST(Top, unifyDiagonalsKeepsTheOtherDiagonalAndFillsItsGap) {
    TopMesh m(3);
    m.quad(a, p, b, q);
    m.tri(p, q, a);
    m.top.unifyDiagonals();
    EXPECT_EQ(m.cornersNow(), m.cornersOf({{p, q, a}, {p, q, b}}));
    m.top.unifyDiagonals();
    EXPECT_EQ(m.triangles().size(), 2u);
}

//   0 --- 2      The triangle (0 1 2) is flat: 1 lies on the line from 0 to 2.
//    \ 1 /       It goes, and the one below is split at 1.
//     \ /
//      3
TEST(Top, killDegenerateSplitsTheNeighbourOfAFlatTriangleOrKillsIt) {
    TopMesh m(4);
    const Cell v0{0, 0, 0}, v1{1, 0, 0}, v2{2, 0, 0}, v3{1, 2, 0};
    m.tri(v0, v1, v2);
    m.tri(v0, v2, v3);
    m.tri({0, 0, 3}, {1, 0, 3}, {2, 0, 3});  // flat, with a border along its longest edge
    m.top.killDegenerate();
    EXPECT_EQ(m.cornersNow(), m.cornersOf({{v0, v1, v3}, {v1, v2, v3}}));
}

//   A flap (0 1 4) on the edge of two triangles (0 1 2), (0 1 3): its tip 4 is put
//   into both, which become four.
TEST(Top, integrateCCDPutsTheTipOfAFlapIntoTheFan) {
    TopMesh m(5);
    const Cell v0{0, 1, 0}, v1{4, 1, 0}, v2{2, 0, 0}, v3{2, 3, 0}, v4{2, 1, 1};
    m.tri(v0, v1, v2);
    m.tri(v1, v0, v3);
    CTriangle* pFlap = m.tri(v0, v1, v4);
    m.top.integrateCCD(pFlap->getCEdge(0));
    EXPECT_EQ(m.cornersNow(), m.cornersOf({{v0, v4, v2}, {v4, v1, v2}, {v0, v4, v3}, {v4, v1, v3}}));
    EXPECT_TRUE(m.edgesOfDegree(-1).empty());
}

TEST(Top, integrateCCDKillsAFlapWhoseTipDoesNotFit) {
    TopMesh m(5);
    const Cell v0{0, 3, 0}, v1{4, 3, 0}, v2{2, 2, 0}, v3{2, 3, 1}, v4{2, 0, 0};
    m.tri(v0, v1, v2);
    m.tri(v1, v0, v3);
    CTriangle* pFlap = m.tri(v0, v1, v4);  // beyond 2: (2 0 4) would turn over
    m.top.integrateCCD(pFlap->getCEdge(0));
    EXPECT_EQ(m.cornersNow(), m.cornersOf({{v0, v1, v2}, {v0, v1, v3}}));
}

// A closed box has a lower border ratio the fewer triangles are missing: pieces
// with few border edges survive by size only.
TEST(Top, fringesGoBySizeAndBorder) {
    for (const int num : {6, 24, 25, 40, 41}) {
        TopMesh m(22);
        m.band(num, 0, 0);
        m.top.killTinyBorderPatches(40);
        EXPECT_EQ(m.triangles().empty(), num <= 40) << num;  // a band has more border than triangles
    }
    // A box without two triangles beside each other: four border edges.
    struct Case {
        Cell hi;
        int limit;
        bool bKilled;
    };
    for (const Case& c : {Case{{2, 1, 1}, 40, true},   // 18 triangles: at most 24
                          Case{{2, 2, 1}, 40, false},  // 30, ratio 0.13
                          Case{{2, 2, 1}, 29, false}}) {
        TopMesh m(4);
        m.box({0, 0, 0}, c.hi);
        m.triangles()[0]->kill(m.pMesh.get());
        m.triangles()[0]->kill(m.pMesh.get());
        m.top.killTinyBorderPatches(c.limit);
        EXPECT_EQ(m.triangles().empty(), c.bKilled) << c.hi[0] << c.hi[1];
    }
}

namespace {

// Two walls of num triangles over one rim of a cone-like fan: each a fan around a
// tip of its own, with one triangle fewer or more.
struct Twins : TopMesh {
    explicit Twins(int num) : TopMesh(8) {
        std::vector<Cell> rim;
        for (int i = 0; i < 7; ++i) rim.push_back({i, 0, 0});
        for (int i = 0; i < 7; ++i) rim.push_back({7, i, 0});
        for (int i = 7; i > 0; --i) rim.push_back({i, 7, 0});
        for (int i = 7; i > 0; --i) rim.push_back({0, i, 0});
        rim.resize(static_cast<std::size_t>(num));
        for (const Cell& tip : {Cell{3, 3, 1}, Cell{3, 3, 2}, Cell{3, 3, 3}})
            for (std::size_t i = 0; i < rim.size(); ++i) tri(rim[i], rim[(i + 1) % rim.size()], tip);
    }
    // Of three equal walls the second goes, or none; the third waits for the next pass.
    bool losesTheSecond() {
        const Triangles before = triangles();
        const std::size_t num = before.size() / 3;
        const bool bKilled = top.processPatches(true);
        for (std::size_t i = 0; i < before.size(); ++i)
            EXPECT_EQ(before[i]->isAlive(), !bKilled || i / num != 1) << num << " " << i;
        return bKilled;
    }
};

// A double pyramid over a ring, with a flap on one edge of the ring, scaled until
// its volume over half its area is thickness (in cells).
struct Bipyramid : TopMesh {
    std::size_t size;

    Bipyramid(int numRing, double thickness) : TopMesh(5), size(2 * static_cast<std::size_t>(numRing)) {
        const auto vertex = [](int i) { return Cell{i / 25, (i / 5) % 5, i % 5}; };
        const auto place = [&](double scale) {
            const double step = 2.0 * std::acos(-1.0) / numRing;
            for (int i = 0; i < numRing; ++i)
                at(vertex(i)) = {scale * std::cos(i * step), scale * std::sin(i * step), 0.0};
            at(vertex(numRing)) = {0.0, 0.0, 0.7 * scale};
            at(vertex(numRing + 1)) = {0.0, 0.0, -0.6 * scale};
        };
        for (int i = 0; i < numRing; ++i) {
            tri(vertex(i), vertex((i + 1) % numRing), vertex(numRing));
            tri(vertex((i + 1) % numRing), vertex(i), vertex(numRing + 1));
        }
        place(1.0);
        const CPatch* pBody = patches()[0];
        place(thickness / (std::abs(pBody->getVolume()) / (0.5 * pBody->getArea())));
        tri(vertex(0), vertex(1), {4, 4, 4});
    }
    bool isThin() {
        const bool bKilled = top.processPatches(false);
        EXPECT_EQ(triangles().size(), bKilled ? size / 2 + 1 : size + 1);
        return bKilled;
    }
};

}  // namespace

TEST(Top, twinWallsGoUpTo20TrianglesOrATenthOfTheArea) {
    EXPECT_TRUE(Twins(20).losesTheSecond());
    EXPECT_FALSE(Twins(21).losesTheSecond());
    Twins twins(21);  // with a large sheet beside, so that the walls are little of the whole
    twins.at({0, 0, 5}) = Point3(0, 0, 50);
    twins.at({7, 0, 5}) = Point3(500, 0, 50);
    twins.at({0, 7, 5}) = Point3(0, 500, 50);
    twins.tri({0, 0, 5}, {7, 0, 5}, {0, 7, 5});
    EXPECT_TRUE(twins.losesTheSecond());
}

// A closed body has an even number of triangles: below 20, 50 and 150.
TEST(Top, sizeAndThicknessOfAClosedBodyDecideWhetherItIsThin) {
    EXPECT_TRUE(Bipyramid(9, 3.0).isThin());
    EXPECT_FALSE(Bipyramid(10, 3.0).isThin());
    EXPECT_TRUE(Bipyramid(25, 0.9).isThin());
    EXPECT_FALSE(Bipyramid(25, 1.0001).isThin());
    EXPECT_TRUE(Bipyramid(49, 0.41).isThin());
    EXPECT_FALSE(Bipyramid(50, 0.41).isThin());
    EXPECT_TRUE(Bipyramid(75, 0.39).isThin());
    EXPECT_FALSE(Bipyramid(75, 0.4001).isThin());
    EXPECT_TRUE(Bipyramid(75, 0.0).isThin());  // without area
}

TEST(Top, closedBodiesOfUpToSixTrianglesAreNoise) {
    TopMesh m(6);
    m.tri(a, q, p);
    m.tri(a, p, {0, 0, 1});
    m.tri(p, q, {0, 0, 1});
    m.tri(q, a, {0, 0, 1});
    m.box({2, 2, 2}, {4, 4, 4});
    EXPECT_FALSE(m.top.processPatches(false));
    EXPECT_EQ(m.triangles().size(), 48u);
    EXPECT_FALSE(m.top.processPatches(false));
    EXPECT_EQ(m.triangles().size(), 48u);
}

//         7
//      3 --- 2      A blister from above: a tent with its top at 4, over a floor of two
//      | \ / |      triangles, (0 1 2) and (0 2 3), or over a tent upside down with its
//   8  |  4  |  6   tip at 9. Of the surface around, (0 1 5), (1 2 6), (2 3 7) and
//      | / \ |      (3 0 8), one triangle to three leave it a closed body with a free
//      0 --- 1      rim, all four make its sheets twins. It loses the floor, the smaller,
//         5         and of two tents the one made later.
TEST(Top, aBlisterLosesItsFloor) {
    const Cell v0{1, 1, 2}, v1{3, 1, 2}, v2{3, 3, 2}, v3{1, 3, 2}, v4{2, 2, 3}, v9{2, 2, 1};
    const Shape floor{{v0, v1, v2}, {v0, v2, v3}}, tent{{v0, v1, v4}, {v1, v2, v4}, {v2, v3, v4}, {v3, v0, v4}};
    const Shape below{{v0, v1, v9}, {v1, v2, v9}, {v2, v3, v9}, {v3, v0, v9}};
    const Shape all{{v0, v1, {2, 0, 2}}, {v1, v2, {4, 2, 2}}, {v2, v3, {2, 4, 2}}, {v3, v0, {0, 2, 2}}};
    for (int numAround = 1; numAround <= 4; ++numAround) {
        const Shape around(all.begin(), all.begin() + numAround);
        for (const auto& [stays, goes] : {std::pair(tent, floor), std::pair(below, tent)}) {
            TopMesh m(5);
            m.add(join({stays, goes, around}));
            EXPECT_TRUE(m.top.processPatches(true));
            EXPECT_EQ(m.cornersNow(), m.cornersOf(join({stays, around}))) << numAround;
        }
    }
}

TEST(Top, orientationTakesEachTriangleOnce) {
    TopMesh m(6);
    m.box({0, 0, 0}, {3, 3, 3});
    std::vector<CTriangle*> vT = m.triangles();
    for (std::size_t i = 0; i < vT.size(); i += 3) vT[i]->flip();
    std::vector<CPatch*> vPatches;
    m.top.createPatchesOrient(vT, vPatches);
    ASSERT_EQ(vPatches.size(), 1u);
    EXPECT_EQ(vPatches[0]->getSize(), vT.size());
    for (const CEdge* pCE : m.edgesOfDegree(2)) EXPECT_FALSE(pCE->triangles()[0]->needFlip(pCE->triangles()[1]));
    EXPECT_TRUE(failsWith("vPatches.empty()", [&] { m.top.createPatchesOrient(vT, vPatches); }));
    delete vPatches[0];
}

namespace {

//   0 ------- 1    The edge (0,1) of a tetrahedron 0 1 2 3 (not drawn), with parts of a
//   | \  T  / |    curtain that hangs down from it. T is larger than the triangles of the
//   | N \ / M |    tetrahedron. A second one, 4 5 9 10, stands on (4,5) in some cases.
//   5 --- 4 --- 6
//    \ n / \ m /
//      7     8
struct Curtain : TopMesh {
    const Cell v0{1, 2, 4}, v1{3, 2, 4}, v2{2, 4, 4}, v3{2, 4, 3}, v4{2, 2, 1}, v5{0, 2, 1}, v9{0, 4, 0}, v10{0, 4, 1};
    const Shape T{{v0, v1, v4}}, N{{v0, v4, v5}}, M{{v1, v4, {4, 2, 1}}};
    const Shape n{{v4, v5, {1, 2, 0}}}, m{{v4, {4, 2, 1}, {3, 2, 0}}};
    const Shape body{{v0, v1, v2}, {v0, v1, v3}, {v0, v2, v3}, {v1, v2, v3}};
    const Shape body2{{v4, v5, v9}, {v4, v5, v10}, {v4, v9, v10}, {v5, v9, v10}};

    Curtain() : TopMesh(5) {}
    void hang(const Shape& curtain) {
        pMesh->clear();
        add(join({body, curtain}));
    }
    // What is left beside the first tetrahedron.
    void expect(const Shape& left) const { EXPECT_EQ(cornersNow(), cornersOf(join({body, left}))); }
    void expectLeft(const std::vector<Shape>& vBefore, const std::vector<Shape>& vLeft) {
        hang(join(vBefore));
        top.removeEvilDeg3();
        expect(join(vLeft));
    }
};

}  // namespace

TEST(Top, anEvilEdgeLosesTheCurtainAndWhatDangles) {
    Curtain c;
    c.expectLeft({c.T}, {});                         // T is loose
    c.expectLeft({c.T, c.N}, {c.N});                 // and here with a border on one side
    c.expectLeft({c.T, c.N, c.M}, {});               // N and M dangle
    c.expectLeft({c.T, c.N, c.M, c.m}, {c.M, c.m});  // one solid neighbour does not hold T
    // Two do: it comes undone from the borders (0,5) and (1,6) on.
    c.expectLeft({c.T, c.N, c.M, c.n, c.m}, {c.n, c.m});
    // With N gone, (4,5) is an edge of three with a border at 5, and loses n.
    c.expectLeft({c.T, c.N, c.M, c.n, c.m, c.body2}, {c.m, c.body2});
}

TEST(Top, equalVerticesComeApartAndLoseTheirColour) {
    TopMesh m(3);
    for (const Cell& c : {a, b, p}) {
        m.at(c) = Point3(1.5, 1.5, 1.5, 1, 2, 3, 4);
    }
    m.top.separateEqualVertices();
    std::set<std::array<double, 3>> sPositions;
    int numColoured = 0;
    for (const Point3& v : m.vPoints) {
        sPositions.insert({v.px, v.py, v.pz});
        numColoured += v.hasColor();
    }
    EXPECT_EQ(sPositions.size(), m.vPoints.size());
    EXPECT_EQ(numColoured, 1);
    for (const Cell& c : {a, b, p}) {  // up every axis, by little
        const Vector3 move = m.at(c) - Point3(1.5, 1.5, 1.5);
        EXPECT_TRUE(move.vx >= 0.0 && move.vy >= 0.0 && move.vz >= 0.0);
        EXPECT_LT(move.length(), 0.04);
    }
}
