#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "mend/Patches.h"

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
//
// bSparing: a sheet with a border stays if vertices would go with it. It can be the
// bottom of a narrow groove, sample for sample, and what runs across it the fault.
// O(n), and O(100 log n) for each sheet and each change at its edges.
SpuriousSheets findSpuriousSheets(const std::vector<std::uint32_t>& vTriples, const EdgeTable& edges,
                                  const Patches& patches, bool bSparing);

}  // namespace QUOR_ZEF
