#include "tiles/joinTiles.h"

#include <array>
#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <vector>

#include "bytes/AtomicFile.h"
#include "bytes/textNumbers.h"
#include "frame/Run.h"
#include "io/precision.h"
#include "tiles/TileMesh.h"
#include "tiles/jobFiles.h"
#include "tiles/settleSeams.h"
#include "zef/errors.h"

namespace QUOR_ZEF {

namespace {

// Vertices and triangles as PLY has them.
class MeshWriter {
public:
    MeshWriter(AtomicFile& file_, bool bDoubles_, bool bColored_)
        : file(file_), bDoubles(bDoubles_), bColored(bColored_) {}

    void writeHead(uint64 numVertices, uint64 numTriangles) {
        const std::string type = bDoubles ? "double" : "float";
        file.write("ply\nformat binary_little_endian 1.0\nelement vertex " + std::to_string(numVertices) + "\n");
        for (const char axis : {'x', 'y', 'z'}) file.write("property " + type + " " + axis + "\n");
        if (bColored)
            for (const char* channel : {"red", "green", "blue", "alpha"})
                file.write(std::string("property uchar ") + channel + "\n");
        file.write("element face " + std::to_string(numTriangles) +
                   "\nproperty list uchar uint vertex_indices\nend_header\n");
    }
    void writeVertices(std::span<const Point3> vertices) {
        for (const Point3& p : vertices) {
            pollRun(numWritten++);
            for (const double x : {p.px, p.py, p.pz}) {
                if (bDoubles)
                    file.writeRaw(x);
                else
                    file.writeRaw(narrow(x));
            }
            if (!bColored) continue;
            constexpr std::uint8_t grey = 204, opaque = 255;  // of vertices without colour
            const std::array<std::uint8_t, 4> color =
                p.hasColor() ? std::array{p.r, p.g, p.b, p.a} : std::array{grey, grey, grey, opaque};
            file.writeRaw(color);
        }
    }
    void writeTriangle(const std::array<std::uint32_t, 3>& corners) {
        pollRun(numWritten++);
        file.writeRaw(std::uint8_t{3});
        file.writeRaw(corners);
    }

private:
    AtomicFile& file;
    const bool bDoubles, bColored;
    std::size_t numWritten = 0;
};

}  // namespace

void joinMeshes(const std::filesystem::path& job, uint64 digest, const TilePlan& plan) {
    const Stopwatch watch;
    const std::filesystem::path path = meshPath(job);
    const SettledSeams seams = readSeams(job, digest);
    const auto numTiles = static_cast<std::uint32_t>(plan.boxes.size());
    const uint64 numVertices = seams.vVertices.size() + seams.numCoreVertices;
    const uint64 numTriangles = seams.vTriples.size() / 3 + seams.numCoreTriangles;
    if (numVertices > std::numeric_limits<std::uint32_t>::max())
        throw FileError(path.string() + ": a PLY file has no room for " + std::to_string(numVertices) +
                        " vertices; the meshes of the tiles stay in the folder meshes");
    AtomicFile file(path.string());
    MeshWriter writer(file, needsDoubles(plan.low, plan.high, plan.grid.spacing), seams.bColored);
    writer.writeHead(numVertices, numTriangles);
    writer.writeVertices(seams.vVertices);
    std::vector<std::uint32_t> vFirst;
    uint64 written = seams.vVertices.size();
    for (std::uint32_t tile = 0; tile < numTiles; ++tile) {
        const TileMesh mesh = readTileMesh(job, digest, tile);
        requireFitting(seams, tile, mesh);
        vFirst.push_back(static_cast<std::uint32_t>(written));
        const auto inner = std::span(mesh.vVertices).subspan(mesh.vKeys.size());
        writer.writeVertices(inner);
        written += inner.size();
    }
    for (std::size_t i = 0; i < seams.vTriples.size(); i += 3)
        writer.writeTriangle({seams.vTriples[i], seams.vTriples[i + 1], seams.vTriples[i + 2]});
    for (std::uint32_t tile = 0; tile < numTiles; ++tile)
        forEachOfCore(seams, tile, readTileMesh(job, digest, tile), vFirst[tile],
                      [&](const auto& corners) { writer.writeTriangle(corners); });
    commitFile(file, path);
    writeRecord(job, digest, {StepKind::JOIN}, {sumOf(path), 0, numTriangles, numVertices, watch.seconds()});
}

}  // namespace QUOR_ZEF
