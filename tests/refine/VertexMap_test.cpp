#include "refine/VertexMap.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "frame/Rand15.h"

using namespace QUOR_ZEF;

namespace {

Point3 drawPoint(Rand15& rand) {
    const double x = rand.next() % 4, y = rand.next() % 4;
    return {x, y, double(rand.next() % 4)};
}

bool someoneStandsAt(const std::vector<Point3>& vPoints, const std::vector<bool>& vStands, const Point3& p) {
    for (std::size_t i = 0; i < vPoints.size(); ++i)
        if (vStands[i] && vPoints[i] == p) return true;
    return false;
}

}  // namespace

TEST(VertexMap, agreesWithAListThroughManyMoves) {
    Rand15 rand;
    std::vector<Point3> vPoints;
    for (int i = 0; i < 20; ++i) vPoints.push_back(drawPoint(rand));  // some share a position
    std::vector<bool> vStands(vPoints.size(), true);
    VertexMap map;
    EXPECT_FALSE(map.isBuilt());
    map.build(vPoints);
    for (int i = 0; i < 20000; ++i) {
        const std::size_t vertex = std::size_t(rand.next()) % vPoints.size();
        const Point3 p = drawPoint(rand) + Vector3(0, 0, i % 7 == 0 ? i : 0);  // new places all the time
        ASSERT_EQ(map.isTaken(p), someoneStandsAt(vPoints, vStands, p));
        ASSERT_EQ(map.erase(std::uint32_t(vertex)), vStands[vertex]);
        vStands[vertex] = false;
        const bool bFree = !someoneStandsAt(vPoints, vStands, p);
        ASSERT_EQ(map.insert(std::uint32_t(vertex), p), bFree);
        vStands[vertex] = bFree;
        if (bFree) vPoints[vertex] = p;
    }
}

TEST(VertexMap, comparesPositionsByValue) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    VertexMap map;
    map.build({Point3(0.0, -0.0, 1.0), Point3(nan, 0.0, 0.0)});
    EXPECT_TRUE(map.isTaken(Point3(-0.0, 0.0, 1.0)));
    EXPECT_TRUE(map.isTaken(Point3(-nan, 0.0, -0.0)));
    EXPECT_FALSE(map.isTaken(Point3(0.0, 1.0, 0.0)));
    // Many positions that are no number must not become one long chain.
    map.build(std::vector<Point3>(200000, Point3(nan, nan, nan)));
    EXPECT_FALSE(map.isTaken(Point3()));
    map.clear();
    EXPECT_FALSE(map.isBuilt());
}
