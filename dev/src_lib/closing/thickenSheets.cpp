#include "closing/thickenSheets.h"

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

}  // namespace

std::size_t thickenSheets(TriangleMesh& mesh, double thickness, double cellSize) {
    TriangleMesh closed = mesh;
    closeLoops(closed, cellSize);
    const Sheets sheets = findSheets(closed, mesh.numTriangles(), cellSize);
    if (sheets.num > 0) Thickening(mesh, sheets.vOfSheet).run(thickness);
    return sheets.num;
}

}  // namespace QUOR_ZEF
