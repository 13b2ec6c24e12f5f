#include <algorithm>

#include "commands/commands.h"
#include "failures.h"
#include "files/meshes.h"
#include "reports/topology.h"
#include "zef/meshCheck.h"

namespace {

struct CheckOptions {
    std::string path;
    bool bDeep = false;
    TalkOptions talk;
};

// The largest components tell the most; meshes of scans have thousands.
constexpr std::size_t numShownComponents = 10;

void reportComponents(Report& report, const zef::MeshReport& topology) {
    const std::vector<zef::MeshComponent>& components = topology.components;
    for (std::size_t i = 0; i < std::min(components.size(), numShownComponents); ++i) {
        const zef::MeshComponent& component = components[i];
        const std::string genus = component.genus < 0 ? "no genus" : "genus " + std::to_string(component.genus);
        report.addText("", "  piece " + std::to_string(i + 1),
                       countText(component.numTriangles) + " triangles, " + countText(component.numBorderLoops) +
                           " border loops, Euler number " + std::to_string(component.euler) + ", " + genus);
    }
    if (components.size() > numShownComponents) {
        report.addText("", "  and further", countText(components.size() - numShownComponents) + " pieces");
    }
}

int runCheck(const CheckOptions& options, CommandRun& commandRun) {
    const zef::TriangleMesh mesh = readMeshFile(commandRun, options.path);
    commandRun.step("checking");
    const zef::MeshReport topology = zef::check(mesh, commandRun.getContext());
    Report& report = commandRun.report;
    reportMesh(report, topology);
    report.addCount("non_manifold_vertices", "non-manifold vertices", topology.numNonManifoldVertices);
    report.addCount("orientation_conflicts", "orientation conflicts", topology.numOrientationConflicts);
    report.addCount("degenerate_triangles", "degenerate triangles", topology.numDegenerateTriangles);
    report.addCount("duplicate_triangles", "duplicate triangles", topology.numDuplicateTriangles);
    report.add("euler", "Euler number", topology.euler, std::to_string(topology.euler));
    report.addNumber("area", "area", topology.area);
    report.addNumber("volume", "volume", topology.volume);
    reportBody(report, topology);
    report.add("component_list", "", componentList(topology), "");
    reportComponents(report, topology);
    if (options.bDeep) {
        commandRun.step("looking for self-intersections");
        report.addCount("self_intersections", "self-intersections",
                        zef::countSelfIntersections(mesh, commandRun.getContext()));
    }
    return isBody(topology) ? EXIT_DONE : EXIT_COULD_NOT;
}

}  // namespace

void addCheck(Commands& commands) {
    auto pOptions = std::make_shared<CheckOptions>();
    CLI::App& command = *commands.app.add_subcommand(
        "check", "Report the topology of a mesh; status 0 only if it is closed, manifold and oriented");
    command.add_option("IN", pOptions->path, "A file of triangles")->required();
    command.add_flag("--deep", pOptions->bDeep, "Count the pairs of triangles that intersect, too");
    addTalkOptions(command, pOptions->talk);
    addExamples(command, {{"zef check mesh.ply", "Status 0 if the mesh encloses a volume."},
                          {"zef check --deep --json mesh.ply", "Also self-intersections, for programs."}});
    onRun(commands, command, pOptions, runCheck);
}
