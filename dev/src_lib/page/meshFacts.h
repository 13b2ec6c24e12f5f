#pragma once

#include <string>

#include "page/PageData.h"
#include "page/Rounding.h"
#include "zef/TriangleMesh.h"

namespace QUOR_ZEF {

// What a page lists of a mesh, as members of a JSON object: counts, the largest pieces and
// border loops with their boxes, and border and non-manifold edges as packed pairs of
// points. O(n log n).
std::string meshFacts(const TriangleMesh& mesh, const Rounding& rounding, PageData& data);

}  // namespace QUOR_ZEF
