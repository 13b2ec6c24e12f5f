#include "zef/meshCheck.h"

#include <utility>

#include "api/MeshBody.h"
#include "check/checkTriangles.h"
#include "check/selfIntersections.h"
#include "frame/tools.h"
#include "mend/Manifold.h"
#include "refine/RMesh.h"
#include "zef/Mesh.h"

namespace QUOR_ZEF {

MeshReport checkMesh(const Mesh& mesh) {
    return checkTriangles(mesh.getBody().flatten(VertexOrder::MESH));
}

std::size_t countSelfIntersections(const Mesh& mesh) {
    return countIntersectingPairs(mesh.getBody().flatten(VertexOrder::MESH));
}

void makeManifold(std::shared_ptr<Mesh> pMesh, const ManifoldOptions& options, ManifoldReport& report) {
    ASSEX(pMesh != nullptr);
    TriangleMesh flat = pMesh->getBody().flatten(VertexOrder::MESH);
    makeManifold(flat, options, report);
    checkMeshSize(flat.vertices.size(), flat.numTriangles());
    pMesh->replaceBody(std::make_unique<MeshBody>(std::move(flat), pMesh->getBody().getCellSize()));
}

void makeManifold(std::shared_ptr<Mesh> pMesh, ManifoldReport& report) {
    makeManifold(std::move(pMesh), ManifoldOptions(), report);
}

}  // namespace QUOR_ZEF
