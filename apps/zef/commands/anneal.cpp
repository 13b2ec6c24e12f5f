#include "commands/commands.h"
#include "files/meshes.h"
#include "meshChange.h"
#include "zef/refinement.h"

namespace {

int runAnneal(const MeshChange& files, CommandRun& commandRun) {
    return changeMesh(files, commandRun, "annealing",
                      [&](zef::TriangleMesh& mesh) { zef::anneal(mesh, commandRun.getContext(), files.bUntangle); });
}

}  // namespace

void addAnneal(Commands& commands) {
    auto pFiles = std::make_shared<MeshChange>();
    CLI::App& command = *commands.app.add_subcommand(
        "anneal", "Straighten creases by flips and simulated annealing: better, and some 20 times as long");
    addMeshChange(command, *pFiles);
    addUntangleOption(command, pFiles->bUntangle);
    addExamples(command, {{"zef anneal mesh.ply -o sharp.ply", "The same, better and slower."}});
    onRun(commands, command, pFiles, runAnneal);
}
