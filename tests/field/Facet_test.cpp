#include "field/Facet.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <random>
#include <set>
#include <vector>

#include "field/FacetIndex.h"
#include "support/voxels.h"

namespace {

using namespace QUOR_ZEF;
using namespace zef_test;

// The steps to the cell across each face.
constexpr uint64 across[numDirs] = {0 - stepX_RCD, stepX_RCD, 0 - stepY_RCD, stepY_RCD, 0 - stepZ_RCD, stepZ_RCD};

std::vector<Facet> facetsOf(const std::vector<uint64>& vCells) {
    const std::set<uint64> sCells(vCells.begin(), vCells.end());
    std::vector<Facet> v;
    for (const uint64 rcd : vCells) {
        for (int dir = 0; dir < numDirs; ++dir) {
            if (!sCells.count(rcd + across[dir])) v.push_back({rcd, dir, -1, FACET_STATE_AREA});
        }
    }
    return v;
}

std::pair<uint64, uint64> edgeOf(const Facet& f, std::size_t edge) {
    const auto corners = f.getCorners();
    return std::minmax({corners[edge], corners[(edge + 1) % 4]});
}

std::vector<uint64> randomSet(std::mt19937& random) {
    return randomCells(random, 20, 6, std::uniform_real_distribution<>(0.05, 0.9)(random));
}

TEST(Facet, cornersSpanTheFaceThatLooksThatWay) {
    const uint64 rcd = packRCD(7, 8, 9);
    for (int dir = 0; dir < numDirs; ++dir) {
        // Those corners of the cell that the cell across has too.
        std::vector<uint64> vOwn, vAcross, vShared, vCorners;
        const Calc calc = unitGrid();
        calc.getCorners_RCD({rcd}, vOwn, true);
        calc.getCorners_RCD({rcd + across[dir]}, vAcross, true);
        std::set_intersection(vOwn.begin(), vOwn.end(), vAcross.begin(), vAcross.end(), std::back_inserter(vShared));
        Facet{rcd, dir, -1, 1}.getCorners(vCorners);
        // Around the face: the two pairs of opposite corners have the same sum.
        ASSERT_EQ(vCorners.size(), 4u);
        EXPECT_EQ(vCorners[0] + vCorners[2], vCorners[1] + vCorners[3]);
        std::sort(vCorners.begin(), vCorners.end());
        EXPECT_EQ(vCorners, vShared);
    }
}

TEST(Facet, everyStepCrossesItsEdgeAndOneEdgeLeadsBack) {
    std::mt19937 random(1);
    for (int round = 0; round < 300; ++round) {
        const std::vector<uint64> vCells = randomSet(random);
        std::vector<Facet> vFacets = facetsOf(vCells);
        for (const Facet& f : vFacets) {
            for (int edge = 0; edge < 4; ++edge) {
                const Facet* const pNeig = f.fetchNeigPtr(vCells, vFacets, edge);
                int numBack = 0;
                for (int back = 0; back < 4; ++back) {
                    if (!(*pNeig->fetchNeigPtr(vCells, vFacets, back) == f)) continue;
                    ASSERT_EQ(edgeOf(*pNeig, static_cast<std::size_t>(back)),
                              edgeOf(f, static_cast<std::size_t>(edge)));
                    ++numBack;
                }
                ASSERT_EQ(numBack, 1);
            }
        }
    }
}

TEST(Facet, walksKeepToOneCellCrossAnEdgeButNotACorner) {
    const auto reached = [](const std::vector<uint64>& vCells) {
        std::vector<Facet> vFacets = facetsOf(vCells);
        std::vector<Facet*> vWork{&vFacets[0]};
        std::set<Facet*> sSeen{&vFacets[0]};
        while (!vWork.empty()) {
            const Facet* const pFacet = vWork.back();
            vWork.pop_back();
            for (int edge = 0; edge < 4; ++edge) {
                Facet* const pNeig = pFacet->fetchNeigPtr(vCells, vFacets, edge);
                if (sSeen.insert(pNeig).second) vWork.push_back(pNeig);
            }
        }
        return sSeen.size();
    };
    EXPECT_EQ(reached({packRCD(5, 5, 5)}), 6u);
    EXPECT_EQ(reached({packRCD(5, 5, 5), packRCD(6, 6, 5)}), 12u);
    EXPECT_EQ(reached({packRCD(5, 5, 5), packRCD(6, 6, 6)}), 6u);
}

TEST(FacetIndex, numbersAndNeighboursEqualTheSearches) {
    std::mt19937 random(2);
    for (int round = 0; round < 60; ++round) {
        const std::vector<uint64> vCells = randomSet(random);
        std::vector<Facet> vFacets = facetsOf(vCells);
        const FacetIndex index(vCells);
        ASSERT_EQ(index.numFacets(), vFacets.size());
        const auto vNeighbours = index.getNeighbours(vCells);
        for (std::uint32_t i = 0; i < vFacets.size(); ++i) {
            ASSERT_EQ(index.find(vFacets[i].rcd, vFacets[i].dir), i);
            for (int edge = 0; edge < 4; ++edge) {
                const auto expected = vFacets[i].fetchNeigPtr(vCells, vFacets, edge) - vFacets.data();
                ASSERT_EQ(vNeighbours[i][static_cast<std::size_t>(edge)], expected);
                ASSERT_EQ(index.neighbour(vFacets[i], edge), expected);
            }
            const uint64 hidden = vFacets[i].rcd + across[vFacets[i].dir];
            ASSERT_EQ(index.find(hidden, vFacets[i].dir), FacetIndex::npos);
        }
    }
}

}  // namespace
