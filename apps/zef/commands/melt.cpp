#include "commands/commands.h"
#include "failures.h"
#include "meshes.h"
#include "triangles.h"
#include "zef/Mesh.h"
#include "zef/zef_api_functions.h"

namespace {

struct Options {
    std::string path;
    SamplingOptions sampling;
    bool bKeepNonManifold = false;
    OutputOptions output;
    TalkOptions talk;
};

int runMelt(const Options& options, CommandRun& commandRun) {
    checkMeshOutput(options.output, {options.path});
    std::vector<zef::Point3> vCorners = readCorners(commandRun, options.path);
    const Box box = measureBox(vCorners);
    const double spacing = chooseSpacing(commandRun, options.sampling, box);
    commandRun.report.addCount("input_triangles", "triangles read", vCorners.size() / 3);
    commandRun.lap("seconds_read", "read");

    commandRun.step("melting");
    const std::shared_ptr<zef::Mesh> pMesh = zef::melt(vCorners, spacing, options.sampling.featureAngle);
    vCorners = {};
    mend(pMesh, options.bKeepNonManifold, {.exactVertices = true},
         "no surface came out of the triangles; try a smaller --spacing");
    commandRun.lap("seconds_melt", "melt");
    deliverMesh(commandRun, options.output, box, spacing, pMesh);
    return EXIT_DONE;
}

}  // namespace

void addMelt(Commands& commands) {
    auto pOptions = std::make_shared<Options>();
    CLI::App& command =
        *commands.app.add_subcommand("melt", "Make one clean mesh of triangles that overlap or do not fit together");
    command.add_option("IN", pOptions->path, "A file of triangles")->required();
    addSamplingOptions(command, pOptions->sampling);
    addMendOption(command, pOptions->bKeepNonManifold);
    addOutputOptions(command, pOptions->output, false);
    addTalkOptions(command, pOptions->talk);
    onRun(commands, command, pOptions, runMelt);
}
