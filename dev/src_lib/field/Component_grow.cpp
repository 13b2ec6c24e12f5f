#include <algorithm>
#include <cmath>

#include "field/Component.h"
#include "frame/tools.h"
#include "grid/codeSets.h"
#include "parallel/parallelTransform.h"
#include "parallel/sortMT.h"

namespace QUOR_ZEF {

namespace {

constexpr int boxMargin = 30;      // cells
constexpr int numSureSteps = 6;    // further steps may be the last
constexpr int numSmoothings = 20;  // after each step
constexpr double growLimit = 4.0;  // |val| of a source of growth stays below this, in cells
constexpr int restAfter = 3;       // growth steps without growth near by; where the field keeps near its zero level
constexpr std::size_t minChunk = 1'000;

// A test with an else branch: a coordinate that lowers the minimum is not held
// against the maximum, so the maximum of a single cell is 0.
void extend(int& min, int& max, uint64 coordinate) {
    const int c = static_cast<int>(coordinate);
    if (c < min) {
        min = c;
    } else if (c > max) {
        max = c;
    }
}

bool isWithin(uint64 coordinate, int min, int max) {
    const int c = static_cast<int>(coordinate);
    return min <= c && c <= max;
}

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

uint64 Component::numGrowthTicks() const {
    return static_cast<uint64>(std::max(numGrowSteps, 0)) * vCellRCD.size();
}

bool Component::run(CodePoints& vOut, const std::function<void(uint64)>& onTicks) {
    ASSEX(numGrowSteps>0);
    vOut.clear();
    // A field of one sign has no zero level.
    if (!hasSeam()) return true;
    layGrowthBox();
    assignFirstDistances();
    if (onTicks) onTicks(0);
    bool bDone = false;
    for (int i = 0; i < numGrowSteps && !bDone; ++i) {
        const bool bQuiet = inflateOneStep2();
        lowPass2(numSmoothings, true);
        bDone = bQuiet && i >= numSureSteps;
        // What is left out counts as done.
        if (onTicks) onTicks((bDone ? static_cast<uint64>(numGrowSteps - i) : 1) * vCellRCD.size());
    }
    pSmoother.reset();  // as large as the corners
    getZeroRCD(vOut);
    return true;
}

// True if cells with an unlabelled facet have facets of both sides, from which strips begin.
bool Component::hasSeam() const {
    bool bLower = false, bUpper = false;
    for (std::size_t i = 0; i < vVisibleFacets.size();) {
        const std::size_t first = i;
        bool bNone = false, bCellLower = false, bCellUpper = false;
        for (; i < vVisibleFacets.size() && vVisibleFacets[i].rcd == vVisibleFacets[first].rcd; ++i) {
            bNone = bNone || vVisibleFacets[i].component < 0;
            bCellLower = bCellLower || vVisibleFacets[i].component == 0;
            bCellUpper = bCellUpper || vVisibleFacets[i].component == 1;
        }
        bLower = bLower || (bNone && bCellLower);
        bUpper = bUpper || (bNone && bCellUpper);
        if (bLower && bUpper) return true;
    }
    return false;
}

void Component::layGrowthBox() {
    for (const uint64 rcd : vCellRCD) {
        const GridCoords c = unpackRCD(rcd);
        extend(minX, maxX, c.x);
        extend(minY, maxY, c.y);
        extend(minZ, maxZ, c.z);
    }
    for (int* const pMax : {&maxX, &maxY, &maxZ}) *pMax += boxMargin;
    for (int* const pMin : {&minX, &minY, &minZ}) *pMin = std::max(*pMin - boxMargin, 0);
}

bool Component::isInGrowthBox(uint64 rcc) const {
    const GridCoords c = unpackRCD(rcc);
    return isWithin(c.x, minX, maxX) && isWithin(c.y, minY, maxY) && isWithin(c.z, minZ, maxZ);
}

// The new corners may lie one layer outside the box.
bool Component::inflateOneStep2() {
    const float limit = static_cast<float>(growLimit * static_cast<double>(cellSize));
    const std::vector<Corner*>& vCorners = cornerStore.vCorners;
    const std::size_t numOld = vCorners.size();
    cornerStore.createGrowthFront(limit, maxSourceSteps, [this](uint64 rcc) { return isInGrowthBox(rcc); });
    // The corners of a step do not see each other's vals.
    std::vector<Inflated> vInflated(vCorners.size() - numOld);
    const std::vector<std::size_t> vBounds = getChunkBounds(vInflated.size(), minChunk);
    parallelChunks(vBounds, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            vInflated[i] = inflate(cornerStore, *vCorners[numOld + i], cellSize);
        }
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

void Component::lowPass2(int numPasses, bool bUseWeights) {
    if (!pSmoother || pSmoother->bUseWeights != bUseWeights) {
        const bool bNearOnly = maxSourceSteps != CornerStore::anywhere;
        pSmoother = std::make_unique<CornerSmoother>(bUseWeights, maxBorderVal,
                                                     bNearOnly ? restAfter : CornerSmoother::neverResting);
    }
    pSmoother->smooth(cornerStore, numPasses);
}

}  // namespace QUOR_ZEF
