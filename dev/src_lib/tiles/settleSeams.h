#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

#include "frame/types.h"
#include "zef/Point3.h"
#include "zef/tiles.h"

namespace QUOR_ZEF {

// The bands of all tiles as one, and what becomes of their cores.
struct SettledSeams {
    std::vector<Point3> vVertices;
    std::vector<std::uint32_t> vTriples;  // turned as they stay
    std::vector<std::uint32_t> vOwners;   // by triangle, a tile that has one of its vertices
    // By tile: the number, among the vertices here, of each vertex of its band; and whether its pieces are turned.
    std::vector<std::vector<std::uint32_t>> vNumbers;
    std::vector<std::vector<std::uint8_t>> vTurned;
    // All cores together, for the head of a file.
    uint64 numCoreVertices = 0, numCoreTriangles = 0;
    bool bColored = false;
    // What tiles saw differently: triangles that not all of them had, loops of the gaps between those taken that were
    // filled, and sides at gaps that were not.
    uint64 numDisputed = 0, numFilledLoops = 0, numGaps = 0;
    uint64 numTorn = 0;  // sides across which pieces could not be turned alike
};

// Joins the bands of all tiles. A vertex lies where the tile has it whose box holds its cell. Triangles that all tiles
// have, which own one of their vertices, are taken as they are. Where tiles differ, those of the first tile are taken,
// and of the others what fits beside them; what gapes then is filled. Pieces are turned to agree across seams: closed
// ones outward, others to where most of their area looked in the tiles. All bands are in memory: some hundred bytes a
// triangle of them. O(n log n).
SettledSeams settleSeams(const std::filesystem::path& job, uint64 digest, const TilePlan& plan);

// The file of a job, see seamsPath(), and its record.
void writeSeams(const std::filesystem::path& job, uint64 digest, const SettledSeams& seams, double seconds);
SettledSeams readSeams(const std::filesystem::path& job, uint64 digest);

}  // namespace QUOR_ZEF
