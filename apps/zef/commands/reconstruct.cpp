#include "chain.h"
#include "commands/commands.h"
#include "failures.h"
#include "inputs.h"
#include "measure.h"
#include "meshes.h"
#include "numbers.h"
#include "zef/Mesh.h"
#include "zef/zef_api_functions.h"

namespace {

// Fewer borders and specks on real scans than with 1.
constexpr double defaultFactor = 1.3;

struct Options {
    std::vector<std::string> vInputs;
    zef::ReconstructOptions library;
    bool bKeepNonManifold = false;
    Chain chain;
    OutputOptions output;
    TalkOptions talk;

    Options() { library.factor = defaultFactor; }
};

void reportCloud(Report& report, std::size_t numPoints, const zef::ReconstructInfo& info) {
    report.addCount("points", "points", numPoints);
    if (info.measuredSpacing > 0.0) {
        report.addNumber("spacing", "spacing measured", info.measuredSpacing);
    } else {
        report.add("spacing", "", nullptr, "");
    }
    report.addNumber("spacing_used", "distance of the vertices", info.usedSpacing);
    report.addCount("cells", "cells", info.numCells);
}

int runReconstruct(const Options& options, CommandRun& commandRun) {
    checkMeshOutput(options.output, options.vInputs);
    std::vector<zef::Point3> vPoints = readPoints(commandRun, options.vInputs);
    commandRun.lap("seconds_read", "read");

    commandRun.step("reconstructing");
    zef::ReconstructInfo info;
    const std::shared_ptr<zef::Mesh> pMesh = zef::reconstruct(vPoints, options.library, &info);
    mend(pMesh, options.bKeepNonManifold, {.fillHoles = options.library.growSteps > 0},
         "no surface came out of the points; try a larger --factor or another --spacing");
    pMesh->colorizeFilledHoles();  // of a scan with colours
    commandRun.lap("seconds_reconstruct", "reconstruct");

    reportCloud(commandRun.report, vPoints.size(), info);
    const Box box = measureBox(vPoints);
    vPoints = {};
    if (!options.chain.isEmpty()) {
        runChain(commandRun, options.chain, !options.bKeepNonManifold, pMesh);
        commandRun.lap("seconds_refine", "refine");
    }
    deliverMesh(commandRun, options.output, box, info.usedSpacing, pMesh);
    return EXIT_DONE;
}

void addLibraryOptions(CLI::App& command, zef::ReconstructOptions& library) {
    CLI::Option* pSpacing =
        command.add_option("--spacing", library.spacing, "Distance of the vertices, in the unit of the points")
            ->check(checkNumber)
            ->check(CLI::PositiveNumber);
    command.add_option("--factor", library.factor, "The same as a multiple of the measured spacing")
        ->check(checkNumber)
        ->check(CLI::PositiveNumber)
        ->capture_default_str()
        ->excludes(pSpacing);
    command.add_flag("--smooth", library.smooth, "One more pass of smoothing, for noisy scans");
    command.add_option("--grow", library.growSteps, "How far gaps are closed, in steps; 0 leaves them open")
        ->check(CLI::NonNegativeNumber)
        ->capture_default_str();
    command.add_flag("--keep-borders,!--no-keep-borders", library.keepBorders,
                     "Open borders stay where the points end, whatever --grow adds beyond them (the default), or not");
}

}  // namespace

void addReconstruct(Commands& commands) {
    auto pOptions = std::make_shared<Options>();
    CLI::App& command = *commands.app.add_subcommand("reconstruct", "Make a triangle mesh from one or more scans");
    command.add_option("IN", pOptions->vInputs, "Files of points, taken together")->required();
    addLibraryOptions(command, pOptions->library);
    addMendOption(command, pOptions->bKeepNonManifold);
    addChainOptions(command, pOptions->chain);
    addOutputOptions(command, pOptions->output, false);
    addTalkOptions(command, pOptions->talk);
    onRun(commands, command, pOptions, runReconstruct);
}
