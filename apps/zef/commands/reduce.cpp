#include "commands/commands.h"
#include "meshChange.h"
#include "numbers.h"
#include "zef/Mesh.h"
#include "zef/meshOperations.h"

namespace {

// By default edges of a few times the average may go: triangles may grow where
// the surface is flat, and stay small enough for further work.
constexpr double defaultMaxLength = 4.0;  // average edge lengths

struct Options : MeshChange {
    double maxLength = 0.0;  // world units; 0: defaultMaxLength
    double maxTurn = 5.0;    // degrees
};

int runReduce(const Options& options, CommandRun& commandRun) {
    return changeMesh(options, commandRun, "reducing", [&](const std::shared_ptr<zef::Mesh>& pMesh) {
        const double maxLength =
            options.maxLength > 0.0 ? options.maxLength : defaultMaxLength * pMesh->getAverageEdgeLength();
        commandRun.report.addNumber("max_length", "longest edge to merge", maxLength);
        const int numRemoved = zef::reduce(pMesh, maxLength, options.maxTurn);
        commandRun.report.addCount("removed_triangles", "triangles merged away",
                                   static_cast<std::uint64_t>(numRemoved));
    });
}

}  // namespace

void addReduce(Commands& commands) {
    auto pOptions = std::make_shared<Options>();
    CLI::App& command = *commands.app.add_subcommand("reduce", "Remove triangles where the surface is nearly flat");
    addMeshChange(command, *pOptions);
    command
        .add_option("--max-length", pOptions->maxLength,
                    "The longest edge that may be merged away, in the unit of the mesh; by default 4 average edges")
        ->check(checkNumber)
        ->check(CLI::PositiveNumber);
    command.add_option("--max-turn", pOptions->maxTurn, "How far one merge may turn a triangle, in degrees")
        ->check(checkNumber)
        ->check(CLI::Range(0.0, 180.0))
        ->capture_default_str();
    onRun(commands, command, pOptions, runReduce);
}
