#include "chain.h"
#include "commands/commands.h"
#include "files/meshes.h"
#include "meshChange.h"
#include "numbers.h"
#include "zef/meshCheck.h"
#include "zef/refinement.h"

namespace {

// By default edges of a few times the average may go: triangles may grow where
// the surface is flat, and stay small enough for further work.
constexpr double defaultMaxLength = 4.0;  // average edge lengths

struct ReduceChoices : MeshChange {
    zef::ReduceFlatOptions library;
    bool bKeepNonManifold = false;
    ReduceGoal goal;  // given: instead of the others
};

// Such merges can leave more than two triangles at an edge.
void reduceByTurn(const ReduceChoices& options, CommandRun& commandRun, zef::TriangleMesh& mesh) {
    const zef::Context& context = commandRun.getContext();
    const bool bMend = !options.bKeepNonManifold && zef::check(mesh, context).manifold;
    zef::ReduceFlatOptions library = options.library;
    library.untangle = options.bUntangle;
    if (library.maxEdgeLength <= 0.0) library.maxEdgeLength = defaultMaxLength * zef::averageEdgeLength(mesh, context);
    commandRun.report.addNumber("max_length", "longest edge to merge", library.maxEdgeLength);
    const std::size_t numRemoved = zef::reduceFlat(mesh, library, context);
    commandRun.report.addCount("removed_triangles", "triangles merged away", numRemoved);
    if (bMend) mendMesh(commandRun, mesh);
}

int runReduce(const ReduceChoices& options, CommandRun& commandRun) {
    return changeMesh(options, commandRun, "reducing", [&](zef::TriangleMesh& mesh) {
        if (options.goal.isGiven()) {
            reduceMesh(commandRun, options.goal, options.bUntangle, mesh);
        } else {
            reduceByTurn(options, commandRun, mesh);
        }
    });
}

}  // namespace

void addReduce(Commands& commands) {
    auto pOptions = std::make_shared<ReduceChoices>();
    CLI::App& command = *commands.app.add_subcommand(
        "reduce", "Remove triangles: to a target, within an error, or, by default, where the surface is nearly flat");
    addMeshChange(command, *pOptions);
    CLI::Option* pTarget =
        command.add_option("--target", pOptions->goal.target, "A number of triangles, or a share such as 10%")
            ->check(checkTarget)
            ->type_name("N|P%");
    CLI::Option* pError = command
                              .add_option("--error", pOptions->goal.error,
                                          "How far the result may be from the mesh, in the unit of the mesh")
                              ->check(checkPositive);
    command
        .add_option("--max-length", pOptions->library.maxEdgeLength,
                    "Without those: the longest edge that may be merged away; by default 4 average edges")
        ->check(checkPositive)
        ->excludes(pTarget, pError);
    command
        .add_option("--max-turn", pOptions->library.maxDeviationDeg,
                    "Without those: how far one merge may turn a triangle, in degrees")
        ->check(checkNumber)
        ->check(CLI::Range(0.0, 180.0))
        ->capture_default_str()
        ->excludes(pTarget, pError);
    command.add_flag("--keep-non-manifold", pOptions->bKeepNonManifold,
                     "Leave edges of more than two triangles that such merges make");
    addUntangleOption(command, pOptions->bUntangle);
    addExamples(command, {{"zef reduce mesh.ply -o small.ply --target 10%", "A tenth of the triangles."},
                          {"zef reduce mesh.ply -o small.ply --error 0.1", "As few as stay within that distance."}});
    onRun(commands, command, pOptions, runReduce);
}
