#include "field/CoarseField.h"

#include <algorithm>
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
constexpr std::size_t minTaken = 10'000;

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
            corners.vCorners[i]->state = original.state;
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

}  // namespace QUOR_ZEF
