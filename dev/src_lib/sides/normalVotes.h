#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "geometry/PointSource.h"
#include "sides/Vote.h"
#include "zef/TriangleMesh.h"

namespace QUOR_ZEF {

// Points with normals of any length, which need not be finite. Borrows both.
struct PointNormals {
    const PointSource* pPoints = nullptr;
    const double* pNormals = nullptr;  // of the first point; null for none
    std::size_t stride = 3;            // from normal to normal, in doubles

    Vector3 operator[](std::size_t i) const {
        const double* const p = pNormals + i * stride;
        return {p[0], p[1], p[2]};
    }
};

// One vote for each piece: the cosines between the normals of points and that of the
// nearest vertex in the same cube, of the given edge. Zero normals and those that are
// not finite do not vote. vPiece: the piece of each triangle. O(n).
std::vector<Vote> votesOfNormals(const TriangleMesh& mesh, const std::vector<std::uint32_t>& vPiece,
                                 std::size_t numPieces, const PointNormals& normals, double edge);

}  // namespace QUOR_ZEF
