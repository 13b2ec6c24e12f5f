#include "api/MeshBody.h"

#include <utility>

#include "refine/RMesh.h"
#include "refine/flatten.h"

namespace QUOR_ZEF {

MeshBody::MeshBody(RMesh* pRMesh_) : pRMesh(pRMesh_) {}

MeshBody::MeshBody(TriangleMesh flat_, double cellSize_) : flat(std::move(flat_)), cellSize(cellSize_) {}

MeshBody::~MeshBody() = default;

RMesh* MeshBody::get() {
    if (pRMesh) return pRMesh.get();
    pRMesh = std::make_unique<RMesh>(flat.vertices, flat.indices, cellSize);
    flat = TriangleMesh();
    return pRMesh.get();
}

std::size_t MeshBody::numTriangles() const {
    return pRMesh ? pRMesh->getNumLiveTriangles() : flat.numTriangles();
}

std::size_t MeshBody::numVertices() const {
    return pRMesh ? pRMesh->getNumVertices() : flat.vertices.size();
}

double MeshBody::getCellSize() const {
    return pRMesh ? pRMesh->cellSize : cellSize;
}

bool MeshBody::hasColor() const {
    return pRMesh ? pRMesh->hasColor() : flat.hasColor();
}

TriangleMesh MeshBody::flatten(VertexOrder order) const {
    if (pRMesh) return QUOR_ZEF::flatten(*pRMesh, order);
    TriangleMesh copy = flat;
    renumberVertices(copy, order);
    return copy;
}

}  // namespace QUOR_ZEF
