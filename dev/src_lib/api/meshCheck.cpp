#include "zef/meshCheck.h"

#include <utility>

#include "frame/tools.h"
#include "refine/Manifold.h"
#include "refine/RMesh.h"
#include "refine/checkTriangles.h"
#include "refine/selfIntersections.h"
#include "zef/Mesh.h"

namespace QUOR_ZEF {

MeshReport checkMesh(const Mesh& mesh) {
    return checkTriangles(flatten(*mesh.getRMesh(), VertexOrder::MESH));
}

std::size_t countSelfIntersections(const Mesh& mesh) {
    return countIntersectingPairs(flatten(*mesh.getRMesh(), VertexOrder::MESH));
}

void makeManifold(std::shared_ptr<Mesh> pMesh, const ManifoldOptions& options, ManifoldReport& report) {
    ASSEX(pMesh != nullptr);
    FlatMesh flat = flatten(*pMesh->getRMesh(), VertexOrder::MESH);
    makeManifold(flat, options, report);
    auto pRMesh = std::make_unique<RMesh>(std::move(flat.vVertices), flat.vTriples, pMesh->getRMesh()->cellSize);
    pMesh->replaceRMesh(pRMesh.release());
}

void makeManifold(std::shared_ptr<Mesh> pMesh, ManifoldReport& report) {
    makeManifold(std::move(pMesh), ManifoldOptions(), report);
}

}  // namespace QUOR_ZEF
