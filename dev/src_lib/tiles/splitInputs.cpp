#include "tiles/splitInputs.h"

#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "cloud/Cloud.h"
#include "grid/Calc.h"
#include "tiles/TileFinder.h"
#include "tiles/TilePlan.h"
#include "tiles/TilePoints.h"
#include "tiles/inputPoints.h"
#include "tiles/jobFiles.h"

namespace QUOR_ZEF {

namespace {

constexpr std::uint32_t notWanted = std::numeric_limits<std::uint32_t>::max();

// The tiles that have no points yet, and the sum over the others.
struct Missing {
    std::vector<std::uint32_t> tiles;
    uint64 numPoints = 0;
};

Missing findMissing(const std::filesystem::path& job, uint64 digest, const TilePlan& plan) {
    Missing missing;
    for (std::uint32_t tile = 0; tile < plan.boxes.size(); ++tile) {
        const std::optional<StepRecord> record = findRecord(job, digest, {StepKind::POINTS, tile});
        if (record)
            missing.numPoints += record->numPoints;
        else
            missing.tiles.push_back(tile);
    }
    return missing;
}

// By tile, its position in the list.
std::vector<std::uint32_t> positionsOf(const std::vector<std::uint32_t>& vTiles, std::size_t numTiles) {
    std::vector<std::uint32_t> vPositions(numTiles, notWanted);
    for (std::uint32_t k = 0; k < vTiles.size(); ++k) vPositions[vTiles[k]] = k;
    return vPositions;
}

void requireSameInputs(const TilePlan& plan, uint64 numPoints) {
    if (numPoints == plan.numAllPoints) return;
    throw FileError(plan.inputs.front().string() + (plan.inputs.size() > 1 ? " and the other inputs" : "") +
                    ": there are " + std::to_string(numPoints) + " points now, and were " +
                    std::to_string(plan.numAllPoints) + " when the job was planned; plan it anew in another folder");
}

uint64 writePoints(const std::filesystem::path& job, uint64 digest, const TilePlan& plan,
                   const std::vector<std::uint32_t>& vTiles) {
    const Stopwatch watch;
    const Calc calc = calcOf(plan.grid);
    const std::vector<std::uint32_t> vPositions = positionsOf(vTiles, plan.boxes.size());
    TileFinder finder(plan, static_cast<uint64>(plan.options.halo), plan.numAllPoints);
    TilePointWriter writer(job, digest, vTiles);
    const InputFacts facts = readInputs(plan.inputs, plan.options.reading, false, [&](std::span<const Point3> points) {
        for (const Point3& p : points) {
            if (!isInGrid(calc, p)) continue;
            for (const std::uint32_t tile : finder.find(unpackRCD(calc.getRCD(p))))
                if (vPositions[tile] != notWanted) writer.add(vPositions[tile], p);
        }
    });
    requireSameInputs(plan, facts.numPoints);
    writer.finish(watch.seconds());
    uint64 num = 0;
    for (std::size_t k = 0; k < vTiles.size(); ++k) num += writer.numPoints(k);
    return num;
}

}  // namespace

void splitInputs(const std::filesystem::path& job) {
    const TilePlan plan = readPlan(job);
    const uint64 digest = digestOf(plan);
    makeFolders(job);
    Missing missing = findMissing(job, digest, plan);
    if (!missing.tiles.empty()) missing.numPoints += writePoints(job, digest, plan, missing.tiles);
    // The seconds stand in the records of the tiles.
    if (!missing.tiles.empty() || !isDone(job, digest, {StepKind::SPLIT, 0}))
        writeRecord(job, digest, {StepKind::SPLIT, 0}, {{}, missing.numPoints, 0, 0, 0.0});
}

}  // namespace QUOR_ZEF
