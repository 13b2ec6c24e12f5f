#pragma once

#include <span>

#include "zef/TriangleMesh.h"

namespace QUOR_ZEF {

// The work of colorByDistance(), for arguments that have been checked.
void setDistanceColors(TriangleMesh& mesh, std::span<const double> distances, double limit);

}  // namespace QUOR_ZEF
