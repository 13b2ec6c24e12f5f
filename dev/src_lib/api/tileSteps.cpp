#include <cstdint>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "api/calls.h"
#include "api/plans.h"
#include "api/scanMesh.h"
#include "api/untangled.h"
#include "bytes/AtomicFile.h"
#include "cloud/Cloud.h"
#include "frame/License.h"
#include "io/precision.h"
#include "tiles/TileOwners.h"
#include "tiles/TilePlan.h"
#include "tiles/TilePoints.h"
#include "tiles/cutTile.h"
#include "tiles/jobFiles.h"
#include "tiles/joinTiles.h"
#include "tiles/settleSeams.h"
#include "tiles/tileParts.h"
#include "untangle/untangleMesh.h"
#include "zef/files.h"
#include "zef/tiles.h"

namespace QUOR_ZEF {

namespace {

// What would be decided of each tile alone is decided for all, or left out.
ReconstructOptions optionsOf(const TilePlan& plan) {
    ReconstructOptions options = plan.options.reconstruction;
    options.grid = plan.grid;
    options.thinWalls = options.measureCoverage = false;
    return settle(options);
}

// Without surface, an empty one.
TileMesh makeTile(const TilePlan& plan, std::uint32_t tile, const std::vector<Point3>& vPoints) {
    if (vPoints.empty()) return {};
    const ReconstructOptions options = optionsOf(plan);
    checkOptions(options, vPoints.size());
    const Calc calc = calcOf(plan.grid);
    const TileOwners owners(plan, tile);
    planReconstruction(options, vPoints.size());
    Findings findings = makeMesh(vPoints, {}, options, choicesOf(options));
    TriangleMesh& mesh = findings.result.mesh;
    std::vector<SeamKey> vKeys = keysOf(mesh, calc, owners);
    if (isRefitWanted(options)) refitToPoints(findings.counted, options, plan.grid.noise, findings.result);
    if (!needsDoubles(plan.low, plan.high, plan.grid.spacing)) roundToFloats(mesh);
    if (options.untangle && options.mend) {
        std::vector<Point3> vPlaces = mesh.vertices;
        findings.result.untangled = untangleMesh(mesh);
        vKeys = followKeys(mesh, vPlaces, vKeys, calc, owners);
    }
    finishProgress();
    return cutTile(mesh, vKeys, calc, owners);
}

TileMesh makeTileIfAny(const TilePlan& plan, std::uint32_t tile, const std::vector<Point3>& vPoints) {
    try {
        return makeTile(plan, tile, vPoints);
    } catch (const NoSurfaceError&) {
        return {};
    }
}

void requireDone(const std::filesystem::path& job, uint64 digest, const Step& step, const char* cure) {
    if (!isDone(job, digest, step))
        throw FileError(job.string() + ": " + step.name() + " is not done, or its file has changed; " + cure);
}

void requireMeshes(const std::filesystem::path& job, uint64 digest, const TilePlan& plan) {
    for (std::uint32_t tile = 0; tile < plan.boxes.size(); ++tile)
        requireDone(job, digest, {StepKind::MESH, tile}, "mesh this tile first");
}

}  // namespace

void meshTile(const std::filesystem::path& job, std::uint32_t tile, const Context& context) {
    const TilePlan plan = readPlan(job);
    if (tile >= plan.boxes.size())
        throw ArgumentError("tile: the job has " + std::to_string(plan.boxes.size()) + " tiles, from 0 on");
    runCall(context, [&] {
        const uint64 digest = digestOf(plan);
        if (isDone(job, digest, {StepKind::MESH, tile}, true)) return;
        requireDone(job, digest, {StepKind::POINTS, tile}, "split the job first");
        const Stopwatch watch;
        const std::vector<Point3> vPoints = readTilePoints(job, digest, tile);
        passLicenseGate("reconstruct", vPoints.size());
        const TileMesh mesh = makeTileIfAny(plan, tile, vPoints);
        writeTileMesh(job, digest, tile, mesh, watch.seconds());
    });
}

void settleTiles(const std::filesystem::path& job, const Context& context) {
    const TilePlan plan = readPlan(job);
    runCall(context, [&] {
        const uint64 digest = digestOf(plan);
        if (isDone(job, digest, {StepKind::SETTLE}, true)) return;
        requireMeshes(job, digest, plan);
        const Stopwatch watch;
        const SettledSeams seams = settleSeams(job, digest, plan);
        writeSeams(job, digest, seams, watch.seconds());
    });
}

void joinTiles(const std::filesystem::path& job, const Context& context) {
    const TilePlan plan = readPlan(job);
    runCall(context, [&] {
        const uint64 digest = digestOf(plan);
        if (isDone(job, digest, {StepKind::JOIN}, true)) return;
        requireMeshes(job, digest, plan);
        requireDone(job, digest, {StepKind::SETTLE}, "settle the job first");
        joinMeshes(job, digest, plan);
    });
}

void exportTileset(const std::filesystem::path& job, const std::filesystem::path& folder, const Context& context) {
    const TilePlan plan = readPlan(job);
    const uint64 digest = digestOf(plan);
    requireMeshes(job, digest, plan);
    requireDone(job, digest, {StepKind::SETTLE}, "settle the job first");
    const SettledSeams seams = readSeams(job, digest);
    TileParts parts(seams);
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error) throw FileError(folder.string() + ": " + error.message());
    std::vector<TilePart> vParts;
    const auto numTiles = static_cast<std::uint32_t>(plan.boxes.size());
    for (std::uint32_t tile = 0; tile < numTiles; ++tile) {
        const TriangleMesh mesh = parts.partOf(tile, readTileMesh(job, digest, tile));
        if (mesh.indices.empty()) continue;
        const std::string name = tilePath({}, tile).stem().string() + ".glb";
        write(folder / name, mesh, {}, partOf(context, double(tile) / numTiles, double(tile + 1) / numTiles));
        vParts.emplace_back(name, mesh);
    }
    const std::filesystem::path path = folder / "tileset.json";
    AtomicFile file(path.string());
    file.write(tilesetOf(vParts));
    commitFile(file, path);
}

}  // namespace QUOR_ZEF
