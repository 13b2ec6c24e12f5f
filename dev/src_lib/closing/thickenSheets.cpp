#include "closing/thickenSheets.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include "closing/bodies.h"
#include "closing/closeLoops.h"
#include "flat/EdgeTable.h"
#include "geometry/freeFunctions.h"

namespace QUOR_ZEF {

namespace {

// By vertex, of unit length; up where triangles cancel each other.
std::vector<Vector3> normalsOf(const TriangleMesh& mesh) {
    std::vector<Vector3> vNormals(mesh.vertices.size());
    for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
        const std::uint32_t* const p = &mesh.indices[i];
        const Point3& a = mesh.vertices[p[0]];
        const Vector3 normal = cross(mesh.vertices[p[1]] - a, mesh.vertices[p[2]] - a);
        for (std::size_t k = 0; k < 3; ++k) vNormals[p[k]] += normal;
    }
    for (Vector3& normal : vNormals) normal = normal.sqLength() > 0.0 ? normalize(normal) : Vector3(0.0, 0.0, 1.0);
    return vNormals;
}

class Thickening {
public:
    Thickening(TriangleMesh& mesh_, const std::vector<bool>& vOfSheet) : mesh(mesh_), vThick(vOfSheet) {}

    void run(double thickness) {
        const std::vector<std::uint32_t> vFront = mesh.indices;
        const EdgeTable edges(vFront, mesh.vertices.size());
        addBehind(thickness);
        for (std::size_t i = 0; i < vFront.size(); i += 3)
            if (vThick[vFront[i]]) add(vBehind[vFront[i]], vBehind[vFront[i + 2]], vBehind[vFront[i + 1]]);
        edges.forEachEdge([&](const Edge& edge) {
            const std::uint32_t side = edge[0], a = vFront[side], b = vFront[nextSide(side)];
            if (edge.size() != 1 || !vThick[a]) return;
            add(b, a, vBehind[a]);
            add(b, vBehind[a], vBehind[b]);
        });
    }

private:
    TriangleMesh& mesh;
    const std::vector<bool>& vThick;     // by vertex
    std::vector<std::uint32_t> vBehind;  // the vertex behind each

    void addBehind(double thickness) {
        const std::vector<Vector3> vNormals = normalsOf(mesh);
        const std::size_t num = mesh.vertices.size();
        vBehind.assign(num, 0);
        for (std::size_t i = 0; i < num; ++i) {
            if (!vThick[i]) continue;
            vBehind[i] = static_cast<std::uint32_t>(mesh.vertices.size());
            Point3 place = mesh.vertices[i] - vNormals[i] * thickness;
            place.copyColorFrom(mesh.vertices[i]);
            mesh.vertices.push_back(place);
        }
    }
    void add(std::uint32_t a, std::uint32_t b, std::uint32_t c) { mesh.indices.insert(mesh.indices.end(), {a, b, c}); }
};

// Those triangles of the closed mesh beyond the open one whose vertices are kept, with vertices of theirs.
template <class IsKept>
void appendPatches(const TriangleMesh& closed, std::size_t numOpenVertices, std::size_t numOpenIndices,
                   const IsKept& isKept, TriangleMesh& mesh) {
    std::vector<std::uint32_t> vNumber;  // of the closed mesh's further vertices
    for (std::size_t i = numOpenVertices; i < closed.vertices.size(); ++i) {
        vNumber.push_back(static_cast<std::uint32_t>(mesh.vertices.size()));
        if (isKept(static_cast<std::uint32_t>(i))) mesh.vertices.push_back(closed.vertices[i]);
    }
    for (std::size_t i = numOpenIndices; i < closed.indices.size(); ++i) {
        const std::uint32_t vertex = closed.indices[i];
        if (isKept(vertex))
            mesh.indices.push_back(vertex < numOpenVertices ? vertex : vNumber[vertex - numOpenVertices]);
    }
}

}  // namespace

ThickenedSheets thickenSheets(TriangleMesh& mesh, double thickness, double cellSize) {
    TriangleMesh closed = mesh;
    const std::vector<std::uint32_t> vLoops = closeLoops(closed, cellSize);
    const Sheets sheets = findSheets(closed, mesh.numTriangles(), cellSize);
    const std::size_t numOpenVertices = mesh.vertices.size(), numOpenIndices = mesh.indices.size();
    if (sheets.num > 0) Thickening(mesh, sheets.vOfSheet).run(thickness);
    ThickenedSheets thickened{sheets.num, 0, mesh.numTriangles()};
    const auto isKept = [&](std::uint32_t vertex) { return !sheets.vOfSheet[vertex]; };
    thickened.numLoops = static_cast<std::size_t>(std::ranges::count_if(vLoops, isKept));
    appendPatches(closed, numOpenVertices, numOpenIndices, isKept, mesh);
    return thickened;
}

}  // namespace QUOR_ZEF
