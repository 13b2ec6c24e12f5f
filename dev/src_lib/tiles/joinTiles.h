#pragma once

#include <filesystem>

#include "frame/types.h"
#include "zef/tiles.h"

namespace QUOR_ZEF {

// Writes the mesh of all tiles, see meshPath(), as binary PLY, and its record: first what the seams have, then the
// cores of the tiles in their order. One tile is in memory at a time.
void joinMeshes(const std::filesystem::path& job, uint64 digest, const TilePlan& plan);

}  // namespace QUOR_ZEF
