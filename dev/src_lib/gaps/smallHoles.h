#pragma once

#include <cstdint>
#include <vector>

#include "frame/types.h"
#include "grid/Bundle.h"

namespace QUOR_ZEF {

class Calc;

constexpr std::uint32_t widestSmallHole = 10;  // cells

// The cells without a sample that close small holes, and more, at the mean of where a curved piece of surface crosses
// their edges. It is fitted to the samples that hang together around a group of border cells, which for so few cells
// is as good as a grown field. Leaves out wider groups, and those whose samples lie on no such piece. Sorted.
//
// vBorder: some of the cells of vCloud; both sorted. mostCells: the width of the holes, up to widestSmallHole.
// Parallel over groups, some 50 microseconds each.
std::vector<RCDPoint> crossSmallHoles(const std::vector<uint64>& vBorder, const std::vector<RCDPoint>& vCloud,
                                      const Calc& calc, std::uint32_t mostCells);

}  // namespace QUOR_ZEF
