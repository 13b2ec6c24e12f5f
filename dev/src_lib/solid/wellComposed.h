#pragma once

#include <cstdint>
#include <vector>

#include "solid/LatticeSet.h"

namespace QUOR_ZEF {

// The cells that have points of the set at some of their corners, and not at all of them. Ascending codes.
std::vector<uint64> cellsOfSurface(const LatticeSet& set);

// Adds points, or takes some away, until the surface between those of the set and all others meets itself at no
// edge and no corner: it is a manifold then. Mostly few of them. O(n log n).
enum class Composing : std::uint8_t { ADD, REMOVE };
void makeWellComposed(LatticeSet& set, Composing composing);

}  // namespace QUOR_ZEF
