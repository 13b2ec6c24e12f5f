#include "zef/Mesh.h"

#include <limits>
#include <utility>

#include "api/MeshBody.h"
#include "api/calls.h"
#include "bytes/Visualizer3.h"
#include "flat/arrays.h"
#include "frame/tools.h"
#include "io/STL.h"
#include "io/plyMesh.h"
#include "refine/RMesh.h"
#include "smooth/colors.h"

namespace QUOR_ZEF {

namespace {

void checkIndexRange(std::size_t numVertices) {
    constexpr auto maxVertices = static_cast<std::size_t>(std::numeric_limits<int>::max());
    if (numVertices <= maxVertices) return;
    showError(where(__PRETTY_FUNCTION__, __LINE__),
              std::to_string(numVertices) + " vertices are more than an int can number");
    throwBug();
}

}  // namespace

Mesh::Mesh(RMesh* pRMesh_) : pBody(std::make_unique<MeshBody>(pRMesh_)) {}

Mesh::Mesh(std::unique_ptr<MeshBody> pBody_) : pBody(std::move(pBody_)) {}

Mesh::~Mesh() = default;

std::shared_ptr<Mesh> Mesh::fromTriangles(TriangleMesh triangles) {
    checkRange(triangles, "triangles");
    dropRepeating(triangles.indices);
    const double cellSize = meanSideLength(triangles);
    return std::make_shared<Mesh>(std::make_unique<MeshBody>(std::move(triangles), cellSize));
}

TriangleMesh Mesh::toTriangles() const {
    return pBody->flatten(VertexOrder::MESH);
}

TriangleMesh Mesh::releaseTriangles() {
    return std::move(*pBody).take();
}

RMesh* Mesh::getRMesh() {
    return pBody->get();
}

const RMesh* Mesh::getRMesh() const {
    return pBody->get();
}

void Mesh::replaceRMesh(RMesh* pOther) {
    if (pOther != pBody->get()) pBody = std::make_unique<MeshBody>(pOther);
}

void Mesh::replaceBody(std::unique_ptr<MeshBody> pOther) {
    pBody = std::move(pOther);
}

void Mesh::colorizeFilledHoles() {
    if (pBody->hasColor()) pBody->changeVertices(completeColors);
}

void Mesh::contrastSpread(double lowFraction, double highFraction) {
    pBody->changeVertices([&](TriangleMesh& mesh) { spreadContrast(mesh, lowFraction, highFraction); });
}

double Mesh::getAverageEdgeLength() const {
    return pBody->averageEdgeLength();
}

std::size_t Mesh::getNumT() const {
    return pBody->numTriangles();
}

void Mesh::getPoints(std::vector<Point3*>& vPoints) const {
    vPoints.clear();
    pBody->getPoints(vPoints);
}

void Mesh::getTriangles(std::vector<Point3*>& vCorners) const {
    vCorners.clear();
    pBody->getCorners(vCorners);
}

void Mesh::getVertexIndexData(std::vector<Point3*>& vVertices, std::vector<int>& vIndices) const {
    getPoints(vVertices);
    checkIndexRange(vVertices.size());
    const TriangleMesh arrays = pBody->flatten(VertexOrder::MESH);
    vIndices.assign(arrays.indices.begin(), arrays.indices.end());
}

void Mesh::printStatistics(const std::string& name) const {
    getRMesh()->printStatistics(name);
}

// The flag says text or not, and both names say the opposite; callers rely on it.
bool Mesh::writePly_ASCII(const std::string& name) const {
    return PLY::writePly(pBody->flatten(VertexOrder::FIRST_USE), name, false);
}

bool Mesh::writePly_BIN(const std::string& name) const {
    return PLY::writePly(pBody->flatten(VertexOrder::FIRST_USE), name, true);
}

bool Mesh::writeStl_ASCII(const std::string& name) const {
    return writeSTL(pBody->flatten(VertexOrder::FIRST_USE), name);
}

bool Mesh::writeGeomview_ASCII(const std::string& name) const {
    std::vector<Point3*> vCorners;
    pBody->getCorners(vCorners);
    Visualizer3 visualizer;
    visualizer.addTriangles(vCorners);
    return visualizer.write(name);
}

}  // namespace QUOR_ZEF
