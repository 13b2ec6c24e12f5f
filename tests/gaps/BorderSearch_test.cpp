#include "gaps/BorderSearch.h"

#include <gtest/gtest.h>

#include <cmath>
#include <set>

#include "support/drawnCells.h"

using namespace QUOR_ZEF;
using zef_test::Draws;

TEST(BorderSearch, findsWhatAPlainScanFinds) {
    std::size_t numFound = 0;
    for (unsigned k = 0; k < 24; ++k) {
        Draws draws(k);
        std::vector<BorderSearch::Cell> vCells;
        std::set<uint64> sCodes;
        const unsigned side = k % 2 ? 20 : 200, numComponents = 1 + draws.below(12);
        for (unsigned i = 0; i < 20 * k; ++i) {
            const uint64 x = 100 + draws.below(side), y = 100 + draws.below(side), z = 100 + draws.below(side / 4);
            // Components lie mostly apart, so that some boxes hold cells of one only.
            const unsigned component = draws.below(8) ? static_cast<unsigned>(x / 8) % numComponents : 0;
            const uint64 rcd = packRCD(x, y, z);
            if (sCodes.insert(rcd).second) vCells.push_back({rcd, component, component % 3 == 2});
        }
        const double smallReach = k % 3 ? 5.0 : 2.5;
        const BorderSearch search(vCells, smallReach);
        for (const BorderSearch::Cell& cell : vCells) {
            const int maxDist = 10 + 5 * static_cast<int>(k % 4);
            BorderSearch::Hit best;
            const GridCoords p = unpackRCD(cell.rcd);
            for (std::uint32_t i = 0; i < vCells.size(); ++i) {
                const GridCoords q = unpackRCD(vCells[i].rcd);
                const auto dx = std::int64_t(p.x - q.x), dy = std::int64_t(p.y - q.y), dz = std::int64_t(p.z - q.z);
                const std::int64_t dist2 = dx * dx + dy * dy + dz * dz;
                if (vCells[i].component == cell.component || dist2 > maxDist * maxDist) continue;
                if (vCells[i].bSmall && std::sqrt(double(dist2)) >= smallReach) continue;
                const bool bBetter = best.index == BorderSearch::npos || dist2 < best.dist2 ||
                                     (dist2 == best.dist2 && vCells[i].rcd > vCells[best.index].rcd);
                if (bBetter) best = {i, dist2};
            }
            const BorderSearch::Hit hit = search.nearestOfOther(cell, maxDist);
            ASSERT_EQ(hit.index, best.index);
            numFound += hit.index != BorderSearch::npos;
            ASSERT_TRUE(hit.index == BorderSearch::npos || hit.dist2 == best.dist2);
        }
    }
    EXPECT_GT(numFound, 1000u);
}
