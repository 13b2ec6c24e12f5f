#pragma once

#include <cstddef>

#include "field/CornerStore.h"

namespace QUOR_ZEF {

// How far from the zero level a source of growth may lie, in cells.
constexpr double growLimit = 4.0;

// Gives the Corners from numOld on, which growth has just created, their vals and weights by those around
// them. cellSize: world units. True if none of them lies between Corners of both signs. Parallel.
bool inflateNew(CornerStore& store, std::size_t numOld, float cellSize);

// Adds one layer of Corners where isInBox(rcc) holds; see CornerStore::createGrowthFront().
template <class IsInBox>
bool growOneLayer(CornerStore& store, float cellSize, int maxSourceSteps, const IsInBox& isInBox) {
    const std::size_t numOld = store.vCorners.size();
    store.createGrowthFront(static_cast<float>(growLimit * static_cast<double>(cellSize)), maxSourceSteps, isInBox);
    return inflateNew(store, numOld, cellSize);
}

}  // namespace QUOR_ZEF
