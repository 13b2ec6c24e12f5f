#include "geometry/GSS_HC3.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <vector>

#include "frame/Rand15.h"

using namespace QUOR_ZEF;

namespace {

constexpr double inf = std::numeric_limits<double>::infinity();

class Search {
public:
    explicit Search(std::vector<Point3> vInput) : vPoints(std::move(vInput)) {
        for (Point3& p : vPoints) search.add(&p, p.px, p.py, p.pz);
        search.build();
    }

    // The numbers of the hits, ascending, after a check that both forms agree.
    std::vector<std::uint32_t> hits(const Point3& c, double radius) const {
        std::vector<std::uint32_t> vHits = {99};  // hits are appended
        search.query(c.px, c.py, c.pz, radius, vHits);
        EXPECT_EQ(vHits.front(), 99u);
        vHits.erase(vHits.begin());
        std::vector<GSS_HC3::Item*> vItems;
        search.query(c.px, c.py, c.pz, radius, vItems);
        EXPECT_EQ(vItems.size(), vHits.size());
        for (std::size_t i = 0; i < std::min(vItems.size(), vHits.size()); ++i) {
            const Point3& p = vPoints[vHits[i]];
            EXPECT_EQ(vItems[i]->pObject, &p);
            EXPECT_EQ(Point3(vItems[i]->x, vItems[i]->y, vItems[i]->z), p);
        }
        std::sort(vHits.begin(), vHits.end());
        return vHits;
    }

    std::vector<std::uint32_t> scan(const Point3& c, double radius) const {
        std::vector<std::uint32_t> vHits;
        for (std::uint32_t i = 0; i < vPoints.size(); ++i) {
            const double dx = vPoints[i].px - c.px, dy = vPoints[i].py - c.py, dz = vPoints[i].pz - c.pz;
            if (radius * radius >= dx * dx + dy * dy + dz * dz) vHits.push_back(i);
        }
        return vHits;
    }

    std::vector<Point3> vPoints;
    GSS_HC3 search;
};

std::vector<Point3> randomPoints(std::uint32_t seed, int numPoints, const Vector3& size) {
    Rand15 rand15(seed);
    std::vector<Point3> vPoints;
    for (int i = 0; i < numPoints; ++i) {
        const double x = rand15.next() / 32767.0, y = rand15.next() / 32767.0, z = rand15.next() / 32767.0;
        vPoints.emplace_back(x * size.vx, y * size.vy, z * size.vz);
    }
    return vPoints;
}

std::vector<Point3> lattice(int side, double step) {
    std::vector<Point3> vPoints;
    for (int x = 0; x < side; ++x)
        for (int y = 0; y < side; ++y)
            for (int z = 0; z < side; ++z) vPoints.emplace_back(x * step, y * step, z * step);
    return vPoints;
}

}  // namespace

TEST(GSS_HC3, findsWhatAPlainScanFinds) {
    for (const int numPoints : {1, 2, 7, 8, 9, 63, 64, 65, 513, 3000}) {
        const Search search(randomPoints(static_cast<std::uint32_t>(numPoints), numPoints, {1, 2, 0.3}));
        for (const Point3& c : randomPoints(77, 40, {1.2, 2.2, 0.5})) {
            for (const double radius : {0.0, 0.03, 0.2, 1.0, 3.0}) {
                EXPECT_EQ(search.hits(c, radius), search.scan(c, radius));
            }
        }
    }
}

// Steps that no double holds exactly: many distances round to just about the radius.
TEST(GSS_HC3, roundingAtTheRadiusIsThatOfAPlainScan) {
    for (const double step : {1.0, 0.1, 1.0 / 3.0}) {
        const Search search(lattice(9, step));
        std::size_t numHits = 0;
        for (const Point3& c : lattice(5, 2 * step)) {
            for (const double cells : {1.0, 2.0, 3.0, std::sqrt(2.0), std::sqrt(3.0), 5.0}) {
                const auto vHits = search.hits(c, cells * step);
                EXPECT_EQ(vHits, search.scan(c, cells * step));
                numHits += vHits.size();
            }
        }
        EXPECT_GT(numHits, 5000u);
    }
}

TEST(GSS_HC3, coincidentItemsAreAllFoundInTheOrderOfAdding) {
    const Search search(std::vector<Point3>(1000, Point3(1e9, -2, 3)));
    std::vector<std::uint32_t> vHits;
    search.search.query(1e9, -2, 3, 0.0, vHits);
    ASSERT_EQ(vHits.size(), 1000u);
    for (std::uint32_t i = 0; i < 1000; ++i) EXPECT_EQ(vHits[i], i);
    EXPECT_TRUE(search.hits(Point3(1e9, -2, 4), 0.5).empty());
}

TEST(GSS_HC3, flatTinyAndHugeBoxesLoseNothing) {
    for (const Vector3& size :
         {Vector3(1, 1, 0), Vector3(0, 0, 1), Vector3(1e-320, 1, 1), Vector3(1e-200, 1e-200, 0)}) {
        const Search search(randomPoints(5, 300, size));
        for (const double radius : {0.0, 0.1, 1e-200}) {
            const Point3& c = search.vPoints[17];
            EXPECT_EQ(search.hits(c, radius), search.scan(c, radius));
        }
    }
    const double most = std::numeric_limits<double>::max();
    const Search search({{most, most, -most}, {-most, 0, most}, {0, 0, 0}, {1, 0, 0}});
    EXPECT_EQ(search.hits(Point3(), 2.0), (std::vector<std::uint32_t>{2, 3}));
    EXPECT_EQ(search.hits(Point3(), inf), search.scan(Point3(), inf));
}

TEST(GSS_HC3, whatIsNoNumberIsNeverFound) {
    const double notANumber = std::numeric_limits<double>::quiet_NaN();
    const Search search({{notANumber, 0, 0}, {0, 0, 0}, {0, inf, 0}, {0, 0, -inf}});
    EXPECT_EQ(search.hits(Point3(), inf), (std::vector<std::uint32_t>{1}));
    for (const double radius : {notANumber, -1.0}) EXPECT_TRUE(search.hits(Point3(), radius).empty());
    EXPECT_TRUE(search.hits(Point3(notANumber, 0, 0), 10.0).empty());
    EXPECT_TRUE(Search({}).hits(Point3(), 1e300).empty());
}

TEST(GSS_HC3, hitsComeInHilbertOrder) {
    const Search search(randomPoints(9, 2000, {1, 1, 1}));
    std::vector<double> vLower(3, inf), vUpper(3, -inf);
    for (const Point3& p : search.vPoints) {
        const double xyz[3] = {p.px, p.py, p.pz};
        for (std::size_t i = 0; i < 3; ++i) {
            vLower[i] = std::min(vLower[i], xyz[i]);
            vUpper[i] = std::max(vUpper[i], xyz[i]);
        }
    }
    const HilbertIndex index({vLower[0], vLower[1], vLower[2]}, {vUpper[0], vUpper[1], vUpper[2]}, 27);
    std::vector<std::uint32_t> vHits;
    search.search.query(0.5, 0.5, 0.5, 0.7, vHits);
    std::vector<std::pair<std::uint32_t, std::uint32_t>> vKeys;
    for (const std::uint32_t number : vHits) {
        const Point3& p = search.vPoints[number];
        vKeys.emplace_back(index(p.px, p.py, p.pz), number);
    }
    EXPECT_GT(vKeys.size(), 1000u);
    EXPECT_TRUE(std::is_sorted(vKeys.begin(), vKeys.end()));
}

// Every cell once, and each step of the curve to a face neighbour.
TEST(HilbertIndex, walksTheBoxCellByCell) {
    const HilbertIndex index({0, -8, 100}, {16, 8, 1700}, 12);
    std::vector<int> vCell(16 * 16 * 16, -1);
    for (int cell = 0; cell < 16 * 16 * 16; ++cell) {
        const int x = cell / 256, y = cell / 16 % 16, z = cell % 16;
        const std::uint32_t place = index(x + 0.5, y - 7.5, 150.0 + 100.0 * z);
        ASSERT_LT(place, vCell.size());
        EXPECT_EQ(vCell[place], -1);
        vCell[place] = cell;
    }
    for (std::size_t i = 1; i < vCell.size(); ++i) {
        const int a = vCell[i - 1], b = vCell[i];
        EXPECT_EQ(std::abs(a / 256 - b / 256) + std::abs(a / 16 % 16 - b / 16 % 16) + std::abs(a % 16 - b % 16), 1);
    }
    EXPECT_EQ(index(16, 8, 1700), index(15.9, 7.9, 1699)) << "the upper edge belongs to the last cell";
}
