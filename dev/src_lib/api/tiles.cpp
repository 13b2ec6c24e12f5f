#include "zef/tiles.h"

#include <algorithm>
#include <array>
#include <limits>
#include <string>
#include <utility>

#include "api/calls.h"
#include "api/plans.h"
#include "api/scanMesh.h"
#include "tiles/TileOwners.h"
#include "tiles/TilePlan.h"
#include "tiles/jobFiles.h"
#include "tiles/makePlan.h"
#include "tiles/scanSample.h"
#include "tiles/splitInputs.h"

namespace QUOR_ZEF {

namespace {

namespace fs = std::filesystem;

constexpr double infinite = std::numeric_limits<double>::infinity();

void refuse(bool bGiven, const char* what) {
    if (bGiven) throw ArgumentError(what);
}

void checkOptions(const TileOptions& options) {
    constexpr double leastMemory = 128e6, narrowestHalo = TileOwners::bandWidth + 4, widestHalo = 1000.0;
    const ReconstructOptions& made = options.reconstruction;
    refuse(made.closed, "closed: tiles are open at their seams; close the joined mesh");
    refuse(!made.normals.empty(), "normals: tiles have none; give a viewpoint");
    refuse(made.grid.has_value(), "grid: tiles have one of their own");
    refuse(!made.mend, "mend: tiles meet where they are manifold; leave it as it is");
    QUOR_ZEF::checkOptions(made, 0);
    checkReading(options.reading);
    refuse(options.reading.grid > 0.0, "reading.grid: thin the points first, with readPoints() and write()");
    refuse(options.reading.every != 1, "reading.every: thin the points first, with readPoints() and write()");
    checkOption("memory", static_cast<double>(options.memory), leastMemory, infinite);
    checkOption("halo", options.halo, narrowestHalo, widestHalo);
    const bool bCuts = options.cuts != std::array<int, 3>{};
    refuse(bCuts && std::ranges::any_of(options.cuts, [](int num) { return num < 1; }),
           "cuts: give a number of 1 or more for each axis, or 0 for all");
}

std::vector<fs::path> absolutePaths(const std::vector<fs::path>& inputs) {
    if (inputs.empty()) throw ArgumentError("inputs: there is no file to read");
    std::vector<fs::path> paths;
    paths.reserve(inputs.size());
    for (const fs::path& input : inputs) paths.push_back(fs::absolute(input).lexically_normal());
    return paths;
}

template <class Fn>
auto readingFiles(const Context& context, const Fn& fn) {
    return runCall(context, [&] {
        planReadingFiles();
        auto result = fn();
        finishProgress();
        return result;
    });
}

// The grid of the plan, and the box of the points in it.
void findGrid(TilePlan& plan, const Survey& survey, const Context& context) {
    const ReconstructOptions& options = plan.options.reconstruction;
    if (!survey.all) {
        const Sample sample = readingFiles(partOf(context, 0.5, 0.9), [&] {
            return sampleInputs(plan.inputs, plan.options.reading, survey, options.keepOutliers, {});
        });
        plan.grid = layGrid(measureGrid(sample.points, options, partOf(context, 0.9, 1.0)), sample.low, sample.high);
        plan.numStrays = sample.numStrays;
        plan.low = sample.low;
        plan.high = sample.high;
        return;
    }
    plan.grid = measureGrid(*survey.all, options, partOf(context, 0.5, 1.0));
    Point3& low = plan.low;
    Point3& high = plan.high;
    low.set(infinite, infinite, infinite);
    high.set(-infinite, -infinite, -infinite);
    const Calc calc = calcOf(plan.grid);
    for (const Point3& p : *survey.all) {
        if (!isInGrid(calc, p)) {
            ++plan.numStrays;
            continue;
        }
        low.set(std::min(low.px, p.px), std::min(low.py, p.py), std::min(low.pz, p.pz));
        high.set(std::max(high.px, p.px), std::max(high.py, p.py), std::max(high.pz, p.pz));
    }
}

TilePlan makePlan(std::vector<fs::path> inputs, const TileOptions& options, const Context& context) {
    const Survey survey =
        readingFiles(partOf(context, 0.0, 0.5), [&] { return surveyInputs(inputs, options.reading, {}); });
    if (survey.numPoints == 0) throw NoSurfaceError(noPoints);
    TilePlan plan;
    plan.inputs = std::move(inputs);
    plan.options = options;
    plan.numAllPoints = survey.numPoints;
    ReconstructOptions& made = plan.options.reconstruction;
    plan.viewpointTold = !made.viewpoint && survey.viewpoint;
    if (plan.viewpointTold) made.viewpoint = survey.viewpoint;
    findGrid(plan, survey, context);
    runCall({context.threads, {}, context.message}, [&] { cutPlan(plan, survey.blocks); });
    return plan;
}

void requireSame(const TilePlan& plan, const fs::path& job, const std::vector<fs::path>& inputs,
                 const TileOptions& options) {
    const std::string difference = differenceOf(plan, inputs, options);
    if (difference.empty()) return;
    throw ArgumentError("job: " + job.string() + " is planned already, and " + difference +
                        "; go on with what is planned, or take another folder");
}

}  // namespace

TilePlan planTiles(const std::vector<fs::path>& inputs, const fs::path& job, const TileOptions& options,
                   const Context& context) {
    checkOptions(options);
    const std::vector<fs::path> paths = absolutePaths(inputs);
    if (hasPlan(job)) {
        TilePlan plan = readTilePlan(job);
        requireSame(plan, job, paths, options);
        return plan;
    }
    TilePlan plan = makePlan(paths, options, context);
    if (planOf(textOf(plan)).inputs != plan.inputs)
        throw ArgumentError("inputs: their names must be UTF-8, to be noted in the plan; rename them");
    runCall(context, [&] {
        makeFolders(job);
        writePlan(job, plan);
    });
    return plan;
}

TilePlan readTilePlan(const fs::path& job) {
    return readPlan(job);
}

void splitTiles(const fs::path& job, const Context& context) {
    runCall(context, [&] {
        planReadingFiles();
        splitInputs(job);
        finishProgress();
    });
}

TileState readTileState(const fs::path& job) {
    const TilePlan plan = readTilePlan(job);
    const uint64 digest = digestOf(plan);
    TileState state;
    const auto look = [&](const Step& step) {
        const std::optional<StepRecord> record = findRecord(job, digest, step);
        if (record) state.seconds += record->seconds;
        return record;
    };
    state.split = look({StepKind::SPLIT, 0}).has_value();
    for (std::uint32_t tile = 0; tile < plan.boxes.size(); ++tile) {
        state.split = look({StepKind::POINTS, tile}) && state.split;
        const std::optional<StepRecord> record = look({StepKind::MESH, tile});
        state.meshed.push_back(record.has_value());
        if (!record) continue;
        state.numTriangles += record->numTriangles;
        state.numVertices += record->numVertices;
    }
    state.settled = look({StepKind::SETTLE, 0}).has_value();
    const std::optional<StepRecord> joined = look({StepKind::JOIN, 0});
    state.joined = joined.has_value();
    if (joined) {
        state.numTriangles = joined->numTriangles;
        state.numVertices = joined->numVertices;
    }
    return state;
}

}  // namespace QUOR_ZEF
