#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "refine/Patches.h"

namespace QUOR_ZEF {

struct SpuriousSheets {
    std::vector<std::uint32_t> vTriangles;
    std::size_t numSheets = 0;
};

// Finds small sheets between edges of many triangles, the smallest first, so that
// others continue in each other once they are gone: membranes, the thinner half of
// blisters, fins. A sheet goes if that leaves fewer edges of an odd number of
// triangles than before, since at these some triangle has no partner; so nothing is
// opened that was closed. It has at most 100 triangles, or 20 if more of its edges
// are borders than not, and a neighbour ten times as large.
// O(n), and O(100 log n) for each sheet and each change at its edges.
SpuriousSheets findSpuriousSheets(const EdgeTable& edges, const Patches& patches);

}  // namespace QUOR_ZEF
