#include "meshes.h"

#include <algorithm>
#include <cctype>
#include <filesystem>

#include "failures.h"
#include "topology.h"
#include "zef/Mesh.h"
#include "zef/meshFiles.h"

namespace {

std::string endingOf(const std::string& path) {
    std::string ending = std::filesystem::path(path).extension().string();
    std::transform(ending.begin(), ending.end(), ending.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return ending;
}

}  // namespace

bool isMeshName(const std::string& path) {
    const std::string ending = endingOf(path);
    return ending == ".ply" || ending == ".obj" || ending == ".stl" || ending == ".off" || ending == ".glb";
}

void checkMeshOutput(const OutputOptions& output, const std::vector<std::string>& vInputs) {
    if (!isMeshName(output.path)) {
        throw UsageFailure(output.path + ": no known format; use .ply, .obj, .stl, .off or .glb");
    }
    const std::string ending = endingOf(output.path);
    if (output.bDouble && (ending == ".stl" || ending == ".glb")) {
        throw UsageFailure(output.path + ": the format has no room for --double; use .ply, .obj or .off, or --shift");
    }
    checkOutput(output, vInputs);
}

bool narrowsMesh(const OutputOptions& output) {
    return !output.bDouble;
}

std::shared_ptr<zef::Mesh> readMeshFile(CommandRun& commandRun, const std::string& path) {
    commandRun.step("reading " + path);
    std::shared_ptr<zef::Mesh> pMesh = zef::readMesh(path);
    if (!pMesh) throw Failure(path + ": no mesh could be read");
    if (pMesh->getNumSkippedT() > 0) {
        commandRun.warn(path + ": " + countText(pMesh->getNumSkippedT()) +
                        " triangles with a corner twice are left out");
    }
    return pMesh;
}

void addMendOption(CLI::App& command, bool& bKeepNonManifold) {
    command.add_flag("--keep-non-manifold", bKeepNonManifold, "Leave edges of more than two triangles as they are");
}

void mend(const std::shared_ptr<zef::Mesh>& pMesh, bool bKeepNonManifold, const zef::ManifoldOptions& options,
          const std::string& textIfEmpty) {
    if (!pMesh || pMesh->getNumT() == 0) throw Failure(textIfEmpty);
    if (bKeepNonManifold) return;
    zef::ManifoldReport ignored;  // the report counts what is left, not what was mended
    zef::makeManifold(pMesh, options, ignored);
}

void writeMeshFile(CommandRun& commandRun, const OutputOptions& output, const Shift& shift,
                   const std::shared_ptr<zef::Mesh>& pMesh) {
    commandRun.stepWriting(output.path);
    zef::WriteMeshOptions options;
    options.bDouble = output.bDouble;
    options.offset = zef::Vector3(shift.offset[0], shift.offset[1], shift.offset[2]);
    if (!zef::writeMesh(output.path, pMesh, options)) throw Failure(output.path + ": the mesh could not be written");
}

void deliverMesh(CommandRun& commandRun, const OutputOptions& output, const Box& box, double detail,
                 const std::shared_ptr<zef::Mesh>& pMesh) {
    commandRun.step("counting borders");
    reportMesh(commandRun.report, zef::checkMesh(*pMesh));
    const Shift shift = chooseShift(commandRun, output, box);
    if (narrowsMesh(output)) warnOfRounding(commandRun, box, shift, detail);
    commandRun.skipped();

    writeMeshFile(commandRun, output, shift, pMesh);
    commandRun.lap("seconds_write", "write");
    commandRun.reportLaps();
}
