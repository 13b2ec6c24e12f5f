#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tiles/TileMesh.h"
#include "tiles/settleSeams.h"
#include "zef/Point3.h"
#include "zef/TriangleMesh.h"

namespace QUOR_ZEF {

// What tiles have of the joined mesh: their cores, and the triangles of the bands that are their own. Each triangle is
// in the part of one tile.
class TileParts {
public:
    // The seams must live as long.
    explicit TileParts(const SettledSeams& settled);

    // Throws a FileError for a mesh and seams that do not fit together. O(n) in what the part has.
    TriangleMesh partOf(std::uint32_t tile, const TileMesh& mesh);

private:
    const SettledSeams& seams;
    std::vector<std::vector<std::uint32_t>> vTriangles;  // of the seams, by tile
    std::vector<std::uint32_t> vNumbers;                 // of vertices of the seams in a part; none between calls
};

// The box of a part, and the name of its file.
struct TilePart {
    std::string file;
    Point3 low, high;

    TilePart(std::string name, const TriangleMesh& mesh);
};

// The text of a tileset, 3D Tiles 1.1, of parts that lie beside it in the axes of the scan.
std::string tilesetOf(const std::vector<TilePart>& vParts);

}  // namespace QUOR_ZEF
