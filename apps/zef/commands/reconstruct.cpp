#include "chain.h"
#include "commands/commands.h"
#include "failures.h"
#include "inputs.h"
#include "measure.h"
#include "meshes.h"
#include "outputs.h"
#include "topology.h"
#include "zef/Mesh.h"
#include "zef/meshCheck.h"
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

std::shared_ptr<zef::Mesh> makeMesh(std::vector<zef::Point3>& vPoints, const Options& options,
                                    zef::ReconstructInfo& info) {
    std::shared_ptr<zef::Mesh> pMesh = zef::reconstruct(vPoints, options.library, &info);
    if (!pMesh || pMesh->getNumT() == 0) {
        throw Failure("no surface came out of the points; try a larger --factor or another --spacing");
    }
    if (options.bKeepNonManifold) return pMesh;
    zef::ManifoldReport ignored;  // the report counts what is left, not what was mended
    zef::makeManifold(pMesh, ignored);
    return pMesh;
}

int runReconstruct(const Options& options, CommandRun& commandRun) {
    checkMeshOutput(options.output, options.vInputs);
    Report& report = commandRun.report;
    std::vector<zef::Point3> vPoints = readPoints(commandRun, options.vInputs);
    const double secondsRead = commandRun.watch.lap();

    commandRun.step("reconstructing");
    zef::ReconstructInfo info;
    const std::shared_ptr<zef::Mesh> pMesh = makeMesh(vPoints, options, info);
    const double secondsReconstruct = commandRun.watch.lap();

    report.addCount("points", "points", vPoints.size());
    report.addNumber("spacing", "spacing", info.usedSpacing);
    report.addCount("cells", "cells", info.numCells);
    const Box box = measureBox(vPoints);
    const Shift shift = chooseShift(commandRun, options.output, box);
    if (narrowsMesh(options.output)) warnOfRounding(commandRun, box, shift, info.usedSpacing);
    vPoints = {};
    runChain(commandRun, options.chain, !options.bKeepNonManifold, pMesh);
    const double secondsRefine = commandRun.watch.lap();
    reportMesh(report, zef::checkMesh(*pMesh));
    commandRun.watch.lap();

    writeMeshFile(commandRun, options.output, shift, pMesh);
    report.addSeconds("seconds_read", "read", secondsRead);
    report.addSeconds("seconds_reconstruct", "reconstruct", secondsReconstruct);
    if (!options.chain.isEmpty()) report.addSeconds("seconds_refine", "refine", secondsRefine);
    report.addStages();
    report.addSeconds("seconds_write", "write", commandRun.watch.lap());
    report.addBytes("peak_bytes", "peak memory", peakBytes());
    return EXIT_DONE;
}

void addLibraryOptions(CLI::App& command, zef::ReconstructOptions& library) {
    CLI::Option* pSpacing =
        command.add_option("--spacing", library.spacing, "Distance of the vertices, in the unit of the points")
            ->check(CLI::PositiveNumber);
    command.add_option("--factor", library.factor, "The same as a multiple of the measured spacing")
        ->check(CLI::PositiveNumber)
        ->capture_default_str()
        ->excludes(pSpacing);
    command.add_flag("--smooth", library.smooth, "One more pass of smoothing, for noisy scans");
    command.add_option("--grow", library.growSteps, "How far gaps are closed, in steps; 0 leaves them open")
        ->check(CLI::NonNegativeNumber)
        ->capture_default_str();
}

}  // namespace

void addReconstruct(Commands& commands) {
    auto pOptions = std::make_shared<Options>();
    CLI::App& command = *commands.app.add_subcommand("reconstruct", "Make a triangle mesh from one or more scans");
    command.add_option("IN", pOptions->vInputs, "Files of points, taken together")->required();
    addLibraryOptions(command, pOptions->library);
    command.add_flag("--keep-non-manifold", pOptions->bKeepNonManifold,
                     "Leave edges of more than two triangles as they are");
    addChainOptions(command, pOptions->chain);
    addOutputOptions(command, pOptions->output, false);
    addTalkOptions(command, pOptions->talk);
    onRun(commands, command, pOptions, runReconstruct);
}
