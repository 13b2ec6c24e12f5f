#pragma once

#include <cstdint>

namespace QUOR_ZEF {

// Cells, corners and edges of the grid are codes of this width.
using uint64 = std::uint64_t;
using int64 = std::int64_t;

}  // namespace QUOR_ZEF
