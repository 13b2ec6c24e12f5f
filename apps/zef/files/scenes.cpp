#include "files/scenes.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "failures.h"
#include "files/meshes.h"

namespace {

void addMesh(const std::string& path, zef::TriangleMesh&& mesh, ShownFiles& files) {
    files.vMeshes.push_back(std::move(mesh));
    files.vMeshNames.push_back(std::filesystem::path(path).filename().string());
}

void addPoints(CommandRun& commandRun, const std::string& path, std::vector<zef::Point3>&& vPoints, ShownFiles& files) {
    const std::size_t numAll = vPoints.size();
    std::erase_if(vPoints, [](const zef::Point3& p) { return !isFinite(p); });
    if (vPoints.size() < numAll)
        commandRun.warn(path + ": " + countText(numAll - vPoints.size()) + " points are not finite; not shown");
    if (files.vPoints.empty()) files.vPoints.swap(vPoints);
    files.vPoints.insert(files.vPoints.end(), vPoints.begin(), vPoints.end());
}

}  // namespace

zef::ViewScene ShownFiles::scene() const {
    zef::ViewScene scene;
    for (const zef::TriangleMesh& mesh : vMeshes) scene.meshes.push_back(&mesh);
    scene.points = vPoints;
    return scene;
}

ShownFiles readShown(CommandRun& commandRun, const std::vector<std::string>& vPaths) {
    ShownFiles files;
    for (const std::string& path : vPaths) {
        zef::TriangleMesh mesh = readSurface(commandRun, path);
        if (mesh.indices.empty()) {
            addPoints(commandRun, path, std::move(mesh.vertices), files);
        } else {
            addMesh(path, std::move(mesh), files);
        }
    }
    std::size_t numTriangles = 0;
    for (const zef::TriangleMesh& mesh : files.vMeshes) numTriangles += mesh.numTriangles();
    if (numTriangles == 0 && files.vPoints.empty()) throw Failure(vPaths.front() + ": there is nothing to show in it");
    commandRun.report.addCount("triangles", numTriangles > 0 ? "triangles" : "", numTriangles);
    commandRun.report.addCount("points", files.vPoints.empty() ? "" : "points", files.vPoints.size());
    return files;
}
