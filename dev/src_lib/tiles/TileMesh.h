#pragma once

#include <compare>
#include <cstdint>
#include <filesystem>
#include <vector>

#include "frame/types.h"
#include "zef/Point3.h"

namespace QUOR_ZEF {

// By what tiles know each other's vertices: the cell in which a vertex was made, and which of those in that cell.
struct SeamKey {
    uint64 cell = 0;  // CCD
    std::uint32_t rank = 0;
    std::uint32_t owner = 0;  // the tile whose box holds the cell

    auto operator<=>(const SeamKey&) const = default;
};

// What lies beyond a side of a triangle of the band, as its tile sees it.
enum class Beyond : std::uint8_t { NOTHING, BAND, CORE };

// What is added up over the triangles of a piece.
struct PieceSums {
    uint64 numBorders = 0;
    double area = 0.0;
    double volume = 0.0;  // above 0 where the triangles face outward; from the lower corner of the grid

    void add(const PieceSums& other) {
        numBorders += other.numBorders;
        area += other.area;
        volume += other.volume;
    }
    // As seen from the other side.
    PieceSums turned() const { return {numBorders, -area, -volume}; }
};

// Of one triangle, from a corner of the grid.
PieceSums sumsOf(const Point3& a, const Point3& b, const Point3& c, const Point3& origin);

// The mesh of one tile. The band is what lies at seams, on both sides, as this tile sees it, see TileOwners: its
// neighbours have seen the same places. The core is the rest of the tile, with which no other tile has to do.
struct TileMesh {
    std::vector<Point3> vVertices;           // those of the band first
    std::vector<SeamKey> vKeys;              // of the vertices of the band
    std::vector<SeamKey> vInnerKeys;         // of the others, ascending
    std::vector<std::uint32_t> vBand;        // three vertices a triangle
    std::vector<Beyond> vBeyond;             // by side of vBand
    std::vector<std::uint32_t> vCoreBeyond;  // by side: the piece of the core there; none elsewhere
    std::vector<PieceSums> vPieces;          // of the core, by number; they hang together across edges
    std::vector<std::uint32_t> vCore;
    std::vector<std::uint32_t> vCorePieces;

    static constexpr std::uint32_t none = 0xffffffffU;

    bool hasColor() const;
};

// What a file holds besides its band, if only that is read.
struct TileCounts {
    uint64 numVertices = 0, numBandVertices = 0, numCoreTriangles = 0;
    bool bColored = false;
};

// The file of a tile, see tilePath(), and its record. digest: of the plan. FileErrors for what cannot be written or
// read, and for a file that is damaged or of another plan or tile.
void writeTileMesh(const std::filesystem::path& job, uint64 digest, std::uint32_t tile, const TileMesh& mesh,
                   double seconds);
TileMesh readTileMesh(const std::filesystem::path& job, uint64 digest, std::uint32_t tile);
// The band with its vertices and pieces alone.
TileMesh readTileBand(const std::filesystem::path& job, uint64 digest, std::uint32_t tile, TileCounts& counts);

}  // namespace QUOR_ZEF
