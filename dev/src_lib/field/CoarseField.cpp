#include "field/CoarseField.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <utility>

#include "field/CornerSmoother.h"
#include "field/crossings.h"
#include "field/growth.h"
#include "grid/coarseCodes.h"
#include "grid/codeSets.h"
#include "parallel/joinedChunks.h"
#include "parallel/parallelTransform.h"
#include "parallel/sortMT.h"

namespace QUOR_ZEF {

namespace {

constexpr uint64 lowestBits = stepX_RCD | stepY_RCD | stepZ_RCD;
constexpr int numCoarseSmoothings = 10;  // after each step; as far as 20 after each of two steps of the field
constexpr int coarseRestAfter = 3;
constexpr std::size_t minTaken = 10'000, minRefined = 1'000;

// To the end of the diagonal of a cell along these axes, 1 for x, 2 for y and 4 for z.
constexpr uint64 stepAlong(unsigned axes) {
    return (axes & 1 ? stepX_RCD : 0) + (axes & 2 ? stepY_RCD : 0) + (axes & 4 ? stepZ_RCD : 0);
}

// Border corners and those beside them keep their values. Every second border corner may be on one side only, and
// the zero level would drift from the rim to the other.
CornerState stateInCopy(const CornerStore& field, const Corner& corner) {
    const auto isBorder = [](const Corner& c) { return c.state == ST_LOWER_BORDER || c.state == ST_UPPER_BORDER; };
    bool bKeep = isBorder(corner);
    if (corner.state == ST_INFLATED)
        field.forEachNeig(corner, [&](const Corner& neig) { bKeep = bKeep || isBorder(neig); });
    if (!bKeep) return corner.state;
    return corner.val < 0.0F ? ST_CLEAN_LOWER : ST_CLEAN_UPPER;
}

}  // namespace

CoarseField::CoarseField(const CornerStore& field, float cellSize)
    : corners(field.pCalc), coarseSize(2 * cellSize), vCellsBefore(coarseCodesOf(findCrossedCells(field))) {
    using Taken = std::pair<uint64, const Corner*>;
    std::vector<Taken> vTaken =
        joinedChunks<Taken>(field.vCorners.size(), minTaken, [&](std::size_t begin, std::size_t end) {
            std::vector<Taken> v;
            for (std::size_t i = begin; i < end; ++i) {
                const uint64 rcc = field.rccOf(*field.vCorners[i]);
                if (!(rcc & lowestBits)) v.emplace_back(coarseCodeOf(rcc), field.vCorners[i]);
            }
            return v;
        });
    sortByFirstMT(vTaken.begin(), vTaken.end());
    corners.createCorners(codesOf(vTaken));
    parallelChunks(vTaken.size(), minTaken, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            const Corner& original = *vTaken[i].second;
            corners.vCorners[i]->val = original.val;
            corners.vCorners[i]->weight = original.weight;
            corners.vCorners[i]->state = stateInCopy(field, original);
        }
    });
}

void CoarseField::grow(int numSteps, int maxSourceSteps, const std::function<bool(uint64 rcc)>& isInBox) {
    CornerSmoother smoother(true, coarseSize / 2, coarseRestAfter);
    for (int i = 0; i < numSteps; ++i) {
        growOneLayer(corners, coarseSize, maxSourceSteps, [&](uint64 coarse) { return isInBox(coarse << 1); });
        smoother.smooth(corners, numCoarseSmoothings);
    }
}

std::vector<uint64> CoarseField::findCells() const {
    return unionOf(vCellsBefore, findCrossedCells(corners));
}

template <class IsWanted>
void CoarseField::addRefined(uint64 cell, const IsWanted& isWanted, std::vector<Refined>& vRefined) const {
    constexpr unsigned numEnds = 8;
    std::array<const Corner*, numEnds> aEnds;  // by the axes along which they lie beside the lowest
    for (unsigned axes = 0; axes < numEnds; ++axes) {
        const Corner* const p = corners.getCorner(cell + stepAlong(axes));
        aEnds[axes] = p && p->isAssigned() && p->val != 0.0F ? p : nullptr;
    }
    for (unsigned axes = 0; axes < numEnds; ++axes) {
        const uint64 rcc = (cell << 1) + stepAlong(axes);
        Value mean;
        const float share = 1.0F / static_cast<float>(1 << std::popcount(axes));
        bool bAll = true;
        // It lies halfway along these axes: between the ends beside the lowest along some of them, all, or none.
        for (unsigned some = axes;; some = (some - 1) & axes) {
            bAll = bAll && aEnds[some];
            if (!bAll) break;
            mean.val += share * aEnds[some]->val;
            mean.weight += share * aEnds[some]->weight;
            if (some == 0) break;
        }
        if (!bAll || !isWanted(rcc)) continue;
        if (mean.val == 0.0F) mean.val = smallestVal;
        vRefined.emplace_back(rcc, mean);
    }
}

void CoarseField::refine(const std::vector<uint64>& vCells, const std::function<bool(uint64 rcc)>& isInBox,
                         CornerStore& field) const {
    std::vector<Refined> vRefined =
        joinedChunks<Refined>(vCells.size(), minRefined, [&](std::size_t begin, std::size_t end) {
            std::vector<Refined> v;
            const auto isMissing = [&](uint64 rcc) { return isInBox(rcc) && !field.getCorner(rcc); };
            for (std::size_t i = begin; i < end; ++i) addRefined(vCells[i], isMissing, v);
            return v;
        });
    sortByFirstMT(vRefined.begin(), vRefined.end());
    const std::size_t numBefore = field.vCorners.size();
    field.createCorners(codesOf(vRefined));
    parallelChunks(vRefined.size(), minTaken, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            Corner& corner = *field.vCorners[numBefore + i];
            corner.val = vRefined[i].second.val;
            corner.weight = vRefined[i].second.weight;
            corner.state = ST_INFLATED;
        }
    });
}

}  // namespace QUOR_ZEF
