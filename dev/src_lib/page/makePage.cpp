#include "page/makePage.h"

#include <algorithm>

#include "bytes/AtomicFile.h"
#include "page/PageData.h"
#include "page/Rounding.h"
#include "page/packMesh.h"
#include "page/packPoints.h"
#include "page/pageText.h"

namespace QUOR_ZEF {

namespace {

std::string jsonOf(const std::vector<std::pair<std::string, std::string>>& report) {
    JsonList list;
    for (const auto& [label, value] : report) {
        JsonList pair;
        pair.add(jsonText(label));
        pair.add(jsonText(value));
        list.add(pair.done());
    }
    return list.done();
}

bool isShown(const TriangleMesh& mesh, std::size_t first) {
    return std::all_of(mesh.indices.data() + first, mesh.indices.data() + first + 3,
                       [&](std::uint32_t i) { return isFinite(mesh.vertices[i]); });
}

// The mesh without triangles that are not finite; the mesh itself if there is none of these.
const TriangleMesh& finitePart(const TriangleMesh& mesh, TriangleMesh& part) {
    bool bAll = true;
    for (std::size_t i = 0; i < mesh.indices.size() && bAll; i += 3) bAll = isShown(mesh, i);
    if (bAll) return mesh;
    part.vertices = mesh.vertices;
    for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
        if (!isShown(mesh, i)) continue;
        part.indices.insert(part.indices.end(), mesh.indices.data() + i, mesh.indices.data() + i + 3);
    }
    return part;
}

std::string nameOf(std::size_t i, const PageOptions& options) {
    return i < options.names.size() ? options.names[i] : "mesh " + std::to_string(i + 1);
}

}  // namespace

std::string pageOf(ViewScene scene, std::string_view bundle, const PageOptions& options) {
    std::vector<TriangleMesh> vParts(scene.meshes.size());
    for (std::size_t i = 0; i < vParts.size(); ++i) scene.meshes[i] = &finitePart(*scene.meshes[i], vParts[i]);
    PageData data;
    JsonList meshes;
    for (std::size_t i = 0; i < scene.meshes.size(); ++i)
        meshes.add(packMesh(*scene.meshes[i], nameOf(i, options), scene.points, options.maxTriangles, data));
    const std::string json = "{\"version\":1,\"title\":" + jsonText(options.title) +
                             ",\"yUp\":" + (options.yUp ? "true" : "false") + ",\"report\":" + jsonOf(options.report) +
                             ",\"meshes\":" + meshes.done() +
                             ",\"cloud\":" + packPoints(scene, options.maxPoints, data) + "}";
    return pageText(options.title, json, data.getBytes(), bundle);
}

void savePage(const std::string& path, std::string_view html) {
    AtomicFile file(path);
    file.write(html);
    if (!file.commit()) throw FileError(path + ": " + file.getError());
}

}  // namespace QUOR_ZEF
