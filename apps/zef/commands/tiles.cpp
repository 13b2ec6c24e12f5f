#include "zef/tiles.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <thread>

#include "Interrupt.h"
#include "Workers.h"
#include "commands/commands.h"
#include "failures.h"
#include "files/inputs.h"
#include "files/meshes.h"
#include "files/outputs.h"
#include "files/pipes.h"
#include "libraryOptions.h"
#include "numbers.h"
#include "options.h"
#include "reports/resources.h"

namespace fs = std::filesystem;

namespace {

struct TilesChoices {
    std::vector<std::string> vInputs;
    std::string job;
    std::string tileset;  // a folder, or empty
    OutputOptions output;
    zef::ReadOptions reading;
    LibraryOptions library;
    std::uint64_t tileMemory = zef::TileOptions().memory;
    std::uint64_t memory = 0;  // of all tiles that are meshed at once; 0: what is free
    unsigned numWorkers = 0;   // 0: as many as threads, and as there is memory for
    int halo = zef::TileOptions().halo;
    std::string cuts;  // empty or "2x2x1"
    std::string step;  // empty: all
    std::optional<std::uint32_t> tile;
    const CLI::App* pCommand = nullptr;  // not owned; knows what was parsed
    TalkOptions talk;
};

// False if it is anything else than three numbers of 1 or more.
bool parseCuts(const std::string& text, std::array<int, 3>& cuts) {
    int length = 0;
    const int num = std::sscanf(text.c_str(), "%5dx%5dx%5d%n", cuts.data(), &cuts[1], &cuts[2], &length);
    return num == 3 && static_cast<std::size_t>(length) == text.size() &&
           std::all_of(cuts.begin(), cuts.end(), [](int cut) { return cut >= 1; });
}

std::string checkCuts(const std::string& text) {
    std::array<int, 3> cuts;
    return parseCuts(text, cuts) ? "" : "--cuts wants three numbers of tiles, such as 4x4x1";
}

unsigned numThreads(const TilesChoices& options) {
    return options.talk.numThreads > 0 ? options.talk.numThreads : std::max(1u, std::thread::hardware_concurrency());
}

// What a job that goes on may be told; what else belongs to the plan would be ignored.
void refuseOptionsOfPlan(const CLI::App& command) {
    constexpr std::array aboutRunning = {"job",  "output",  "force", "step",    "tile",   "workers", "memory",
                                         "json", "threads", "quiet", "verbose", "format", "tileset"};
    for (const CLI::Option* const pOption : command.get_options()) {
        const std::string name = pOption->get_single_name();
        if (pOption->count() == 0 || std::find(aboutRunning.begin(), aboutRunning.end(), name) != aboutRunning.end())
            continue;
        throw UsageFailure("--" + name + " counts when the job is planned: name its inputs too, or leave it out");
    }
}

// Tiles that are meshed at once.
unsigned numWorkersOf(const TilesChoices& options, std::uint64_t ofTile) {
    constexpr double share = 0.8;  // of what is free
    if (options.numWorkers > 0) return options.numWorkers;
    const std::uint64_t all =
        options.memory > 0 ? options.memory : static_cast<std::uint64_t>(share * static_cast<double>(usableBytes()));
    if (all < ofTile)
        throw Failure(std::string(options.memory > 0 ? "--memory is " : "free memory is ") + bytesText(all) +
                      ", and each tile may take " + bytesText(ofTile) +
                      ": plan a job with a smaller --tile-memory, or tell --workers 1 to try it all the same");
    return static_cast<unsigned>(std::min<std::uint64_t>(all / ofTile, numThreads(options)));
}

zef::TileOptions optionsOf(const TilesChoices& options) {
    zef::TileOptions tiles;
    tiles.reconstruction = settled(options.library);
    tiles.reading = options.reading;
    tiles.memory = options.tileMemory;
    tiles.halo = options.halo;
    if (!options.cuts.empty()) parseCuts(options.cuts, tiles.cuts);
    return tiles;
}

zef::TilePlan planned(const TilesChoices& options, CommandRun& commandRun) {
    if (options.vInputs.empty()) {
        refuseOptionsOfPlan(*options.pCommand);
        return zef::readTilePlan(options.job);
    }
    const std::vector<std::string> vFiles = filesOf(options.vInputs);
    if (std::any_of(vFiles.begin(), vFiles.end(), isPipe))
        throw UsageFailure("tiles read their inputs more than once: name files, not pipes");
    // What is short is better told before hours of planning and splitting; a job that is planned may be done already.
    const bool bMeshesLater = options.step.empty() && !fs::exists(fs::path(options.job) / "job.json");
    if (bMeshesLater) numWorkersOf(options, options.tileMemory);
    commandRun.step("planning");
    return zef::planTiles({vFiles.begin(), vFiles.end()}, options.job, optionsOf(options), commandRun.getContext());
}

class Meshing {
public:
    Meshing(const TilesChoices& choices, const zef::TilePlan& tilePlan, CommandRun& surroundings)
        : options(choices),
          plan(tilePlan),
          commandRun(surroundings),
          most(numWorkersOf(choices, tilePlan.options.memory)),
          workers(most) {}

    // Returns the number of tiles that failed.
    std::size_t meshMissing() {
        const zef::TileState state = zef::readTileState(options.job);
        for (std::uint32_t tile = 0; tile < state.meshed.size(); ++tile) {
            numAll += weightOf(tile);
            if (state.meshed[tile])
                numDone += weightOf(tile);
            else
                vMissing.push_back(tile);
        }
        startLargestFirst();
        tell();
        for (std::size_t next = 0; next < vMissing.size() || !workers.isEmpty();) {
            if (next < vMissing.size() && !workers.isFull())
                start(vMissing[next++]);
            else
                finishOne();
        }
        return numFailed;
    }

private:
    const TilesChoices& options;
    const zef::TilePlan& plan;
    CommandRun& commandRun;
    std::size_t most;  // at once
    Workers workers;
    std::vector<std::uint32_t> vMissing;
    std::uint64_t numDone = 0, numAll = 0;  // points, by which time goes
    std::size_t numEnded = 0, numFailed = 0;

    std::uint64_t weightOf(std::uint32_t tile) const { return plan.numPoints[tile] + 1; }

    // So that none of them is left alone at the end.
    void startLargestFirst() {
        std::stable_sort(vMissing.begin(), vMissing.end(),
                         [&](std::uint32_t a, std::uint32_t b) { return weightOf(a) > weightOf(b); });
    }

    void start(std::uint32_t tile) {
        const std::size_t threads =
            std::max<std::size_t>(1, numThreads(options) / std::min<std::size_t>(most, vMissing.size()));
        std::vector<std::string> vArguments = {"tiles",
                                               "--job",
                                               options.job,
                                               "--step",
                                               "mesh",
                                               "--tile",
                                               std::to_string(tile),
                                               "--threads",
                                               std::to_string(threads)};
        vArguments.emplace_back(options.talk.bVerbose ? "--verbose" : "--quiet");
        workers.start(tile, vArguments);
    }

    void finishOne() {
        const Workers::Ended ended = workers.waitForOne();
        const auto tile = static_cast<std::uint32_t>(ended.job);
        ++numEnded;
        numDone += weightOf(tile);
        if (!ended.fault.empty()) {
            ++numFailed;
            commandRun.warn("tile " + std::to_string(tile) + ": its process " + ended.fault);
        }
        tell();
    }

    void tell() {
        const std::size_t numTiles = plan.boxes.size();
        const std::string stage = "meshing tiles, " + countText(numTiles - vMissing.size() + numEnded - numFailed) +
                                  " of " + countText(numTiles);
        commandRun.getContext().progress(
            {stage, "tiles", static_cast<double>(numDone) / static_cast<double>(std::max<std::uint64_t>(numAll, 1))});
    }
};

void meshTiles(const TilesChoices& options, const zef::TilePlan& plan, CommandRun& commandRun) {
    if (options.tile) {
        if (*options.tile >= plan.boxes.size())
            throw UsageFailure("--tile " + std::to_string(*options.tile) + ": tiles are numbered from 0 to " +
                               std::to_string(plan.boxes.size() - 1));
        return zef::meshTile(options.job, *options.tile, commandRun.getContext());
    }
    const std::size_t numFailed = Meshing(options, plan, commandRun).meshMissing();
    if (numFailed > 0)
        throw Failure(options.job + ": " + countText(numFailed) + (numFailed == 1 ? " tile" : " tiles") +
                      " could not be meshed; once the cause is cured, the same command goes on");
}

// A link where the file system can, else a copy, and whole or not at all.
void placeResult(const TilesChoices& options) {
    const fs::path made = fs::path(options.job) / "mesh.ply", wanted = options.output.path;
    std::error_code error;
    if (fs::equivalent(made, wanted, error)) return;
    fs::path part = wanted;
    part += ".zef-part";
    fs::remove(part, error);
    fs::create_hard_link(made, part, error);
    if (error) {
        removeWhenInterrupted(part.string(), "");
        fs::copy_file(made, part, fs::copy_options::overwrite_existing, error);
    }
    if (!error) fs::rename(part, wanted, error);
    if (!error) return;
    std::error_code ignored;
    fs::remove(part, ignored);
    throw Failure(wanted.string() + ": " + error.message() + "; the mesh is " + made.string());
}

void reportState(const TilesChoices& options, const zef::TilePlan& plan, Report& report) {
    const zef::TileState state = zef::readTileState(options.job);
    const auto numMeshed = static_cast<std::uint64_t>(std::count(state.meshed.begin(), state.meshed.end(), true));
    report.addText("job", "job", options.job);
    report.addCount("points", "points", plan.numAllPoints);
    report.addCount("strays", plan.numStrays > 0 ? "left out, strays" : "", plan.numStrays);
    report.addNumber("spacing_used", "distance of the vertices", plan.grid.spacing);
    report.addText("density", "density", plan.grid.uneven ? "uneven" : "even");
    report.addCount("tiles", "tiles", plan.boxes.size());
    report.addFlag("split", "", state.split);
    report.addCount("meshed_tiles", numMeshed < plan.boxes.size() ? "tiles meshed" : "", numMeshed);
    report.addFlag("settled", "", state.settled);
    report.addFlag("joined", "", state.joined);
    report.addCount("vertices", state.joined ? "vertices" : "", state.numVertices);
    report.addCount("triangles", state.joined ? "triangles" : "", state.numTriangles);
    report.addSeconds("seconds_tiles", "all processes", state.seconds);
}

int runTiles(const TilesChoices& options, CommandRun& commandRun) {
    if (options.tile && options.step != "mesh") throw UsageFailure("--tile goes with --step mesh");
    const bool bAll = options.step.empty();
    if (!bAll && !options.output.path.empty()) throw UsageFailure("-o is written by the last step: leave out --step");
    if (!bAll && !options.tileset.empty())
        throw UsageFailure("--tileset is written by the last step: leave out --step");
    if (!options.output.path.empty()) {
        if (fs::path(options.output.path).extension() != ".ply")
            throw UsageFailure("-o: tiles are joined to a PLY file; zef convert makes others of it");
        checkOutput(options.output, options.vInputs);
    }
    sayWhenInterrupted("zef: cancelled; the same command goes on with what is done\n");
    const zef::Context& context = commandRun.getContext();
    const zef::TilePlan plan = planned(options, commandRun);
    commandRun.lap("seconds_plan", "plan");
    const zef::TileState state = zef::readTileState(options.job);
    const bool bMeshed = std::all_of(state.meshed.begin(), state.meshed.end(), [](bool bDone) { return bDone; });
    const auto run = [&](const std::string& step, const std::string& words, const auto& fn) {
        // What later steps have used already may have been deleted.
        const bool bUsed = state.joined || ((step == "split" || step == "mesh") && bMeshed);
        if (bAll ? bUsed : options.step != step) return;
        commandRun.step(words);
        fn();
        commandRun.lap("seconds_" + step, step);
    };
    run("split", "splitting the points", [&] { zef::splitTiles(options.job, context); });
    run("mesh", "meshing tiles", [&] { meshTiles(options, plan, commandRun); });
    run("settle", "settling seams", [&] { zef::settleTiles(options.job, context); });
    run("join", "joining tiles", [&] { zef::joinTiles(options.job, context); });
    if (!options.output.path.empty()) placeResult(options);
    if (!options.tileset.empty()) {
        commandRun.step("writing parts");
        zef::exportTileset(options.job, options.tileset, context);
    }
    reportState(options, plan, commandRun.report);
    commandRun.reportLaps();
    return EXIT_DONE;
}

void addJobOptions(CLI::App& command, TilesChoices& options) {
    command.add_option("--job", options.job, "The folder of the job: made if it is missing, gone on with if not")
        ->type_name("FOLDER")
        ->required();
    command
        .add_option(
            "--tile-memory", options.tileMemory,
            "Memory for one tile, such as 4G: what the scan is cut for, so that another number gives other tiles "
            "(default 2G)")
        ->transform(CLI::AsSizeValue(false))
        ->type_name("BYTES");
    command
        .add_option("--memory", options.memory,
                    "Memory for all tiles that are meshed at once; by default most of what is free")
        ->transform(CLI::AsSizeValue(false))
        ->type_name("BYTES");
    command
        .add_option(
            "--workers", options.numWorkers,
            "Tiles to mesh at once, each in a process of its own; by default as many as threads, and as go into "
            "--memory")
        ->check(CLI::Range(1u, 1024u));
    command
        .add_option("--halo", options.halo,
                    "Cells around its box that a tile reads as well; what is decided farther away it does not know")
        ->check(CLI::Range(16, 1000))
        ->capture_default_str();
    command.add_option("--cuts", options.cuts, "So many tiles along x, y and z, equally wide, whatever the memory")
        ->type_name("NxNxN")
        ->check(checkCuts);
    command
        .add_option("--step", options.step,
                    "Only this step, which others on other machines may do too; without it all that are not done")
        ->check(CLI::IsMember({"plan", "split", "mesh", "settle", "join"}));
    command.add_option("--tile", options.tile, "With --step mesh: only this tile, in this process; the first is 0");
}

}  // namespace

void addTiles(Commands& commands) {
    auto pOptions = std::make_shared<TilesChoices>();
    CLI::App& command = *commands.app.add_subcommand(
        "tiles", "Make the mesh of scans larger than memory, in tiles that processes and machines share");
    pOptions->pCommand = &command;
    command.add_option("IN", pOptions->vInputs,
                       "Files of points or folders of them, taken together; none to go on with a job");
    addJobOptions(command, *pOptions);
    addReadOptions(command, pOptions->reading);
    addGridOptions(command, pOptions->library);
    addPieceOptions(command, pOptions->library);
    addViewpointOption(command, pOptions->library);
    addUntangleOption(command, pOptions->library.given.untangle);
    addRefitOption(command, pOptions->library,
                   "Fit the mesh closer to the points, which takes their noise away and makes creases sharp: to those "
                   "within a radius by their noise (auto), or this one in spacings");
    command.add_option("-o,--output", pOptions->output.path, "The PLY file to write; else it is mesh.ply in the job")
        ->type_name("FILE");
    command
        .add_option("--tileset", pOptions->tileset,
                    "Also write the mesh in parts for viewers: the folder of a tileset (3D Tiles 1.1), each tile as "
                    "binary glTF")
        ->type_name("FOLDER");
    command.add_flag("--force", pOptions->output.bForce, "Replace an output of any kind, also one that is an input");
    addTalkOptions(command, pOptions->talk);
    addExamples(
        command,
        {{"zef tiles town/ --job town.job -o town.ply", "All that is in the folder, in as many tiles as it wants."},
         {"zef tiles --job town.job -o town.ply", "Goes on with it, after whatever ended it."},
         {"zef tiles town/ --job town.job --step plan --tile-memory 6G", "Plans for machines that have so much."},
         {"zef tiles --job town.job --step mesh --tile 7", "One tile, on any machine that sees the folder."}});
    onRun(commands, command, pOptions, runTiles);
}
