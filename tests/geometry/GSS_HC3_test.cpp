#include "geometry/GSS_HC3.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "frame/Rand15.h"
#include "support/capture.h"
#include "support/digest.h"

using namespace QUOR_ZEF;

namespace {

constexpr double inf = std::numeric_limits<double>::infinity(), most = std::numeric_limits<double>::max();
const double notANumber = std::nan("");
using Numbers = std::vector<std::uint32_t>;

struct Search {
    std::vector<Point3> vPoints;
    GSS_HC3 search;

    explicit Search(std::vector<Point3> vInput) : vPoints(std::move(vInput)) {
        for (Point3& p : vPoints) search.add(&p, p.px, p.py, p.pz);
        search.build();
    }

    // The numbers of the hits after a check that both forms and a plain scan agree.
    Numbers hits(const Point3& c, double radius) const {
        Numbers vHits{99}, vScan;  // hits are appended
        search.query(c.px, c.py, c.pz, radius, vHits);
        EXPECT_EQ(vHits.front(), 99u);
        vHits.erase(vHits.begin());
        std::vector<GSS_HC3::Item*> vItems;
        search.query(c.px, c.py, c.pz, radius, vItems);
        EXPECT_EQ(vItems.size(), vHits.size());
        for (std::size_t i = 0; i < std::min(vItems.size(), vHits.size()); ++i) {
            const Point3& p = vPoints[vHits[i]];
            EXPECT_TRUE(vItems[i]->pObject == &p && Point3(vItems[i]->x, vItems[i]->y, vItems[i]->z) == p);
        }
        for (std::uint32_t i = 0; i < vPoints.size(); ++i) {
            const double dx = vPoints[i].px - c.px, dy = vPoints[i].py - c.py, dz = vPoints[i].pz - c.pz;
            const bool bFinite =
                std::isfinite(vPoints[i].px) && std::isfinite(vPoints[i].py) && std::isfinite(vPoints[i].pz);
            if (bFinite && radius >= 0 && radius * radius >= dx * dx + dy * dy + dz * dz) vScan.push_back(i);
        }
        Numbers vSorted = vHits;
        std::sort(vSorted.begin(), vSorted.end());
        EXPECT_EQ(vSorted, vScan);
        return vHits;
    }
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
    for (int i = 0; i < side * side * side; ++i)
        vPoints.emplace_back(i / side / side * step, i / side % side * step, i % side * step);
    return vPoints;
}

}  // namespace

TEST(GSS_HC3, findsWhatAPlainScanFindsInTheRecordedOrder) {
    zef_test::Digest digest;
    for (const int numPoints : {0, 1, 2, 7, 8, 9, 63, 64, 65, 513, 3000}) {
        const Search search(randomPoints(static_cast<std::uint32_t>(numPoints), numPoints, {1, 2, 0.3}));
        for (const Point3& c : randomPoints(77, 20, {1.2, 2.2, 0.5})) {
            for (const double radius : {0.0, 0.03, 0.2, 1.0, 3.0}) digest.add(search.hits(c, radius));
        }
    }
    // Steps that no double holds exactly: many distances round to just about the radius.
    for (const double step : {1.0, 0.1, 1.0 / 3.0}) {
        const Search search(lattice(9, step));
        for (const Point3& c : lattice(5, 2 * step)) {
            for (const double cells : {1.0, 2.0, std::sqrt(2.0), std::sqrt(3.0), 5.0})
                digest.add(search.hits(c, cells * step));
        }
    }
    // Flat and tiny boxes, and items that coincide.
    for (const Vector3& size : {Vector3(1, 1, 0), Vector3(0, 0, 1), Vector3(1e-320, 1, 1), Vector3(0, 1e-200, 0)}) {
        const Search search(randomPoints(5, 300, size));
        for (const double radius : {0.0, 0.1, 1e-200}) digest.add(search.hits(search.vPoints[17], radius));
    }
    EXPECT_EQ(Search(std::vector<Point3>(1000, Point3(1e9, -2, 3))).hits(Point3(1e9, -2, 3), 0.0)[999], 999u);
    EXPECT_EQ(digest.get(), 1329844109u);
}

TEST(GSS_HC3, hugeBoxesLoseNothingAndWhatIsNoNumberIsNeverFound) {
    const Search huge({{most, most, -most}, {-most, 0, most}, {0, 0, 0}, {1, 0, 0}});
    EXPECT_EQ(huge.hits(Point3(), 2.0), (Numbers{2, 3}));
    EXPECT_EQ(huge.hits(Point3(), inf).size(), 4u);
    const Search search({{notANumber, 0, 0}, {0, 0, 0}, {0, inf, 0}, {0, 0, -inf}});
    EXPECT_EQ(search.hits(Point3(), inf), Numbers{1});
    for (const double radius : {notANumber, -1.0}) EXPECT_TRUE(search.hits(Point3(), radius).empty());
    EXPECT_TRUE(search.hits(Point3(notANumber, 0, 0), 10.0).empty());
    GSS_HC3 unbuilt;
    std::vector<std::uint32_t> vOut;
    EXPECT_TRUE(zef_test::failsWith("bBuilt", [&] { unbuilt.query(0, 0, 0, 1, vOut); }));
    unbuilt.build();
    EXPECT_TRUE(zef_test::failsWith("!bBuilt", [&] { unbuilt.build(); }));
    EXPECT_TRUE(zef_test::failsWith("!bBuilt", [&] { unbuilt.add(nullptr, 0, 0, 0); }));
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
