#pragma once

#include <cstddef>
#include <optional>

#include "flat/MeshPieces.h"
#include "sides/normalVotes.h"
#include "zef/TriangleMesh.h"
#include "zef/reconstruction.h"

namespace QUOR_ZEF {

// What is known of the sides of a scan.
struct SideClues {
    std::optional<Point3> viewpoint;
    PointNormals normals;
    double spacing = 0.0;  // of the vertices
};

struct TurnedPieces {
    std::size_t num = 0;
    SideRule rule = SideRule::NONE;  // that settled most of the area
};

// Turns open pieces of a manifold mesh until all look to one side of the scan, by the
// rules that reconstruction.h tells. Closed pieces must face outward, and BODY ones too;
// of these, only a viewpoint or normals turn the latter. A turned triangle has its first
// two indices exchanged. O(n).
TurnedPieces turnPieces(TriangleMesh& mesh, const MeshPieces& pieces, const SideClues& clues);

}  // namespace QUOR_ZEF
