#include "chain.h"
#include "commands/commands.h"
#include "meshChange.h"
#include "numbers.h"
#include "zef/Mesh.h"
#include "zef/meshCheck.h"
#include "zef/meshOperations.h"

namespace {

// By default edges of a few times the average may go: triangles may grow where
// the surface is flat, and stay small enough for further work.
constexpr double defaultMaxLength = 4.0;  // average edge lengths

struct Options : MeshChange {
    double maxLength = 0.0;  // world units; 0: defaultMaxLength
    double maxTurn = 5.0;    // degrees
    bool bKeepNonManifold = false;
    ReduceGoal goal;  // given: instead of the others
};

// Such merges can leave more than two triangles at an edge.
void reduceByTurn(const Options& options, CommandRun& commandRun, const std::shared_ptr<zef::Mesh>& pMesh) {
    const bool bMend = !options.bKeepNonManifold && zef::checkMesh(*pMesh).bManifold;
    const double maxLength =
        options.maxLength > 0.0 ? options.maxLength : defaultMaxLength * pMesh->getAverageEdgeLength();
    commandRun.report.addNumber("max_length", "longest edge to merge", maxLength);
    const int numRemoved = zef::reduce(pMesh, maxLength, options.maxTurn);
    commandRun.report.addCount("removed_triangles", "triangles merged away", static_cast<std::uint64_t>(numRemoved));
    if (bMend) mendMesh(pMesh);
}

int runReduce(const Options& options, CommandRun& commandRun) {
    return changeMesh(options, commandRun, "reducing", [&](const std::shared_ptr<zef::Mesh>& pMesh) {
        if (options.goal.isGiven()) {
            reduceMesh(commandRun, options.goal, pMesh);
        } else {
            reduceByTurn(options, commandRun, pMesh);
        }
    });
}

}  // namespace

void addReduce(Commands& commands) {
    auto pOptions = std::make_shared<Options>();
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
                              ->check(checkNumber)
                              ->check(CLI::PositiveNumber);
    command
        .add_option("--max-length", pOptions->maxLength,
                    "Without those: the longest edge that may be merged away; by default 4 average edges")
        ->check(checkNumber)
        ->check(CLI::PositiveNumber)
        ->excludes(pTarget, pError);
    command
        .add_option("--max-turn", pOptions->maxTurn, "Without those: how far one merge may turn a triangle, in degrees")
        ->check(checkNumber)
        ->check(CLI::Range(0.0, 180.0))
        ->capture_default_str()
        ->excludes(pTarget, pError);
    command.add_flag("--keep-non-manifold", pOptions->bKeepNonManifold,
                     "Leave edges of more than two triangles that such merges make");
    onRun(commands, command, pOptions, runReduce);
}
