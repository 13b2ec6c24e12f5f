#include "page/packMesh.h"

#include <meshoptimizer.h>

#include <algorithm>
#include <vector>

#include "flat/arrays.h"
#include "frame/Run.h"
#include "frame/tools.h"
#include "page/Rounding.h"
#include "page/meshFacts.h"
#include "page/nearness.h"

namespace QUOR_ZEF {

namespace {

using Indices = std::vector<std::uint32_t>;

PageBox boxOf(const TriangleMesh& mesh) {
    PageBox box;
    for (const std::uint32_t i : mesh.indices) box.add(mesh.vertices[i]);
    return box;
}

// Vertices that fall into one cell become one: quick, and close enough to look at.
Indices reduced(const TriangleMesh& mesh, const PageBox& box, std::size_t maxTriangles) {
    constexpr float anyError = 1.0F;
    std::vector<float> vPositions;
    vPositions.reserve(3 * mesh.vertices.size());
    const double unit = std::max(box.extent(), 1e-300);
    for (const Point3& p : mesh.vertices) {
        const bool bKnown = isFinite(p);
        for (const double coord : {p.px - box.low[0], p.py - box.low[1], p.pz - box.low[2]})
            vPositions.push_back(bKnown ? static_cast<float>(coord / unit) : 0.0F);
    }
    Indices indices(mesh.indices.size());
    indices.resize(meshopt_simplifySloppy(indices.data(), mesh.indices.data(), mesh.indices.size(), vPositions.data(),
                                          mesh.vertices.size(), 3 * sizeof(float), 3 * maxTriangles, anyError,
                                          nullptr));
    return indices;
}

// In an order that packs well, and the vertices in the order of their use.
struct Ordered {
    Indices indices;
    Indices vPlaces;  // by vertex of the mesh; ~0 for those of no triangle
    std::size_t numVertices;

    Ordered(const Indices& unordered, std::size_t numAll) : indices(unordered.size()), vPlaces(numAll) {
        meshopt_optimizeVertexCacheStrip(indices.data(), unordered.data(), unordered.size(), numAll);
        pollRun(0);
        numVertices = meshopt_optimizeVertexFetchRemap(vPlaces.data(), indices.data(), indices.size(), numAll);
        for (std::uint32_t& i : indices) i = vPlaces[i];
    }
};

constexpr double reachInSides = 3.0;  // a vertex farther than that from all points has been filled in

}  // namespace

std::string packMesh(const TriangleMesh& mesh, const std::string& name, std::span<const Point3> points,
                     std::size_t maxTriangles, PageData& data) {
    const PageBox box = boxOf(mesh);
    const double side = meanSideLength(mesh);
    const Rounding rounding(box, side);
    const bool bReduced = mesh.numTriangles() > maxTriangles;
    const Ordered ordered(bReduced ? reduced(mesh, box, maxTriangles) : mesh.indices, mesh.vertices.size());
    if (bReduced)
        showWarning("makePage", name + ": " + std::to_string(mesh.numTriangles()) + " triangles are shown as " +
                                    std::to_string(ordered.indices.size() / 3));
    const std::vector<std::uint8_t> vUnmeasured = findUnmeasured(mesh, points, reachInSides * side);
    std::vector<PackedPoint> vVertices(ordered.numVertices);
    for (std::size_t i = 0; i < mesh.vertices.size(); ++i) {
        if (ordered.vPlaces[i] == ~0u) continue;
        PackedPoint& packed = vVertices[ordered.vPlaces[i]];
        packed = rounding(mesh.vertices[i]);
        if (vUnmeasured[i]) packed.marks |= PackedPoint::filled;
    }
    std::string json = "{\"name\":" + jsonText(name) + "," + rounding.json() + ",\"box\":" + box.json() +
                       ",\"reduced\":" + (bReduced ? "true" : "false");
    json += ",\"vertices\":" + data.addElements(vVertices.data(), vVertices.size(), sizeof(PackedPoint));
    pollRun(0);
    json += ",\"triangles\":" + data.addTriangles(ordered.indices, vVertices.size());
    return json + "," + meshFacts(mesh, rounding, data) + "}";
}

}  // namespace QUOR_ZEF
