#include "api/MeshBody.h"

#include <utility>

#include "flat/edgeLists.h"
#include "frame/Progress.h"
#include "refine/RMesh.h"
#include "refine/finishTriangles.h"
#include "refine/flatten.h"
#include "refine/isFinished.h"
#include "smooth/smoothing.h"

namespace QUOR_ZEF {

namespace {

// The live triangles, and all vertices by number.
TriangleMesh arraysOf(const RMesh& mesh) {
    TriangleMesh arrays;
    arrays.vertices.reserve(mesh.getNumVertices());
    for (std::uint32_t i = 0; i < mesh.getNumVertices(); ++i) arrays.vertices.push_back(*mesh.getVertex(i));
    std::vector<Point3*> vCorners;
    mesh.getCorners(vCorners);
    arrays.indices.reserve(vCorners.size());
    for (const Point3* p : vCorners) arrays.indices.push_back(mesh.getVertexNumber(p));
    return arrays;
}

// Of arraysOf(mesh), in the orders that the mesh has come to.
SmoothingLinks linksOf(const RMesh& mesh) {
    SmoothingLinks links;
    for (std::uint32_t i = 0; i < mesh.getNumEdges(); ++i) {
        const REdge* pRE = mesh.getEdge(i);
        if (pRE->isAlive())
            links.vEdges.push_back({mesh.getVertexNumber(pRE->p0), mesh.getVertexNumber(pRE->p1),
                                    static_cast<std::uint32_t>(pRE->getDegree())});
    }
    std::vector<std::uint32_t> vIndex(mesh.getNumTriangles());
    std::uint32_t num = 0;
    for (std::uint32_t i = 0; i < vIndex.size(); ++i)
        if (mesh.getTriangle(i)->isAlive()) vIndex[i] = num++;
    links.fans.vStart.reserve(mesh.getNumVertices() + std::size_t{1});
    links.fans.vTriangles.reserve(3 * mesh.getNumLiveTriangles());
    for (std::uint32_t i = 0; i < mesh.getNumVertices(); ++i) {
        links.fans.vStart.push_back(static_cast<std::uint32_t>(links.fans.vTriangles.size()));
        for (const std::uint32_t number : mesh.getFan(mesh.getVertex(i)))
            links.fans.vTriangles.push_back(vIndex[number]);
    }
    links.fans.vStart.push_back(static_cast<std::uint32_t>(links.fans.vTriangles.size()));
    return links;
}

void passStage(const char* name, uint64 todo, std::size_t numTicks) {
    Progress* pProgress = getProgress()->getChildProgressSetTodo(name, todo);
    for (std::size_t i = 0; i < numTicks; ++i) pProgress->tick();
}

}  // namespace

MeshBody::MeshBody(RMesh* pRMesh_) : pRMesh(pRMesh_) {}

MeshBody::MeshBody(TriangleMesh flat_, double cellSize_) : flat(std::move(flat_)), cellSize(cellSize_) {
    checkMeshSize(flat.vertices.size(), flat.numTriangles());
}

MeshBody::~MeshBody() = default;

// The vertices move as a whole, so that points handed out stay where they are.
RMesh* MeshBody::get() {
    if (pRMesh) return pRMesh.get();
    TriangleMesh arrays = std::exchange(flat, TriangleMesh());
    pRMesh = std::make_unique<RMesh>(std::move(arrays.vertices), arrays.indices, cellSize);
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

double MeshBody::averageEdgeLength() const {
    if (pRMesh) return pRMesh->getAvgEdgeLength();
    return flat.indices.empty() ? -1.0 : QUOR_ZEF::meanEdgeLength(flat);
}

void MeshBody::getPoints(std::vector<Point3*>& vPoints) {
    if (pRMesh) return pRMesh->getPoints(vPoints);
    std::vector<bool> vUsed(flat.vertices.size());
    for (const std::uint32_t vertex : flat.indices) vUsed[vertex] = true;
    vPoints.reserve(vPoints.size() + vUsed.size());
    for (std::size_t i = 0; i < vUsed.size(); ++i)
        if (vUsed[i]) vPoints.push_back(&flat.vertices[i]);
}

void MeshBody::getCorners(std::vector<Point3*>& vCorners) {
    if (pRMesh) return pRMesh->getCorners(vCorners);
    vCorners.reserve(vCorners.size() + flat.indices.size());
    for (const std::uint32_t vertex : flat.indices) vCorners.push_back(&flat.vertices[vertex]);
}

TriangleMesh MeshBody::flatten(VertexOrder order) const {
    if (pRMesh) return QUOR_ZEF::flatten(*pRMesh, order);
    TriangleMesh copy = flat;
    renumberVertices(copy, order);
    return copy;
}

TriangleMesh MeshBody::take() && {
    if (pRMesh) return QUOR_ZEF::flatten(*pRMesh, VertexOrder::MESH);
    renumberVertices(flat, VertexOrder::MESH);
    return std::move(flat);
}

void MeshBody::finish() {
    if (pRMesh || !isFinished(flat)) return get()->finishMesh();
    const std::size_t num = flat.numTriangles();
    passStage("RM_cpo", num, num);
    passStage("RM_kdeg", uint64{3} * num, num);
}

void MeshBody::finishToTake() {
    if (pRMesh || !finishTriangles(flat, cellSize)) get()->finishMesh();
}

void MeshBody::smooth(const SmoothingOptions& options) {
    if (!pRMesh) return laplacianSmoothing(flat, options);
    TriangleMesh arrays = arraysOf(*pRMesh);
    laplacianSmoothing(arrays, linksOf(*pRMesh), options);
    pRMesh->setVertices(arrays.vertices);
}

void MeshBody::changeVertices(const std::function<void(TriangleMesh&)>& change) {
    if (!pRMesh) return change(flat);
    TriangleMesh arrays = arraysOf(*pRMesh);
    change(arrays);
    pRMesh->setVertices(arrays.vertices);
}

}  // namespace QUOR_ZEF
