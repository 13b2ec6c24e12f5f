#include <algorithm>

#include "commands/commands.h"
#include "failures.h"
#include "meshChange.h"
#include "numbers.h"
#include "zef/refinement.h"

namespace {

struct Options : MeshChange {
    bool bFill = false;
    std::pair<double, double> clipped{-1.0, -1.0};  // fractions, dark and bright; below 0: no stretching

    bool isStretched() const { return clipped.first >= 0.0; }
};

std::uint64_t countColored(const zef::TriangleMesh& mesh) {
    return static_cast<std::uint64_t>(
        std::count_if(mesh.vertices.begin(), mesh.vertices.end(), [](const zef::Point3& p) { return p.hasColor(); }));
}

int runColour(const Options& options, CommandRun& commandRun) {
    if (!options.bFill && !options.isStretched()) throw UsageFailure("say what to do: --fill, --contrast or both");
    return changeMesh(options, commandRun, "colouring", [&](zef::TriangleMesh& mesh) {
        if (options.bFill) zef::fillColors(mesh, commandRun.getContext());
        if (options.isStretched())
            zef::stretchContrast(mesh, options.clipped.first, options.clipped.second, commandRun.getContext());
        commandRun.report.addCount("coloured_vertices", "coloured vertices", countColored(mesh));
    });
}

}  // namespace

void addColour(Commands& commands) {
    auto pOptions = std::make_shared<Options>();
    CLI::App& command = *commands.app.add_subcommand("colour", "Complete or strengthen the colours of a mesh");
    addMeshChange(command, *pOptions);
    command.add_flag("--fill", pOptions->bFill, "Give vertices without colour the mean of their neighbours");
    command
        .add_option("--contrast", pOptions->clipped,
                    "Stretch the colours, with these fractions of the darkest and the brightest clipped")
        ->type_name("LO HI")
        ->check(CLI::Range(0.0, 1.0))
        ->check(checkNumber);
    addExamples(command, {{"zef colour mesh.ply -o full.ply --fill", "Colours for vertices that have none."},
                          {"zef colour mesh.ply -o bright.ply --contrast 0.01 0.01",
                           "Stretches the colours, a hundredth clipped at both ends."}});
    onRun(commands, command, pOptions, runColour);
}
