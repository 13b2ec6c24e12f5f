#pragma once

#include <cstddef>
#include <optional>
#include <utility>
#include <vector>

#include "frame/types.h"
#include "grid/Calc.h"
#include "zef/TriangleMesh.h"

namespace QUOR_ZEF {

// Where the grid of a run got points that the scan did not have.
struct SparseParts {
    std::optional<Calc> calc;                      // the run's, if there are any
    std::vector<std::pair<uint64, float>> vCells;  // CCDs, ascending, each with the distance of the scan's points there
};

// By vertex, as how much of a triangle one counts there: less where the scan has fewer points
// than the mesh vertices. Empty without such parts.
std::vector<float> getTriangleWeights(const TriangleMesh& mesh, const SparseParts& parts);

// Merges vertices where such parts are flat, up to the distance of the scan's points. Returns their number. O(n).
std::size_t mergeSparseParts(TriangleMesh& mesh, const SparseParts& parts);

}  // namespace QUOR_ZEF
