#include "commands/commands.h"
#include "failures.h"
#include "files/meshes.h"
#include "files/triangles.h"
#include "reports/memory.h"

namespace {

struct MeltChoices {
    std::string path;
    zef::MeltOptions sampling;
    bool bKeepNonManifold = false;
    bool bAnyway = false;
    OutputOptions output;
    TalkOptions talk;
};

int runMelt(const MeltChoices& options, CommandRun& commandRun) {
    checkMeshOutput(options.output, {options.path});
    std::vector<zef::Point3> vCorners = readCorners(commandRun, options.path);
    zef::MeltOptions sampling = chooseSpacing(commandRun, options.sampling, vCorners);
    sampling.mend = !options.bKeepNonManifold;
    commandRun.report.addCount("input_triangles", "triangles read", vCorners.size() / 3);
    commandRun.lap("seconds_read", "read");

    if (!options.bAnyway) requireMemory(vCorners, sampling.spacing, bytesPerMelted);
    commandRun.step("melting");
    const zef::TriangleMesh mesh = zef::melt(vCorners, sampling, commandRun.getContext());
    vCorners = {};
    commandRun.lap("seconds_melt", "melt");
    deliverMesh(commandRun, options.output, sampling.spacing, mesh);
    return EXIT_DONE;
}

}  // namespace

void addMelt(Commands& commands) {
    auto pOptions = std::make_shared<MeltChoices>();
    CLI::App& command =
        *commands.app.add_subcommand("melt", "Make one clean mesh of triangles that overlap or do not fit together");
    command.add_option("IN", pOptions->path, "A file of triangles")->required();
    addSamplingOptions(command, pOptions->sampling);
    addAnywayOption(command, pOptions->bAnyway);
    addMendOption(command, pOptions->bKeepNonManifold);
    addUntangleOption(command, pOptions->sampling.untangle);
    command.add_flag("--outer", pOptions->sampling.outer,
                     "Leave out all that cannot be seen from outside; the triangles must have no borders");
    addOutputOptions(command, pOptions->output, OutputName::REQUIRED);
    addTalkOptions(command, pOptions->talk);
    addExamples(command, {{"zef melt parts.stl -o whole.ply", "One mesh around triangles that overlap."},
                          {"zef melt parts.stl -o hull.ply --outer", "Without what is inside, or shared by two parts."},
                          {"zef melt parts.stl -o fine.ply --spacing 0.1", "With vertices at that distance."}});
    onRun(commands, command, pOptions, runMelt);
}
