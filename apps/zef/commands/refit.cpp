#include "zef/refinement.h"

#include "commands/commands.h"
#include "files/inputs.h"
#include "files/meshes.h"
#include "meshChange.h"
#include "numbers.h"
#include "reports/refit.h"

namespace {

struct RefitChoices : MeshChange {
    std::vector<std::string> vClouds;
    zef::RefitOptions library;
};

int runRefit(const RefitChoices& options, CommandRun& commandRun) {
    std::vector<std::string> vInputs = options.vClouds;
    vInputs.push_back(options.path);
    checkMeshOutput(options.output, vInputs);
    const zef::PointFile scan = readScan(commandRun, options.vClouds);
    return changeMesh(options, commandRun, "refitting", [&](zef::TriangleMesh& mesh) {
        const zef::RefitReport refit = zef::refit(mesh, scan.points, options.library, commandRun.getContext());
        reportNoise(commandRun.report, refit.noise);
        reportRefit(commandRun.report, refit);
    });
}

}  // namespace

void addRefit(Commands& commands) {
    auto pOptions = std::make_shared<RefitChoices>();
    CLI::App& command = *commands.app.add_subcommand(
        "refit", "Fit a mesh closer to its points: their noise goes, and creases become sharp");
    addMeshChange(command, *pOptions);
    command.add_option("CLOUD", pOptions->vClouds, "Files of the points, taken together")->required();
    command
        .add_option("--spacing", pOptions->library.spacing,
                    "Distance of the points, in their unit; by default measured")
        ->check(checkPositive);
    command
        .add_option("--radius", pOptions->library.radius,
                    "How far a triangle looks for points, in their spacings; by default by their noise, 1.5 to 4")
        ->check(checkPositive);
    addExamples(command,
                {{"zef refit mesh.ply scan.ply -o better.ply", "Fits the mesh to the points that it was made of."}});
    onRun(commands, command, pOptions, runRefit);
}
