#include "commands/commands.h"
#include "files/meshes.h"
#include "meshChange.h"
#include "zef/refinement.h"

namespace {

int runFlip(const MeshChange& files, CommandRun& commandRun) {
    return changeMesh(files, commandRun, "flipping",
                      [&](zef::TriangleMesh& mesh) { zef::flipEdges(mesh, commandRun.getContext(), files.bUntangle); });
}

}  // namespace

void addFlip(Commands& commands) {
    auto pFiles = std::make_shared<MeshChange>();
    CLI::App& command = *commands.app.add_subcommand("flip", "Straighten creases by flipping edges, in one pass");
    addMeshChange(command, *pFiles);
    addUntangleOption(command, pFiles->bUntangle);
    addExamples(command, {{"zef flip mesh.ply -o sharp.ply", "Creases come straight."}});
    onRun(commands, command, pFiles, runFlip);
}
