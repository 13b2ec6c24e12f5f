#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <utility>
#include <vector>

#include "frame/types.h"
#include "tiles/TileMesh.h"
#include "zef/Point3.h"
#include "zef/tiles.h"

namespace QUOR_ZEF {

// The bands of all tiles as one, and what becomes of their cores.
struct SettledSeams {
    std::vector<Point3> vVertices;
    std::vector<SeamKey> vKeys;           // of the vertices
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
// see which should are taken. The others hang together in places around which all agree: each is taken as the tile has
// it that sees most of it, and then owns most of it; what gapes then is filled. Pieces are turned to agree across
// seams: closed ones outward, others to where most of their area looked in the tiles. All bands are in memory: some
// hundred bytes a triangle of them. O(n log n).
SettledSeams settleSeams(const std::filesystem::path& job, uint64 digest, const TilePlan& plan);

// The file of a job, see seamsPath(), and its record.
void writeSeams(const std::filesystem::path& job, uint64 digest, const SettledSeams& seams, double seconds);
SettledSeams readSeams(const std::filesystem::path& job, uint64 digest);

// Throws a FileError unless the mesh is that of the tile which the seams were settled for.
void requireFitting(const SettledSeams& seams, std::uint32_t tile, const TileMesh& mesh);

// fn(corners), turned as they stay, for each triangle of the core of a tile. Vertices of the band have the numbers that
// they have in the seams, the others follow from firstInner on.
template <class Fn>
void forEachOfCore(const SettledSeams& seams, std::uint32_t tile, const TileMesh& mesh, std::uint32_t firstInner,
                   const Fn& fn) {
    const std::vector<std::uint32_t>& vNumbers = seams.vNumbers[tile];
    const auto numBand = static_cast<std::uint32_t>(vNumbers.size());
    for (std::size_t t = 0; t < mesh.vCorePieces.size(); ++t) {
        std::array<std::uint32_t, 3> corners;
        for (std::size_t i = 0; i < 3; ++i) {
            const std::uint32_t vertex = mesh.vCore[3 * t + i];
            corners[i] = vertex < numBand ? vNumbers[vertex] : firstInner + vertex - numBand;
        }
        if (seams.vTurned[tile][mesh.vCorePieces[t]] != 0) std::swap(corners[0], corners[1]);
        fn(corners);
    }
}

}  // namespace QUOR_ZEF
