#pragma once

#include <cstddef>

#include "flat/arrays.h"

namespace QUOR_ZEF {

// The work of countSelfIntersections().
std::size_t countIntersectingPairs(const TriangleMesh& mesh);

}  // namespace QUOR_ZEF
