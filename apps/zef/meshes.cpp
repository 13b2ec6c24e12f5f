#include "meshes.h"

#include <algorithm>
#include <cctype>
#include <filesystem>

#include "failures.h"
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

void writeMeshFile(CommandRun& commandRun, const OutputOptions& output, const Shift& shift,
                   const std::shared_ptr<zef::Mesh>& pMesh) {
    commandRun.step("writing " + output.path);
    zef::WriteMeshOptions options;
    options.bDouble = output.bDouble;
    options.offset = zef::Vector3(shift.offset[0], shift.offset[1], shift.offset[2]);
    if (!zef::writeMesh(output.path, pMesh, options)) throw Failure(output.path + ": the mesh could not be written");
}
