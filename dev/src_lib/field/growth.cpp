#include "field/growth.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "field/CornerSmoother.h"
#include "frame/tools.h"
#include "parallel/parallelTransform.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t minInflated = 1'000;

// The val and weight of a corner that growth reached.
struct Inflated {
    float val = unassigned;
    float weight = unassigned;
    float sumWeight = 1.0F;  // of all neighbours, in a conflict
    bool bConflict = false;  // it lies between corners of both signs
};

// The mean of all neighbours that have a val.
Inflated meanOfNeigs(const CornerStore& store, const Corner& corner) {
    float sum = 0.0F, sumWeight = 0.0F;
    store.forEachNeig(corner, [&](const Corner& n) {
        if (!n.isAssigned()) return;
        sum += n.weight * n.val;
        sumWeight += n.weight;
    });
    if (sum == 0.0F) sum = smallestVal;
    return {sum / sumWeight, sumWeight / static_cast<float>(corner.numNeigs()), sumWeight, true};
}

// The neighbour nearest to the surface lends its weight, and its val one cell farther out.
Inflated inflate(const CornerStore& store, const Corner& corner, float cellSize) {
    float bestAbs = unassigned, bestVal = unassigned, bestWeight = unassigned;
    bool bConflict = false;
    store.forEachNeig(corner, [&](const Corner& n) {
        if (!n.isAssigned()) return;
        // Only the nearest so far is compared.
        const bool bBest = bestVal != unassigned;
        bConflict = bConflict || (bBest && ((n.val < 0 && bestVal > 0) || (n.val > 0 && bestVal < 0)));
        if (n.val == 0 || std::abs(n.val) >= bestAbs) return;
        bestAbs = std::abs(n.val);
        bestVal = n.val;
        bestWeight = n.weight;
    });
    if (bConflict) return meanOfNeigs(store, corner);
    if (bestVal == unassigned) return {};
    return {bestVal > 0 ? bestVal + cellSize : bestVal - cellSize, bestWeight};
}

}  // namespace

// The corners of a layer do not see each other's vals.
bool inflateNew(CornerStore& store, std::size_t numOld, float cellSize) {
    const std::vector<Corner*>& vCorners = store.vCorners;
    std::vector<Inflated> vInflated(vCorners.size() - numOld);
    const std::vector<std::size_t> vBounds = getChunkBounds(vInflated.size(), minInflated);
    parallelChunks(vBounds, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) vInflated[i] = inflate(store, *vCorners[numOld + i], cellSize);
    });
    parallelChunks(vBounds, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            Corner* const pNewCorner = vCorners[numOld + i];
            ASSEX(pNewCorner->val==3.402823466e+38F && pNewCorner->weight==3.402823466e+38F);
            const float assignVal = vInflated[i].val, assignWeight = vInflated[i].weight;
            const float sumWeight = vInflated[i].sumWeight;
            ASSEX(sumWeight>0);
            ASSEX(assignVal!=3.402823466e+38F);
            ASSEX(assignWeight!=3.402823466e+38F);
            ASSEX(assignVal!=0);
            pNewCorner->val = assignVal;
            pNewCorner->weight = assignWeight;
            pNewCorner->state = ST_INFLATED;
        }
    });
    return std::none_of(vInflated.begin(), vInflated.end(), [](const Inflated& i) { return i.bConflict; });
}

}  // namespace QUOR_ZEF
