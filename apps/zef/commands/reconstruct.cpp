#include <array>

#include "chain.h"
#include "commands/commands.h"
#include "failures.h"
#include "files/inputs.h"
#include "files/meshes.h"
#include "numbers.h"
#include "options.h"
#include "zef/reconstruction.h"
#include "zef/refinement.h"

namespace {

struct Options {
    std::vector<std::string> vInputs;
    zef::ReconstructOptions library;
    std::string viewpoint;  // empty or "x,y,z"
    bool bKeepNonManifold = false;
    Chain chain;
    OutputOptions output;
    TalkOptions talk;
};

void reportCloud(Report& report, std::size_t numPoints, const zef::Reconstruction& made) {
    report.addCount("points", "points", numPoints);
    if (made.numStrays > 0) report.addCount("strays", "stray points left out", made.numStrays);
    if (made.numOutliers > 0) report.addCount("outliers", "outliers left out", made.numOutliers);
    if (made.measuredSpacing > 0.0) {
        report.addNumber("spacing", "spacing measured", made.measuredSpacing);
    } else {
        report.add("spacing", "", nullptr, "");
    }
    report.addNumber("spacing_used", "distance of the vertices", made.spacing);
    report.addCount("cells", "cells", made.numCells);
    if (made.numRemovedPieces > 0) {
        report.addCount("removed_pieces", "small pieces removed", made.numRemovedPieces);
        report.addCount("removed_triangles", "triangles of small pieces", made.numRemovedTriangles);
    }
    if (made.sideRule == zef::SideRule::NONE) return;
    report.addText("sides", "sides by", zef::wordOf(made.sideRule));
    report.addCount("turned_pieces", "pieces turned", made.numTurnedPieces);
}

std::string checkViewpoint(const std::string& text) {
    std::array<double, 3> at;
    return parseThree(text, at) ? "" : "--viewpoint wants three finite numbers";
}

// What the files themselves know of the sides of their points belongs here too, below
// what the options say.
void addSides(const Options& options, zef::ReconstructOptions& library) {
    std::array<double, 3> at{};
    if (parseThree(options.viewpoint, at)) library.viewpoint = zef::Point3(at[0], at[1], at[2]);
}

int runReconstruct(const Options& options, CommandRun& commandRun) {
    if (options.bKeepNonManifold && !options.viewpoint.empty())
        throw UsageFailure("--viewpoint turns pieces of a mended mesh; leave out --keep-non-manifold");
    checkMeshOutput(options.output, options.vInputs);
    std::vector<zef::Point3> vPoints = readPoints(commandRun, options.vInputs);
    commandRun.lap("seconds_read", "read");

    commandRun.step("reconstructing");
    zef::ReconstructOptions library = options.library;
    library.mend = !options.bKeepNonManifold;
    addSides(options, library);
    zef::Reconstruction made = zef::reconstruct(vPoints, library, commandRun.getContext());
    if (!library.mend) zef::fillColors(made.mesh, commandRun.getContext());
    commandRun.lap("seconds_reconstruct", "reconstruct");

    reportCloud(commandRun.report, vPoints.size(), made);
    vPoints = {};
    if (!options.chain.isEmpty()) {
        runChain(commandRun, options.chain, library.mend, made.mesh);
        commandRun.lap("seconds_refine", "refine");
    }
    deliverMesh(commandRun, options.output, made.spacing, made.mesh);
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
    command
        .add_option(
            "--levels", library.levels,
            "How often the distance of points may double until they are too sparse for a surface; 0 as in even scans")
        ->check(CLI::Range(0, 10))
        ->capture_default_str();
    command.add_flag("--keep-outliers", library.keepOutliers,
                     "Mesh stray points and points that fly off the surfaces as well");
    command
        .add_option("--min-piece", library.minPiece, "Remove lonely pieces of fewer triangles than this; 0 keeps all")
        ->check(CLI::NonNegativeNumber)
        ->capture_default_str();
}

}  // namespace

void addReconstruct(Commands& commands) {
    auto pOptions = std::make_shared<Options>();
    CLI::App& command = *commands.app.add_subcommand("reconstruct", "Make a triangle mesh from one or more scans");
    command.add_option("IN", pOptions->vInputs, "Files of points, taken together")->required();
    addLibraryOptions(command, pOptions->library);
    command
        .add_option("--viewpoint", pOptions->viewpoint,
                    "Where the scanner stood, in the coordinates of the points: open pieces of the mesh look there")
        ->type_name("x y z")
        ->check(checkViewpoint);
    addMendOption(command, pOptions->bKeepNonManifold);
    addChainOptions(command, pOptions->chain);
    addOutputOptions(command, pOptions->output, false);
    addTalkOptions(command, pOptions->talk);
    onRun(commands, command, pOptions, runReconstruct);
}
