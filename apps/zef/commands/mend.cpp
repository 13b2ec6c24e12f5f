#include "commands/commands.h"
#include "files/meshes.h"
#include "meshChange.h"
#include "reports/topology.h"
#include "zef/meshCheck.h"

namespace {

struct MendChoices : MeshChange {
    bool bKeepHoles = false, bUntangle = true;
};

int runMend(const MendChoices& options, CommandRun& commandRun) {
    return changeMesh(options, commandRun, "mending", [&](zef::TriangleMesh& mesh) {
        zef::ManifoldOptions library;
        library.fillHoles = !options.bKeepHoles;
        library.untangle = options.bUntangle;
        const zef::ManifoldReport mended = zef::mend(mesh, library, commandRun.getContext());
        Report& report = commandRun.report;
        report.addCount("removed_duplicates", "duplicates removed", mended.numRemovedDuplicates);
        report.addCount("removed_sheets", "spurious sheets removed", mended.numRemovedSheets);
        report.addCount("renewed_places", "places renewed", mended.numRenewedPlaces);
        report.addCount("reversed_triangles", "triangles turned over", mended.numReversedTriangles);
        if (options.bUntangle) reportUntangled(report, mended.untangled);
    });
}

}  // namespace

void addMend(Commands& commands) {
    auto pOptions = std::make_shared<MendChoices>();
    CLI::App& command = *commands.app.add_subcommand(
        "mend", "Make a mesh manifold and oriented, close its small holes, and part triangles that intersect");
    addMeshChange(command, *pOptions);
    command.add_flag("--keep-holes", pOptions->bKeepHoles, "Holes stay open, small ones too");
    addUntangleOption(command, pOptions->bUntangle);
    addExamples(command, {{"zef mend mesh.stl -o sound.ply", "What other programs take, but for larger holes."}});
    onRun(commands, command, pOptions, runMend);
}
