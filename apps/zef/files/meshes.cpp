#include "files/meshes.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "failures.h"
#include "files/inputs.h"
#include "files/pipes.h"
#include "reports/topology.h"
#include "zef/files.h"
#include "zef/meshCheck.h"

void checkMeshOutput(const OutputOptions& output, const std::vector<std::string>& vInputs) {
    const std::string name = nameOfFormat(output.path, output.format);
    const zef::FileFormat format = zef::formatOf(name);
    if (!format.writesMeshes) throw UsageFailure(name + ": no known format; use .ply, .obj, .stl, .off or .glb");
    if (output.bDouble && !format.hasDoubles)
        throw UsageFailure(name + ": the format has no room for --double; use .ply, .obj or .off, or --shift");
    checkOutput(output, vInputs);
}

bool isFinite(const zef::Point3& p) {
    return std::isfinite(p.px) && std::isfinite(p.py) && std::isfinite(p.pz);
}

namespace {

// Leaves out the triangles that repeat a vertex or have one that is not finite; how many.
std::size_t dropUnusable(zef::TriangleMesh& mesh) {
    std::vector<std::uint32_t>& v = mesh.indices;
    std::size_t end = 0;
    for (std::size_t i = 0; i < v.size(); i += 3) {
        const bool bRepeats = v[i] == v[i + 1] || v[i + 1] == v[i + 2] || v[i + 2] == v[i];
        const auto isGood = [&](std::uint32_t corner) { return isFinite(mesh.vertices[corner]); };
        if (bRepeats || !std::all_of(v.data() + i, v.data() + i + 3, isGood)) continue;
        std::copy_n(v.data() + i, 3, v.data() + end);
        end += 3;
    }
    const std::size_t numDropped = (v.size() - end) / 3;
    v.resize(end);
    return numDropped;
}

}  // namespace

zef::TriangleMesh readSurface(CommandRun& commandRun, const std::string& path) {
    zef::PointFile file = readCloud(commandRun, path);
    if (file.kind == zef::PointFile::Kind::CORNERS) return zef::toMesh(std::move(file), {}, commandRun.getContext());
    zef::TriangleMesh mesh{std::move(file.points), std::move(file.indices)};
    const std::size_t numDropped = dropUnusable(mesh);
    if (numDropped > 0)
        commandRun.warn(path + ": " + countText(numDropped) + " triangles repeat a vertex or are not finite; left out");
    return mesh;
}

zef::TriangleMesh readMeshFile(CommandRun& commandRun, const std::string& path) {
    zef::TriangleMesh mesh;
    readInputs(commandRun, {path}, [&](const std::vector<std::string>& vNames) {
        mesh = zef::readMesh(vNames.front(), {}, commandRun.getContext());
    });
    return mesh;
}

void addMendOption(CLI::App& command, bool& bKeepNonManifold) {
    command.add_flag("--keep-non-manifold", bKeepNonManifold, "Leave edges of more than two triangles as they are");
}

void addUntangleOption(CLI::App& command, bool& bUntangle) {
    command.add_flag("--untangle,!--no-untangle", bUntangle, "Part triangles that intersect (the default), or not");
}

void writeMeshFile(CommandRun& commandRun, const OutputOptions& output, double spacing, const zef::TriangleMesh& mesh) {
    const zef::WriteOptions options = writeOptionsOf(output, zef::middleOffset(mesh), spacing);
    commandRun.report.addText("output", "output", output.path);
    writeOutput(commandRun, output.path, output.format, [&](const std::string& name) {
        reportWritten(commandRun.report, output, zef::write(name, mesh, options, commandRun.getContext()));
    });
}

zef::MeshReport reportMeshOf(CommandRun& commandRun, const zef::TriangleMesh& mesh) {
    commandRun.step("counting borders");
    zef::MeshReport topology = zef::check(mesh, commandRun.getContext());
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
