#include <cmath>

#include "commands/commands.h"
#include "failures.h"
#include "measure.h"
#include "meshes.h"
#include "outputs.h"
#include "refine/REdge.h"
#include "refine/RMesh.h"
#include "zef/Mesh.h"
#include "zef/meshCheck.h"

namespace {

struct Options {
    std::string path;
    OutputOptions list;  // only its name and --force are asked for
    TalkOptions talk;
};

double lengthOf(const zef::REdge& edge) {
    return std::hypot(edge.p1->px - edge.p0->px, edge.p1->py - edge.p0->py, edge.p1->pz - edge.p0->pz);
}

// Length and box of the border edges.
void reportExtent(Report& report, const zef::Mesh& mesh) {
    std::vector<zef::REdge*> vBorder;
    mesh.getRMesh()->getDegN(1, vBorder);
    if (vBorder.empty()) return;
    double length = 0.0;
    std::vector<zef::Point3*> vEnds;
    for (const zef::REdge* pEdge : vBorder) {
        length += lengthOf(*pEdge);
        vEnds.insert(vEnds.end(), {pEdge->p0, pEdge->p1});
    }
    const Box box = measureBox(vEnds);
    report.addNumber("border_length", "length of the border", length);
    reportBox(report, box);
}

void writeList(const Options& options, CommandRun& commandRun, const zef::Mesh& mesh) {
    commandRun.stepWriting(options.list.path);
    if (mesh.getRMesh()->writeHoles(options.list.path)) return;
    throw Failure(options.list.path + ": the list could not be written");
}

int runHoles(const Options& options, CommandRun& commandRun) {
    const bool bList = !options.list.path.empty();
    if (bList) checkOutput(options.list, {options.path});
    const std::shared_ptr<zef::Mesh> pMesh = readMeshFile(commandRun, options.path);
    commandRun.step("looking for holes");
    const zef::MeshReport topology = zef::checkMesh(*pMesh);
    commandRun.report.addCount("border_loops", "border loops", topology.numBorderLoops);
    commandRun.report.addCount("border_edges", "border edges", topology.numBorderEdges);
    reportExtent(commandRun.report, *pMesh);
    if (bList) writeList(options, commandRun, *pMesh);
    return EXIT_DONE;
}

}  // namespace

void addHoles(Commands& commands) {
    auto pOptions = std::make_shared<Options>();
    CLI::App& command = *commands.app.add_subcommand("holes", "Report the border loops of a mesh");
    command.add_option("MESH", pOptions->path, "A file of triangles")->required();
    CLI::Option* pList =
        command.add_option("--list", pOptions->list.path, "Write the border edges to this file, as a Geomview LIST");
    command.add_flag("--force", pOptions->list.bForce, "Replace a file of any kind, also one that is the input")
        ->needs(pList);
    addTalkOptions(command, pOptions->talk);
    onRun(commands, command, pOptions, runHoles);
}
