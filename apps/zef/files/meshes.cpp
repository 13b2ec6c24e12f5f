#include "files/meshes.h"

#include "failures.h"
#include "reports/topology.h"
#include "zef/files.h"
#include "zef/meshCheck.h"

void checkMeshOutput(const OutputOptions& output, const std::vector<std::string>& vInputs) {
    const zef::FileFormat format = zef::formatOf(output.path);
    if (!format.writesMeshes) throw UsageFailure(output.path + ": no known format; use .ply, .obj, .stl, .off or .glb");
    if (output.bDouble && !format.hasDoubles)
        throw UsageFailure(output.path + ": the format has no room for --double; use .ply, .obj or .off, or --shift");
    checkOutput(output, vInputs);
}

zef::TriangleMesh readMeshFile(CommandRun& commandRun, const std::string& path) {
    commandRun.step("reading " + path);
    return zef::readMesh(path, {}, commandRun.getContext());
}

void addMendOption(CLI::App& command, bool& bKeepNonManifold) {
    command.add_flag("--keep-non-manifold", bKeepNonManifold, "Leave edges of more than two triangles as they are");
}

void writeMeshFile(CommandRun& commandRun, const OutputOptions& output, double spacing, const zef::TriangleMesh& mesh) {
    const zef::WriteOptions options = writeOptionsOf(output, zef::middleOffset(mesh), spacing);
    commandRun.stepWriting(output.path);
    reportWritten(commandRun.report, output, zef::write(output.path, mesh, options, commandRun.getContext()));
}

zef::MeshReport reportMeshOf(CommandRun& commandRun, const zef::TriangleMesh& mesh) {
    commandRun.step("counting borders");
    const zef::MeshReport topology = zef::check(mesh, commandRun.getContext());
    reportMesh(commandRun.report, topology);
    commandRun.skipped();
    return topology;
}

void deliverMesh(CommandRun& commandRun, const OutputOptions& output, double spacing, const zef::TriangleMesh& mesh) {
    reportMeshOf(commandRun, mesh);
    finishMesh(commandRun, output, spacing, mesh);
}

void finishMesh(CommandRun& commandRun, const OutputOptions& output, double spacing, const zef::TriangleMesh& mesh) {
    writeMeshFile(commandRun, output, spacing, mesh);
    commandRun.lap("seconds_write", "write");
    commandRun.reportLaps();
}
