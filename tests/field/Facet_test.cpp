#include "field/Facet.h"

#include <gtest/gtest.h>

#include <iterator>

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

TEST(Facet, cornersSpanTheFaceThatLooksThatWay) {
    const uint64 rcd = packRCD(7, 8, 9);
    for (int dir = 0; dir < numDirs; ++dir) {
        // Those corners of the cell that the cell across has too.
        std::vector<uint64> vOwn, vAcross, vShared, vCorners;
        unitGrid().getCorners_RCD({rcd}, vOwn, true);
        unitGrid().getCorners_RCD({rcd + across[dir]}, vAcross, true);
        std::set_intersection(vOwn.begin(), vOwn.end(), vAcross.begin(), vAcross.end(), std::back_inserter(vShared));
        Facet{rcd, dir, -1, 1}.getCorners(vCorners);
        // Around the face: the two pairs of opposite corners have the same sum.
        ASSERT_EQ(vCorners.size(), 4u);
        EXPECT_EQ(vCorners[0] + vCorners[2], vCorners[1] + vCorners[3]);
        std::sort(vCorners.begin(), vCorners.end());
        EXPECT_EQ(vCorners, vShared);
    }
}

TEST(Facet, everyStepCrossesItsEdgeAndIsTheRecordedOne) {
    Digests vFound;
    for (unsigned k = 0; k < 12; ++k) {
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
            ASSERT_EQ(index.find(f.rcd, f.dir), i);
            ASSERT_EQ(index.find(f.rcd + across[f.dir], f.dir), FacetIndex::npos);
            for (int edge = 0; edge < 4; ++edge) {
                const Facet* const pNeig = f.fetchNeigPtr(vCells, vFacets, edge);
                ASSERT_EQ(vNeighbours[i][static_cast<std::size_t>(edge)], pNeig - vFacets.data());
                ASSERT_EQ(index.neighbour(f, edge), pNeig - vFacets.data());
                const auto own = edgeOf(f, static_cast<std::size_t>(edge));
                ASSERT_TRUE(own == edgeOf(*pNeig, 0) || own == edgeOf(*pNeig, 1) || own == edgeOf(*pNeig, 2) ||
                            own == edgeOf(*pNeig, 3));
            }
        }
        vFound.push_back(digestOf(vNeighbours));
    }
    EXPECT_EQ(vFound, (Digests{2646588884, 1481075843, 880525704, 774055857, 3122366434, 1755145273, 3105981231,
                               3900043741, 201280581, 1097644524, 3325274461, 3805704254}));
}
