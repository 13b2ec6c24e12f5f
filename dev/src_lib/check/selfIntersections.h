#pragma once

#include <cstddef>

#include "flat/FlatMesh.h"

namespace QUOR_ZEF {

// The work of countSelfIntersections().
std::size_t countIntersectingPairs(const FlatMesh& mesh);

}  // namespace QUOR_ZEF
