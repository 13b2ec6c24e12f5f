#include "files/scenes.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <utility>

#include "failures.h"
#include "files/meshes.h"

namespace {

bool isFinite(const zef::Point3& p) {
    return std::isfinite(p.px) && std::isfinite(p.py) && std::isfinite(p.pz);
}

// Leaves out the triangles that repeat a vertex or have one that is not finite; how many.
std::size_t dropUnshown(zef::TriangleMesh& mesh) {
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

void addMesh(CommandRun& commandRun, const std::string& path, zef::TriangleMesh mesh, ShownFiles& files) {
    const std::size_t numDropped = dropUnshown(mesh);
    if (numDropped > 0)
        commandRun.warn(path + ": " + countText(numDropped) +
                        " triangles repeat a vertex or are not finite; not shown");
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
        commandRun.step("reading " + path);
        zef::PointFile file = zef::readPoints(path, commandRun.getContext());
        if (file.kind == zef::PointFile::Kind::CORNERS) {
            addMesh(commandRun, path, readMeshFile(commandRun, path), files);
        } else if (file.kind == zef::PointFile::Kind::MESH) {
            addMesh(commandRun, path, {std::move(file.points), std::move(file.indices)}, files);
        } else {
            addPoints(commandRun, path, std::move(file.points), files);
        }
    }
    std::size_t numTriangles = 0;
    for (const zef::TriangleMesh& mesh : files.vMeshes) numTriangles += mesh.numTriangles();
    if (numTriangles == 0 && files.vPoints.empty()) throw Failure(vPaths.front() + ": there is nothing to show in it");
    commandRun.report.addCount("triangles", numTriangles > 0 ? "triangles" : "", numTriangles);
    commandRun.report.addCount("points", files.vPoints.empty() ? "" : "points", files.vPoints.size());
    return files;
}
