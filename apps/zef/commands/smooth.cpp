#include "commands/commands.h"
#include "files/meshes.h"
#include "meshChange.h"
#include "numbers.h"
#include "zef/refinement.h"

namespace {

struct SmoothChoices : MeshChange {
    zef::SmoothingOptions library;
};

int runSmooth(const SmoothChoices& options, CommandRun& commandRun) {
    return changeMesh(options, commandRun, "smoothing",
                      [&](zef::TriangleMesh& mesh) { zef::smooth(mesh, options.library, commandRun.getContext()); });
}

}  // namespace

void addSmooth(Commands& commands) {
    auto pOptions = std::make_shared<SmoothChoices>();
    CLI::App& command = *commands.app.add_subcommand("smooth", "Move vertices towards the mean of their neighbours");
    addMeshChange(command, *pOptions);
    command.add_option("--steps", pOptions->library.steps, "How often")->check(checkCount)->capture_default_str();
    command.add_flag("--keep-volume", pOptions->library.keepVolume,
                     "Follow each step by one back, so that the mesh does not shrink");
    addUntangleOption(command, pOptions->library.untangle);
    addExamples(command,
                {{"zef smooth mesh.ply -o smooth.ply --steps 5 --keep-volume", "Five steps without shrinking."}});
    onRun(commands, command, pOptions, runSmooth);
}
