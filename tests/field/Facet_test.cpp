#include "field/Facet.h"

#include <gtest/gtest.h>

#include "field/FacetIndex.h"
#include "support/digest.h"
#include "support/drawnCells.h"

using namespace QUOR_ZEF;
using namespace zef_test;

namespace {

// The steps to the cell across each face.
constexpr uint64 across[numDirs] = {0 - stepX_RCD, stepX_RCD, 0 - stepY_RCD, stepY_RCD, 0 - stepZ_RCD, stepZ_RCD};

std::pair<uint64, uint64> edgeOf(const Facet& f, std::size_t edge) {
    const auto corners = f.getCorners();
    return std::minmax({corners[edge], corners[(edge + 1) % 4]});
}

}  // namespace

TEST(Facet, everyStepCrossesItsEdgeAndIsTheRecordedOne) {
    const Digests vRecorded = {123383845, 2925264502, 4021478899, 2304828122, 697191041,  2544949156,
                               197420224, 108800859,  2112760782, 2819665969, 1380606949, 2159563351};
    expectRecorded(vRecorded, [&](unsigned k, Digest& digest) {
        const std::vector<uint64> vCells = drawnCells(k);
        std::vector<Facet> vFacets;
        for (const uint64 rcd : vCells) {
            for (int dir = 0; dir < numDirs; ++dir) {
                if (!std::binary_search(vCells.begin(), vCells.end(), rcd + across[dir]))
                    vFacets.push_back({rcd, dir, -1, FACET_STATE_AREA});
            }
        }
        const FacetIndex index(vCells);
        ASSERT_EQ(index.numFacets(), vFacets.size());
        const auto vNeighbours = index.getNeighbours(vCells);
        for (std::uint32_t i = 0; i < vFacets.size(); ++i) {
            const Facet& f = vFacets[i];
            const std::uint32_t cell = index.cellOf(f.rcd);
            ASSERT_TRUE(index.isExposed(cell, f.dir));
            ASSERT_EQ(index.facetOf(cell, f.dir), i);
            for (int edge = 0; edge < 4; ++edge) {
                const Facet* const pNeig = f.fetchNeigPtr(vCells, vFacets, edge);
                ASSERT_EQ(vNeighbours[i][static_cast<std::size_t>(edge)], pNeig - vFacets.data());
                ASSERT_EQ(index.neighbour(f, edge), pNeig - vFacets.data());
                const auto own = edgeOf(f, static_cast<std::size_t>(edge));
                ASSERT_TRUE(own == edgeOf(*pNeig, 0) || own == edgeOf(*pNeig, 1) || own == edgeOf(*pNeig, 2) ||
                            own == edgeOf(*pNeig, 3));
            }
        }
        for (const Facet& f : vFacets) digest.add(f.getCorners());
        digest.add(vNeighbours);
    });
}
