#pragma once

#include <filesystem>

#include "frame/types.h"
#include "zef/tiles.h"

namespace QUOR_ZEF {

// Writes the mesh of all tiles, see meshPath(), as binary PLY, and its record. Vertices come by the cells in which they
// were made, triangles by their vertices, so that the order is the same however the scan was cut. One tile is in memory
// at a time; some 60 bytes a vertex and 12 a triangle are put aside in the folder of the job meanwhile. O(n log n).
void joinMeshes(const std::filesystem::path& job, uint64 digest, const TilePlan& plan);

}  // namespace QUOR_ZEF
