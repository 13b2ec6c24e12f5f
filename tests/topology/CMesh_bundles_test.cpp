#include <gtest/gtest.h>

#include <limits>

#include "support/capture.h"
#include "topology/TestMesh.h"

using namespace zef_test;

namespace {

constexpr double centre = std::numeric_limits<double>::max();
const Cell extra{5, 5, 5};  // outside the box of cells with a sample

// A fan of six triangles round the extra cell; its ring lies in sampled cells.
void makeFan(TestMesh& m, const std::vector<Cell>& vRing) {
    for (std::size_t i = 0; i < vRing.size(); ++i) m.tri(extra, vRing[i], vRing[(i + 1) % vRing.size()]);
}
const std::vector<Cell> ring = {{4, 4, 4}, {4, 3, 4}, {4, 3, 3}, {3, 3, 3}, {3, 4, 3}, {3, 4, 4}};

void placeRing(TestMesh& m, double x, double y, double z) {
    const double offsets[6][2] = {{1, 0}, {0.5, 0.8}, {-0.5, 0.8}, {-1, 0}, {-0.5, -0.8}, {0.5, -0.8}};
    for (std::size_t i = 0; i < ring.size(); ++i) m.at(ring[i]) = {x + offsets[i][0], y + offsets[i][1], z};
}

}  // namespace

TEST(CMesh, anAddedVertexStandsInTheCentreUntilItHasNeighbours) {
    TestMesh m(5);
    m->addBundle(m.ccd(extra), centre, centre, centre);
    EXPECT_EQ(m.at(extra), Point3(5.5, 5.5, 5.5));
    EXPECT_EQ(m.cells.size(), 126u);
    m->addBundle(m.ccd(6, 5, 5), 6.25, 5.75, 5.5);
    EXPECT_EQ(m.at({6, 5, 5}), Point3(6.25, 5.75, 5.5));
    m.tri({7, 7, 7}, {7, 7, 8}, {7, 8, 8});  // neighbours without Bundles
    m->addBundle(m.ccd(7, 7, 7), 7.25, 7.5, 7.5);
    EXPECT_EQ(m.at({7, 7, 7}), Point3(7.25, 7.5, 7.5));
    // Outside its cell, and with only two coordinates telling "centre".
    failureText([&] { m->addBundle(m.ccd(9, 7, 7), 6.5, 7.5, 7.5); });
    failureText([&] { m->addBundle(m.ccd(9, 7, 7), centre, centre, 7.5); });
}

TEST(CMesh, anAddedVertexMovesToTheMiddleOfItsRingWithoutColour) {
    TestMesh m(5);
    makeFan(m, ring);
    placeRing(m, 5.6, 5.4, 5.5);
    m->addBundle(m.ccd(extra), centre, centre, centre);
    const Point3 first = m.at(extra);
    // 1.003 of the way from a ring point of distance 1, and jitter in x.
    EXPECT_NEAR((first - Point3(5.6, 5.4, 5.5)).length(), 0.003, 0.0005);
    m.at(extra).setColor(1, 2, 3, 4);
    m->averageAllBundles();
    EXPECT_FALSE(m.at(extra).hasColor());
    EXPECT_EQ(m.at(extra).y(), first.y());
    EXPECT_NE(m.at(extra).x(), first.x());
    EXPECT_NEAR(m.at(extra).x(), first.x(), 1e-5);

    placeRing(m, 7.0, 5.4, 5.5);  // the middle lies in another cell
    m->averageAllBundles();
    EXPECT_EQ(m.at(extra), Point3(5.5, 5.5, 5.5));
}

TEST(CMesh, collapsingTakesTheAddedCellOutOfTheMapAndKeepsTheFan) {
    TestMesh m(5);
    makeFan(m, ring);
    placeRing(m, 5.6, 5.4, 5.5);
    m->addBundle(m.ccd(extra), centre, centre, centre);
    m->addBundle(m.ccd(9, 9, 9), centre, centre, centre);  // without triangles it cannot collapse
    m->addBundle(m.ccd(8, 8, 8), centre, centre, centre);
    const double area = m->getTotalArea();
    m->collapseExtraBundles();
    EXPECT_EQ(m.cells.get(m.ccd(extra)), nullptr);
    EXPECT_NE(m.cells.get(m.ccd(8, 8, 8)), nullptr);
    EXPECT_EQ(m.cells.size(), 127u);
    EXPECT_TRUE(m->getFan(m.ccd(extra)).empty());
    EXPECT_EQ(m.triangles().size(), 4u);
    EXPECT_NEAR(m->getTotalArea(), area, 1e-4);
    // Onto the neighbour of the lowest code.
    EXPECT_EQ(m->getFan(m.ccd(3, 3, 3)).size(), 4u);
    m->averageAllBundles();
    m->clear();
    EXPECT_NE(m.cells.get(m.ccd(8, 8, 8)), nullptr);
}

// The draws go to the added vertices by code, also where a lower one has come later.
TEST(CMesh, addedVerticesMoveInTheOrderOfTheirCodes) {
    const Cell other{8, 8, 8};
    std::vector<Point3> vFirst;
    for (const bool bLowFirst : {true, false}) {
        TestMesh m(5);
        makeFan(m, ring);
        placeRing(m, 5.6, 5.4, 5.5);
        for (std::size_t i = 0; i < ring.size(); ++i) m.tri(other, ring[i], ring[(i + 1) % ring.size()]);
        for (const Cell& c : {bLowFirst ? extra : other, bLowFirst ? other : extra})
            m->addBundle(m.ccd(c), centre, centre, centre);
        m->averageAllBundles();
        if (bLowFirst)
            vFirst = {m.at(extra), m.at(other)};
        else
            EXPECT_EQ((std::vector<Point3>{m.at(extra), m.at(other)}), vFirst);
    }
}

// The ring vertices already have triangles on the far side of the ring edges, so
// moving the apex of a pyramid with a floor would lay its sides on the floor.
TEST(CMesh, aCollapseThatWouldDoubleATriangleIsRefused) {
    TestMesh m(5);
    const std::vector<Cell> vRing = {{4, 4, 4}, {4, 3, 4}, {3, 3, 4}};
    makeFan(m, vRing);
    m.tri(vRing[2], vRing[1], vRing[0]);
    for (const Cell& c : vRing) EXPECT_FALSE(m->canCollapse(m.ccd(extra), m.ccd(c)));
    m->addBundle(m.ccd(extra), centre, centre, centre);
    m->collapseExtraBundles();
    EXPECT_EQ(m.triangles().size(), 4u);
    EXPECT_NE(m.cells.get(m.ccd(extra)), nullptr);
}
