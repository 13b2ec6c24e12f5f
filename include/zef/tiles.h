#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <vector>

#include "zef/Context.h"
#include "zef/Point3.h"
#include "zef/errors.h"
#include "zef/export.h"
#include "zef/files.h"
#include "zef/reconstruction.h"

namespace QUOR_ZEF {

// Scans that are larger than memory, or than one machine can mesh in time: cut into tiles on one grid, so that tiles
// meet exactly. A job is a folder:
//   job.json          what planTiles() settled: inputs, options, the grid, the boxes of the tiles
//   points/N.points   the points in the box of tile N, and in a halo around it
//   meshes/N.tile     the mesh of tile N, with what its neighbours must know
//   seams.bin         what becomes of seams and pieces
//   mesh.ply          the mesh of all
//   done/STEP.json    of each step that is done: size and checksum of what it wrote, counts, seconds
// The steps follow each other in the order of the functions here; only the tiles of one step may be done in any
// order, at once, in any number of processes and on any machines that see the folder. Each step reads what others
// wrote, and its own files appear whole or not at all, the record last. What is done already, by record and file, is
// not done again; so a run that was killed goes on where it was, and doing a tile twice is harmless. The bytes of all
// files but the records do not depend on the order of tiles, on the number of threads and on what was killed.
//
// Throw as reconstruct() and the readers do, FileError also for a job that is damaged or not so far yet.

struct TileOptions {
    // As for reconstruct(). ArgumentError for closed, normals and a grid, and without mend, which tiles do not have.
    ReconstructOptions reconstruction = {};
    ReadOptions reading = {};  // which points are taken; ArgumentError for grid and every
    // Bytes that the mesh of one tile may take; tiles are cut so that they keep to it.
    std::uint64_t memory = std::uint64_t{2} << 30;
    // Cells around the box of a tile that it reads as well. What is decided farther away is decided without it.
    int halo = 160;  // 16 to 1000
    // Tiles along x, y and z, equally wide; all 0: as many as memory wants, of about equal numbers of points.
    std::array<int, 3> cuts = {0, 0, 0};
};

// Cells from low up to, but without, high.
struct TileBox {
    std::array<std::uint64_t, 3> low{}, high{};
};

struct TilePlan {
    std::vector<std::filesystem::path> inputs;  // absolute
    TileOptions options;
    Grid grid;
    Point3 low, high;  // opposite corners of the box of all points but strays
    // Every cell of the grid lies in one of them. In Z-order of their lower corners.
    std::vector<TileBox> boxes;
    std::vector<std::uint64_t> numPoints;  // of each box, without its halo; as counted by blocks, so roughly
    std::uint64_t numAllPoints = 0;
    std::uint64_t numStrays = 0;  // of them, left out
    bool viewpointTold = false;   // that of the options is what the inputs tell
};

// Reads the inputs, in bounded memory: their box, how many points lie where, and from a sample of whole places what
// reconstruct() finds of all points. Makes the folder. What is planned already must be the same job: else an
// ArgumentError.
ZEF_API TilePlan planTiles(const std::vector<std::filesystem::path>& inputs, const std::filesystem::path& job,
                           const TileOptions& options = {}, const Context& context = {});
// That of a job.
ZEF_API TilePlan readTilePlan(const std::filesystem::path& job);

// Reads the inputs once more and writes the points of all tiles, in bounded memory.
ZEF_API void splitTiles(const std::filesystem::path& job, const Context& context = {});

// Meshes one tile. Needs its points alone.
ZEF_API void meshTile(const std::filesystem::path& job, std::uint32_t tile, const Context& context = {});

// Joins the seams of all tiles: which triangles they have, which pieces hang together, which of them are turned.
ZEF_API void settleTiles(const std::filesystem::path& job, const Context& context = {});

// Writes the mesh of all, a tile at a time.
ZEF_API void joinTiles(const std::filesystem::path& job, const Context& context = {});

// Writes the mesh in parts for viewers: that of each tile as binary glTF, and tileset.json, which tells where they are,
// as 3D Tiles 1.1 wants it, in one level of detail; z points up. At seams the vertices of two tiles have the same
// places. Makes the folder; what stood there under these names is replaced, a file at a time. Needs the settled job. A
// tile at a time is in memory.
ZEF_API void exportTileset(const std::filesystem::path& job, const std::filesystem::path& folder,
                           const Context& context = {});

// How far a job is, by its records.
struct TileState {
    bool split = false, settled = false, joined = false;
    std::vector<bool> meshed;  // by tile
    // Sums over what is done.
    std::uint64_t numTriangles = 0;  // of the tiles, or of the joined mesh
    std::uint64_t numVertices = 0;
    double seconds = 0.0;  // of all steps
};
ZEF_API TileState readTileState(const std::filesystem::path& job);

}  // namespace QUOR_ZEF
