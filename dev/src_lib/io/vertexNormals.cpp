#include "io/vertexNormals.h"

#include "frame/Run.h"
#include "geometry/freeFunctions.h"

namespace QUOR_ZEF {

std::vector<std::array<float, 3>> vertexNormals(const TriangleMesh& mesh) {
    std::vector<Vector3> vSums(mesh.vertices.size());
    for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
        pollRun(i);
        const Point3& a = mesh.vertices[mesh.indices[i]];
        const Vector3 twiceArea = cross(mesh.vertices[mesh.indices[i + 1]] - a, mesh.vertices[mesh.indices[i + 2]] - a);
        for (std::size_t k = i; k < i + 3; ++k) vSums[mesh.indices[k]] += twiceArea;
    }
    std::vector<std::array<float, 3>> vNormals(vSums.size());
    for (std::size_t i = 0; i < vSums.size(); ++i) {
        const double length = vSums[i].length();
        if (!(length > 0.0)) continue;
        const Vector3 n = vSums[i] / length;
        vNormals[i] = {static_cast<float>(n.vx), static_cast<float>(n.vy), static_cast<float>(n.vz)};
    }
    return vNormals;
}

}  // namespace QUOR_ZEF
