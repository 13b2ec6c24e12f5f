#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tiles/TileMesh.h"
#include "tiles/settleSeams.h"
#include "zef/Point3.h"
#include "zef/TriangleMesh.h"

namespace QUOR_ZEF {

// What a tile has of the joined mesh: its core, and the triangles of the bands that are its own. Each triangle is in
// the part of one tile. Throws a LoadError for a tile and seams that do not fit together.
TriangleMesh partOf(std::uint32_t tile, const TileMesh& mesh, const SettledSeams& seams);

// The box of a part, and the name of its file.
struct TilePart {
    std::string file;
    Point3 low, high;
};

// The text of a tileset, 3D Tiles 1.1, of parts that lie beside it in the axes of the scan.
std::string tilesetOf(const std::vector<TilePart>& vParts);

}  // namespace QUOR_ZEF
