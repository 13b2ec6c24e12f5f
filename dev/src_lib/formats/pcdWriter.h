#pragma once

#include <span>

#include "bytes/AtomicFile.h"
#include "zef/Point3.h"

namespace QUOR_ZEF {

// Writes points as PCD 0.7, binary: x y z as floats or as doubles, and rgb if any point has
// colour; the others are white then. One thread, O(n).
void writePcd(AtomicFile& file, std::span<const Point3> points, bool bDoubles);

}  // namespace QUOR_ZEF
