#include "refine/FlatMesh.h"

#include <algorithm>

#include "frame/tools.h"
#include "refine/RMesh.h"

namespace QUOR_ZEF {

namespace {

constexpr std::uint32_t none = 0xffffffffu;

std::uint32_t append(std::vector<Point3>& vVertices, const Point3& p) {
    vVertices.push_back(p);
    return static_cast<std::uint32_t>(vVertices.size() - 1);
}

}  // namespace

bool FlatMesh::hasColor() const {
    return std::any_of(vVertices.begin(), vVertices.end(), [](const Point3& p) { return p.hasColor(); });
}

FlatMesh flatten(const RMesh& mesh, VertexOrder order) {
    FlatMesh flat;
    std::vector<std::uint32_t> vIndex(mesh.getNumVertices(), none);
    if (order == VertexOrder::MESH)
        for (std::uint32_t i = 0; i < mesh.getNumVertices(); ++i)
            if (!mesh.getFan(mesh.getVertex(i)).empty()) vIndex[i] = append(flat.vVertices, *mesh.getVertex(i));
    flat.vTriples.reserve(3 * mesh.getNumLiveTriangles());
    std::vector<RTriangle*> vT;
    mesh.getLiveTriangles(vT);
    for (const RTriangle* pRT : vT) {
        ASSEX(pRT->isAlive());
        for (int ici = 0; ici < 3; ++ici) {
            const Point3* p = pRT->getCorner(ici);
            std::uint32_t& index = vIndex[mesh.getVertexNumber(p)];
            if (index == none) index = append(flat.vVertices, *p);
            flat.vTriples.push_back(index);
        }
    }
    return flat;
}

}  // namespace QUOR_ZEF
