#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "untangle/TangledSurface.h"

namespace QUOR_ZEF {

// The vertices around triangles that hang together like a disc, in the order of their sides; none
// for others, and at borders.
std::optional<std::vector<std::uint32_t>> loopAround(const TangledSurface& surface,
                                                     const std::vector<std::uint32_t>& vTriangles);

// Triangles of the least area among the vertices of a loop; fewer than the loop's minus two if there
// are none, as where two of its vertices have an edge already. O(n^3).
std::vector<SurfaceChange::Corners> fillLoop(const TangledSurface& surface, const std::vector<std::uint32_t>& vLoop,
                                             const std::vector<std::uint32_t>& vGone);

}  // namespace QUOR_ZEF
