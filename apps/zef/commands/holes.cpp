#include <algorithm>
#include <array>

#include "commands/commands.h"
#include "failures.h"
#include "files/meshes.h"
#include "files/outputs.h"
#include "files/pipes.h"
#include "reports/measure.h"
#include "zef/meshCheck.h"
#include "zef/refinement.h"

namespace {

struct HolesChoices {
    std::string path;
    OutputOptions list;  // only its name and --force are asked for
    TalkOptions talk;
};

// The longest tell the most; meshes of scans have hundreds.
constexpr std::size_t numShownLoops = 10;

std::array<double, 3> coordsOf(const zef::Point3& p) {
    return {p.px, p.py, p.pz};
}

// Length and box of the whole border.
void reportExtent(Report& report, const std::vector<zef::MeshBorderLoop>& vLoops) {
    if (vLoops.empty()) return;
    double length = 0.0;
    std::vector<zef::Point3> vCorners;
    for (const zef::MeshBorderLoop& loop : vLoops) {
        length += loop.length;
        vCorners.insert(vCorners.end(), {loop.low, loop.high});
    }
    report.addNumber("border_length", "length of the border", length);
    reportBox(report, measureBox(vCorners));
}

std::string loopText(const zef::MeshBorderLoop& loop) {
    const zef::Point3 middle = loop.low + (loop.high - loop.low) * 0.5;
    std::string text = countText(loop.numEdges) + " edges, length " + numberText(loop.length) + ", around";
    for (const double coord : coordsOf(middle)) text.append(" ").append(numberText(coord));
    text += ", size";
    for (const double size : {loop.high.px - loop.low.px, loop.high.py - loop.low.py, loop.high.pz - loop.low.pz})
        text.append(" ").append(numberText(size));
    return text;
}

void reportLoops(Report& report, std::vector<zef::MeshBorderLoop> vLoops) {
    std::stable_sort(vLoops.begin(), vLoops.end(),
                     [](const zef::MeshBorderLoop& a, const zef::MeshBorderLoop& b) { return a.length > b.length; });
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const zef::MeshBorderLoop& loop : vLoops) {
        list.push_back({{"edges", loop.numEdges},
                        {"length", loop.length},
                        {"box_min", coordsOf(loop.low)},
                        {"box_max", coordsOf(loop.high)}});
        if (list.size() <= numShownLoops) report.addText("", "  loop " + std::to_string(list.size()), loopText(loop));
    }
    if (vLoops.size() > numShownLoops)
        report.addText("", "  and further", countText(vLoops.size() - numShownLoops) + " loops");
    report.add("loops", "", std::move(list), "");
}

void writeList(const HolesChoices& options, CommandRun& commandRun, const zef::TriangleMesh& mesh) {
    std::vector<zef::Point3> vEnds;
    for (const auto& edge : zef::borderEdges(mesh, commandRun.getContext())) {
        for (const std::uint32_t vertex : edge) vEnds.push_back(mesh.vertices[vertex]);
    }
    writeOutput(commandRun, options.list.path, "list",
                [&](const std::string& name) { zef::writeSegments(name, vEnds, commandRun.getContext()); });
}

int runHoles(const HolesChoices& options, CommandRun& commandRun) {
    const bool bList = !options.list.path.empty();
    if (bList) checkOutput(options.list, {options.path});
    const zef::TriangleMesh mesh = readMeshFile(commandRun, options.path);
    commandRun.step("looking for holes");
    const zef::MeshReport topology = zef::check(mesh, commandRun.getContext());
    commandRun.report.addCount("border_loops", "border loops", topology.numBorderLoops);
    commandRun.report.addCount("border_edges", "border edges", topology.numBorderEdges);
    reportExtent(commandRun.report, topology.borderLoops);
    reportLoops(commandRun.report, topology.borderLoops);
    if (bList) writeList(options, commandRun, mesh);
    return EXIT_DONE;
}

}  // namespace

void addHoles(Commands& commands) {
    auto pOptions = std::make_shared<HolesChoices>();
    CLI::App& command = *commands.app.add_subcommand("holes", "Report the border loops of a mesh, the longest first");
    command.add_option("IN", pOptions->path, "A file of triangles")->required();
    CLI::Option* pList =
        command.add_option("--list", pOptions->list.path, "Write the border edges to this file, as a Geomview LIST")
            ->type_name("FILE");
    command.add_flag("--force", pOptions->list.bForce, "Replace a file of any kind, also one that is the input")
        ->needs(pList);
    addTalkOptions(command, pOptions->talk);
    addExamples(command, {{"zef holes mesh.ply", "The longest borders, where they are and how large."},
                          {"zef holes mesh.ply --list borders.list", "Also as lines to look at."}});
    onRun(commands, command, pOptions, runHoles);
}
