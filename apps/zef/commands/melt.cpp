#include "commands/commands.h"
#include "failures.h"
#include "meshes.h"
#include "outputs.h"
#include "topology.h"
#include "triangles.h"
#include "zef/Mesh.h"
#include "zef/meshCheck.h"
#include "zef/zef_api_functions.h"

namespace {

struct Options {
    std::string path;
    SamplingOptions sampling;
    bool bKeepNonManifold = false;
    OutputOptions output;
    TalkOptions talk;
};

std::shared_ptr<zef::Mesh> makeMesh(std::vector<zef::Point3>& vCorners, const Options& options, double spacing) {
    std::shared_ptr<zef::Mesh> pMesh = zef::melt(vCorners, spacing, options.sampling.featureAngle);
    if (!pMesh || pMesh->getNumT() == 0) {
        throw Failure("no surface came out of the triangles; try a smaller --spacing");
    }
    if (options.bKeepNonManifold) return pMesh;
    zef::ManifoldReport ignored;  // the report counts what is left, not what was mended
    zef::makeManifold(pMesh, ignored);
    return pMesh;
}

int runMelt(const Options& options, CommandRun& commandRun) {
    checkMeshOutput(options.output, {options.path});
    Report& report = commandRun.report;
    std::vector<zef::Point3> vCorners = readCorners(commandRun, options.path);
    const Box box = measureBox(vCorners);
    const double spacing = chooseSpacing(commandRun, options.sampling, box);
    report.addCount("input_triangles", "triangles read", vCorners.size() / 3);
    const double secondsRead = commandRun.watch.lap();

    commandRun.step("melting");
    const std::shared_ptr<zef::Mesh> pMesh = makeMesh(vCorners, options, spacing);
    const double secondsMelt = commandRun.watch.lap();

    vCorners = {};
    const Shift shift = chooseShift(commandRun, options.output, box);
    if (narrowsMesh(options.output)) warnOfRounding(commandRun, box, shift, spacing);
    reportMesh(report, zef::checkMesh(*pMesh));
    commandRun.watch.lap();

    writeMeshFile(commandRun, options.output, shift, pMesh);
    report.addSeconds("seconds_read", "read", secondsRead);
    report.addSeconds("seconds_melt", "melt", secondsMelt);
    report.addStages();
    report.addSeconds("seconds_write", "write", commandRun.watch.lap());
    report.addBytes("peak_bytes", "peak memory", peakBytes());
    return EXIT_DONE;
}

}  // namespace

void addMelt(Commands& commands) {
    auto pOptions = std::make_shared<Options>();
    CLI::App& command =
        *commands.app.add_subcommand("melt", "Make one clean mesh of triangles that overlap or do not fit together");
    command.add_option("IN", pOptions->path, "A file of triangles")->required();
    addSamplingOptions(command, pOptions->sampling);
    command.add_flag("--keep-non-manifold", pOptions->bKeepNonManifold,
                     "Leave edges of more than two triangles as they are");
    addOutputOptions(command, pOptions->output, false);
    addTalkOptions(command, pOptions->talk);
    onRun(commands, command, pOptions, runMelt);
}
