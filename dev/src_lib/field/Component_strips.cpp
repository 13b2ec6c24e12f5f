#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>

#include "field/Component.h"
#include "frame/tools.h"
#include "grid/codeSets.h"
#include "parallel/joinedChunks.h"
#include "parallel/parallelTransform.h"
#include "parallel/sortMT.h"
#include "store/CodeMap.h"

namespace QUOR_ZEF {

namespace {

constexpr int stripDepth = 5;  // steps across edges of facets
constexpr float borderWeight = 0.3F;
constexpr float noDistanceWeight = 0.5F;
constexpr float cleanWeight = 1.0F;
constexpr std::size_t minFacets = 1'000, minStripCorners = 2'000;

using CornerDistance = std::pair<uint64, float>;

// The corners of the listed facets, sorted, unique.
std::vector<uint64> cornersOf(const std::vector<Facet*>& vFacets) {
    std::vector<uint64> vRCC(4 * vFacets.size());
    parallelChunks(vFacets.size(), minFacets, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            const std::array<uint64, 4> aCorners = vFacets[i]->getCorners();
            std::copy(aCorners.begin(), aCorners.end(), vRCC.begin() + static_cast<std::ptrdiff_t>(4 * i));
        }
    });
    sortUniqueMT(vRCC);
    return vRCC;
}

void createCorners(CornerStore& store, const std::vector<uint64>& vRCC, CornerState state, float val, float weight) {
    const std::size_t numBefore = store.vCorners.size();
    store.createCorners(vRCC);
    parallelChunks(vRCC.size(), minStripCorners, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            Corner* const pCorner = store.vCorners[numBefore + i];
            pCorner->val = val;
            pCorner->weight = weight;
            pCorner->state = state;
        }
    });
}

void makeBorder(const CornerStore& store, const std::vector<uint64>& vRCC, CornerState state) {
    parallelChunks(vRCC.size(), minStripCorners, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            Corner* const pCorner = store.getCorner(vRCC[i]);
            ASSEX(pCorner!=0);
            pCorner->val = unassigned;
            pCorner->weight = borderWeight;
            pCorner->state = state;
        }
    });
}

void assignDistance(Corner* pCorner, float distance, double sign) {
    ASSEX(pCorner!=0);
    ASSEX(pCorner->val==3.402823466e+38F || pCorner->getState()==ST_DUAL_NO_EMITTER || pCorner->getState()==ST_LOWER_BORDER || pCorner->getState()==ST_UPPER_BORDER);
    switch (pCorner->getState()) {
        case ST_DUAL_NO_EMITTER:
            pCorner->val = 0.0F;
            return;
        case ST_LOWER_BORDER:
        case ST_UPPER_BORDER:
        case ST_CLEAN_LOWER:
        case ST_CLEAN_UPPER:
        case ST_NON_STRIP:
            // A sample on the corner still leaves it on its side.
            pCorner->val = static_cast<float>(sign) * (distance == 0.0F ? smallestVal : distance);
            return;
        default:
            showDetail("Bug, state=", static_cast<int>(pCorner->getState()));
            ASSEX(false);
    }
}

}  // namespace

// Seeds are facets in cells of vNonSideRCD; both lists ascend.
std::vector<std::uint32_t> Component::getStripSeeds(const std::vector<Facet*>& vFacets) const {
    std::vector<std::uint32_t> vSeeds;
    auto it = vNonSideRCD.begin();
    for (const Facet* pFacet : vFacets) {
        while (it != vNonSideRCD.end() && *it < pFacet->rcd) ++it;
        if (it == vNonSideRCD.end()) break;
        if (*it == pFacet->rcd) vSeeds.push_back(static_cast<std::uint32_t>(pFacet - vVisibleFacets.data()));
    }
    return vSeeds;
}

void Component::getBorderStrip(const std::vector<Facet*>& vFacets, std::vector<Facet*>& vOut, int depth) {
    std::vector<std::uint32_t> vStrip = getStripSeeds(vFacets);
    std::vector<bool> vReached(vVisibleFacets.size());
    for (const std::uint32_t seed : vStrip) vReached[seed] = true;
    for (int step = 0; step < depth; ++step) {
        std::vector<std::uint32_t> vNext;
        for (const std::vector<std::uint32_t>& vFound : findBeside(vStrip, vReached)) {
            for (const std::uint32_t neig : vFound) {
                if (!vReached[neig]) vNext.push_back(neig);
                vReached[neig] = true;
            }
        }
        vStrip.swap(vNext);
    }
    vOut.clear();
    for (std::size_t i = 0; i < vReached.size(); ++i) {
        if (vReached[i]) vOut.push_back(&vVisibleFacets[i]);
    }
}

// The facets of the same side across the edges of these that are not reached yet, in parts.
std::vector<std::vector<std::uint32_t>> Component::findBeside(const std::vector<std::uint32_t>& vFacets,
                                                              const std::vector<bool>& vReached) const {
    return parallelChunkResults<std::vector<std::uint32_t>>(
        vFacets.size(), minFacets, [&](std::size_t begin, std::size_t end) {
            std::vector<std::uint32_t> v;
            for (std::size_t i = begin; i < end; ++i) {
                const Facet& facet = vVisibleFacets[vFacets[i]];
                for (int edge = 0; edge < 4; ++edge) {
                    const std::uint32_t neig = facetIndex.neighbour(facet, edge);
                    if (!vReached[neig] && vVisibleFacets[neig].component == facet.component) v.push_back(neig);
                }
            }
            return v;
        });
}

// The facets that growth can reach from the strips, and more: all in blocks of cells beside those
// of the strips. Corners farther off keep their val of 0 and have no neighbour that changes.
std::vector<Facet*> Component::getFacetsInReach(std::initializer_list<const std::vector<Facet*>*> strips) {
    constexpr uint64 maxBlock = uint64{1} << 19;  // cells
    const uint64 side = std::bit_ceil(std::min(static_cast<uint64>(std::max(numGrowSteps, 0)) + 2, maxBlock));
    const uint64 inBlock = (side - 1) * (stepX_RCD + stepY_RCD + stepZ_RCD);
    CodeMap near;
    uint64 key = ~uint64{0};
    for (const std::vector<Facet*>* const pStrip : strips) {
        for (const Facet* const pFacet : *pStrip) {
            if ((pFacet->rcd & ~inBlock) == key) continue;
            key = pFacet->rcd & ~inBlock;
            // Beyond the end of the grid this adds a block somewhere, which does no harm.
            const uint64 first = key - side * (stepX_RCD + stepY_RCD + stepZ_RCD);
            for (uint64 i = 0; i < 27; ++i) {
                near.insert(first + side * (i / 9 * stepX_RCD + i / 3 % 3 * stepY_RCD + i % 3 * stepZ_RCD), 0);
            }
        }
    }
    return joinedChunks<Facet*>(vVisibleFacets.size(), minFacets, [&](std::size_t begin, std::size_t end) {
        std::vector<Facet*> v;
        uint64 block = ~uint64{0};
        bool bNear = false;
        for (std::size_t i = begin; i < end; ++i) {
            const uint64 own = vVisibleFacets[i].rcd & ~inBlock;
            if (own != block) bNear = near.find(block = own) != CodeMap::npos;
            if (bNear) v.push_back(&vVisibleFacets[i]);
        }
        return v;
    });
}

void Component::assignFirstDistances() {
    std::vector<Facet*> vLowerFacets, vUpperFacets;
    vNonSideRCD.clear();
    for (Facet& facet : vVisibleFacets) {
        if (facet.component == 0) vLowerFacets.push_back(&facet);
        if (facet.component == 1) vUpperFacets.push_back(&facet);
        if (facet.component >= 0) continue;
        if (vNonSideRCD.empty() || vNonSideRCD.back() != facet.rcd) vNonSideRCD.push_back(facet.rcd);
    }
    std::vector<Facet*> vLowerStrip, vUpperStrip;
    getBorderStrip(vLowerFacets, vLowerStrip, stripDepth);
    getBorderStrip(vUpperFacets, vUpperStrip, stripDepth);
    const std::vector<uint64> vLowerStripRCC = cornersOf(vLowerStrip), vUpperStripRCC = cornersOf(vUpperStrip);
    const std::vector<uint64> vNonStripRCC = difference(
        difference(cornersOf(getFacetsInReach({&vLowerStrip, &vUpperStrip})), vLowerStripRCC), vUpperStripRCC);
    ASSEX(assert_disjoint(vNonStripRCC,vLowerStripRCC));
    ASSEX(assert_disjoint(vNonStripRCC,vUpperStripRCC));
    createStripCorners(vLowerStripRCC, vUpperStripRCC);
    createCorners(cornerStore, vNonStripRCC, ST_NON_STRIP, 0.0F, noDistanceWeight);
    assignDistancesToSideStrip(vLowerStrip, -1.0);
    assignDistancesToSideStrip(vUpperStrip, 1.0);
}

// The corners of the strips, without distances.
void Component::createStripCorners(const std::vector<uint64>& vLowerStripRCC,
                                   const std::vector<uint64>& vUpperStripRCC) {
    const std::vector<uint64> vConflictStripRCC = intersection(vLowerStripRCC, vUpperStripRCC);
    const std::vector<uint64> vCleanLowerStripRCC = difference(vLowerStripRCC, vConflictStripRCC);
    const std::vector<uint64> vCleanUpperStripRCC = difference(vUpperStripRCC, vConflictStripRCC);
    ASSEX(assert_disjoint(vConflictStripRCC,vCleanLowerStripRCC));
    ASSEX(assert_disjoint(vConflictStripRCC,vCleanUpperStripRCC));
    createCorners(cornerStore, vConflictStripRCC, ST_DUAL_NO_EMITTER, 0.0F, noDistanceWeight);
    createCorners(cornerStore, vCleanLowerStripRCC, ST_CLEAN_LOWER, unassigned, cleanWeight);
    createCorners(cornerStore, vCleanUpperStripRCC, ST_CLEAN_UPPER, unassigned, cleanWeight);
    std::vector<uint64> vBorderRCC;
    pCalc->getCorners_RCD(vBorderRCD, vBorderRCC, true);
    makeBorder(cornerStore, intersection(vCleanLowerStripRCC, vBorderRCC), ST_LOWER_BORDER);
    makeBorder(cornerStore, intersection(vCleanUpperStripRCC, vBorderRCC), ST_UPPER_BORDER);
}

Point3 Component::getCornerPosition(uint64 rcc) const {
    const GridCoords c = unpackRCD(rcc);
    return {static_cast<double>(c.x) / pCalc->invCellX + pCalc->x0,
            static_cast<double>(c.y) / pCalc->invCellY + pCalc->y0,
            static_cast<double>(c.z) / pCalc->invCellZ + pCalc->z0};
}

// Beside the strip's facets, which ascend: the samples of their cells.
std::vector<const Point3*> Component::getStripSamples(const std::vector<Facet*>& vStrip) const {
    const CodePoints& vRemainingRCDPoint = *pvRemainingRCDPoint;
    std::vector<const Point3*> vSamples;
    vSamples.reserve(vStrip.size());
    auto q_it = vRemainingRCDPoint.begin();
    for (const Facet* pFacet : vStrip) {
        while (q_it != vRemainingRCDPoint.end() && q_it->first < pFacet->rcd) ++q_it;
        ASSEX(q_it!=vRemainingRCDPoint.end());
        ASSEX(q_it->first==pFacet->rcd);
        vSamples.push_back(&q_it->second);
    }
    return vSamples;
}

void Component::assignDistancesToSideStrip(const std::vector<Facet*>& vStrip, double sign) {
    const std::vector<const Point3*> vSamples = getStripSamples(vStrip);
    std::vector<CornerDistance> vDistances(4 * vStrip.size());
    parallelChunks(vStrip.size(), minFacets, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            CornerDistance* pOut = &vDistances[4 * i];
            for (const uint64 rcc : vStrip[i]->getCorners()) {
                *pOut++ = {rcc, static_cast<float>((getCornerPosition(rcc) - *vSamples[i]).length())};
            }
        }
    });
    sortByFirstMT(vDistances.begin(), vDistances.end());
    const auto at = [&](std::size_t i) { return vDistances[i].first; };
    parallelChunks(vDistances.size(), minStripCorners, [&](std::size_t begin, std::size_t end) {
        // A corner belongs to the chunk where its distances begin.
        while (begin != 0 && begin < end && at(begin) == at(begin - 1)) ++begin;
        for (std::size_t i = begin; i < end;) {
            const uint64 rcc = at(i);
            float nearest = vDistances[i].second;
            for (; i < vDistances.size() && at(i) == rcc; ++i) nearest = std::min(nearest, vDistances[i].second);
            assignDistance(cornerStore.getCorner(rcc), nearest, sign);
        }
    });
}

}  // namespace QUOR_ZEF
