#pragma once

#include <cstddef>
#include <vector>

#include "zef/TriangleMesh.h"

namespace QUOR_ZEF {

struct RemovedPieces {
    std::size_t numPieces = 0, numTriangles = 0;
};

// Removes pieces, which are triangles that hang together by their vertices, of fewer than
// minPiece triangles; but not where such pieces, each within a few cells of the next, have
// four times as many together. The largest piece stays. If anything goes, so do vertices
// without triangles; the others keep their order, as do the triangles.
// cellSize: in the unit of the vertices. O(n).
// vWeights: by vertex, as how much of a triangle one counts there; all as 1 if it is empty.
RemovedPieces removeLonelyPieces(TriangleMesh& mesh, double cellSize, std::size_t minPiece,
                                 const std::vector<float>& vWeights = {});

}  // namespace QUOR_ZEF
