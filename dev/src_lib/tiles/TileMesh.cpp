#include "tiles/TileMesh.h"

#include <algorithm>
#include <span>
#include <string>
#include <string_view>

#include "bytes/AtomicFile.h"
#include "bytes/InputFile.h"
#include "bytes/LoadError.h"
#include "geometry/freeFunctions.h"
#include "tiles/jobFiles.h"
#include "tiles/rawArrays.h"
#include "zef/errors.h"

namespace QUOR_ZEF {

namespace {

constexpr uint64 tileMark = 0x32656c6974'66657aU;  // "zeftile2"

struct Head {
    uint64 mark = tileMark;
    uint64 digest = 0;
    uint64 tile = 0;
    TileCounts counts;
};

Head readHead(RawReader& reader, uint64 digest, std::uint32_t tile) {
    Head head;
    head.mark = reader.readValue<uint64>();
    head.digest = reader.readValue<uint64>();
    head.tile = reader.readValue<uint64>();
    if (head.mark != tileMark) throw LoadError("no mesh of a tile");
    if (head.digest != digest || head.tile != tile) throw LoadError("this is the mesh of another job or tile");
    head.counts.numVertices = reader.readValue<uint64>();
    head.counts.numBandVertices = reader.readValue<uint64>();
    head.counts.numCoreTriangles = reader.readValue<uint64>();
    head.counts.bColored = reader.readValue<uint64>() != 0;
    return head;
}

void require(bool bSound) {
    if (!bSound) throw LoadError("changed: its numbers do not fit together");
}

void checkTriples(const std::vector<std::uint32_t>& vTriples, const std::vector<std::uint32_t>& vPieces,
                  std::size_t numVertices, std::size_t numPieces) {
    require(vTriples.size() == 3 * vPieces.size());
    require(std::ranges::all_of(vTriples, [&](std::uint32_t i) { return i < numVertices; }));
    require(std::ranges::all_of(vPieces, [&](std::uint32_t i) { return i < numPieces; }));
}

TileMesh readBandPart(RawReader& reader) {
    TileMesh mesh;
    mesh.vVertices = reader.readVertices();
    mesh.vKeys = reader.readArray<SeamKey>();
    mesh.vBand = reader.readArray<std::uint32_t>();
    mesh.vBeyond = reader.readArray<Beyond>();
    mesh.vCoreBeyond = reader.readArray<std::uint32_t>();
    mesh.vPieces = reader.readArray<PieceSums>();
    require(mesh.vKeys.size() == mesh.vVertices.size() && mesh.vBeyond.size() == mesh.vBand.size());
    require(mesh.vCoreBeyond.size() == mesh.vBand.size() && mesh.vBand.size() % 3 == 0);
    require(std::ranges::all_of(mesh.vBeyond, [](Beyond beyond) { return beyond <= Beyond::CORE; }));
    require(std::ranges::all_of(mesh.vBand, [&](std::uint32_t i) { return i < mesh.vVertices.size(); }));
    for (std::size_t side = 0; side < mesh.vBand.size(); ++side)
        require(mesh.vCoreBeyond[side] < mesh.vPieces.size() || mesh.vCoreBeyond[side] == TileMesh::none);
    return mesh;
}

// fn(reader, counts), and in the words of a FileError what is wrong with the file.
template <class Fn>
TileMesh readWith(const std::filesystem::path& job, uint64 digest, std::uint32_t tile, const Fn& fn) {
    const std::filesystem::path path = tilePath(job, tile);
    try {
        const InputFile file(path.string());
        RawReader reader(file);
        return fn(reader, readHead(reader, digest, tile).counts);
    } catch (const LoadError& error) {
        throw FileError(path.string() + ": " + error.what() + "; delete this file and mesh the tile again");
    }
}

}  // namespace

PieceSums sumsOf(const Point3& a, const Point3& b, const Point3& c, const Point3& origin) {
    const Vector3 normal = cross(b - a, c - a);
    return {0, normal.length() / 2.0, ((a - origin) * normal) / 6.0};
}

bool TileMesh::hasColor() const {
    return std::ranges::any_of(vVertices, [](const Point3& p) { return p.hasColor(); });
}

void writeTileMesh(const std::filesystem::path& job, uint64 digest, std::uint32_t tile, const TileMesh& mesh,
                   double seconds) {
    static_assert(sizeof(SeamKey) == 16 && sizeof(PieceSums) == 24);
    const std::filesystem::path path = tilePath(job, tile);
    const std::span<const Point3> vertices = mesh.vVertices;
    const std::size_t numBand = mesh.vKeys.size();
    AtomicFile file(path.string());
    for (const uint64 value : {tileMark, digest, uint64{tile}, uint64{vertices.size()}, uint64{numBand},
                               uint64{mesh.vCorePieces.size()}, uint64{mesh.hasColor()}})
        file.writeRaw(value);
    writeVertices(file, vertices.first(numBand));
    writeArray(file, mesh.vKeys);
    writeArray(file, mesh.vBand);
    writeArray(file, mesh.vBeyond);
    writeArray(file, mesh.vCoreBeyond);
    writeArray(file, mesh.vPieces);
    writeVertices(file, vertices.subspan(numBand));
    writeArray(file, mesh.vInnerKeys);
    writeArray(file, mesh.vCore);
    writeArray(file, mesh.vCorePieces);
    commitFile(file, path);
    const uint64 numTriangles = mesh.vCorePieces.size() + mesh.vBand.size() / 3;
    writeRecord(job, digest, {StepKind::MESH, tile}, {sumOf(path), 0, numTriangles, vertices.size(), seconds});
}

TileMesh readTileMesh(const std::filesystem::path& job, uint64 digest, std::uint32_t tile) {
    return readWith(job, digest, tile, [](RawReader& reader, const TileCounts&) {
        TileMesh mesh = readBandPart(reader);
        const std::vector<Point3> vInner = reader.readVertices();
        mesh.vVertices.insert(mesh.vVertices.end(), vInner.begin(), vInner.end());
        mesh.vInnerKeys = reader.readArray<SeamKey>();
        require(mesh.vInnerKeys.size() == vInner.size() && std::ranges::is_sorted(mesh.vInnerKeys));
        mesh.vCore = reader.readArray<std::uint32_t>();
        mesh.vCorePieces = reader.readArray<std::uint32_t>();
        require(reader.isAtEnd());
        checkTriples(mesh.vCore, mesh.vCorePieces, mesh.vVertices.size(), mesh.vPieces.size());
        return mesh;
    });
}

TileMesh readTileBand(const std::filesystem::path& job, uint64 digest, std::uint32_t tile, TileCounts& counts) {
    return readWith(job, digest, tile, [&](RawReader& reader, const TileCounts& found) {
        counts = found;
        return readBandPart(reader);
    });
}

}  // namespace QUOR_ZEF
