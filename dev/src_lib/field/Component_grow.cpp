#include <algorithm>
#include <memory>

#include "field/CoarseField.h"
#include "field/Component.h"
#include "field/growth.h"
#include "frame/tools.h"
#include "grid/coarseCodes.h"

namespace QUOR_ZEF {

namespace {

constexpr int boxMargin = 30;      // cells
constexpr int numSureSteps = 6;    // further steps may be the last
constexpr int numSmoothings = 20;  // after each step
constexpr int numLastSteps = 3;    // after the one to where the coarse field has come
constexpr int restAfter = 3;       // growth steps without growth near by; where the field keeps near its zero level

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
    int numSteps = numGrowSteps;
    for (int i = 0; i < numSteps && !bDone; ++i) {
        if (chooseGrowth && i == numFreeSteps) {
            bDone = !limitGrowth(numGrowSteps - i);
            numSteps = std::min(numSteps, i + numLastSteps);
        }
        if (!bDone) {
            const bool bQuiet = inflateOneStep2();
            lowPass2(numSmoothings, true);
            bDone = bQuiet && i >= numSureSteps;
        }
        // What is left out counts as done.
        const int numCounted = bDone || i + 1 == numSteps ? numGrowSteps - i : 1;
        if (onTicks) onTicks(static_cast<uint64>(numCounted) * vCellRCD.size());
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
    if (pChosen && !pChosen->contains(coarseCodeOf(rcc))) return false;
    return isWithin(c.x, minX, maxX) && isWithin(c.y, minY, maxY) && isWithin(c.z, minZ, maxZ);
}

// Chooses the cells for this many steps, and lets the field go there; false if there are none.
bool Component::limitGrowth(int numSteps) {
    constexpr int numMoreSteps = 2;  // its corners are twice as far apart where fronts have to meet
    const auto halfOf = [](int num) { return num / 2 + num % 2; };
    CoarseField coarse(cornerStore, cellSize);
    const auto isInBox = [this](uint64 rcc) { return isInGrowthBox(rcc); };
    coarse.grow(halfOf(numSteps) + numMoreSteps, halfOf(maxSourceSteps), isInBox);
    const std::vector<uint64> vChosen = chooseGrowth(*this, coarse.findCells());
    pChosen = std::make_unique<CellBlocks_RCD>(vChosen);
    coarse.refine(vChosen, isInBox, cornerStore);
    if (pSmoother) pSmoother->restWhereNothingComes();
    return !vChosen.empty();
}

// The new corners may lie one layer outside the box.
bool Component::inflateOneStep2() {
    return growOneLayer(cornerStore, cellSize, maxSourceSteps, [this](uint64 rcc) { return isInGrowthBox(rcc); });
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
