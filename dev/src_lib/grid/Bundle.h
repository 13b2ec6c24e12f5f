#pragma once

#include <utility>

#include "frame/types.h"
#include "zef/Point3.h"

namespace QUOR_ZEF {

// One occupied cell with its surface sample: a vertex of the mesh to come.
// Bundles live in a SimplePool of their Cloud (those that repair adds, in the
// CMesh) and die with it; none is freed alone.
struct Bundle {
    Point3* pPoint = nullptr;  // not owned: a point of the same owner
    uint64 ccd = 0;            // the cell; fixed for the Bundle's life
};

// A cell with its sample on the way there.
using RCDPoint = std::pair<uint64, Point3>;

}  // namespace QUOR_ZEF
