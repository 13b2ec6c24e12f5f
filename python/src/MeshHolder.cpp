#include "MeshHolder.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

#include "arrays.h"
#include "errors.h"

namespace zefpy {

MeshHolder::MeshHolder(zef::TriangleMesh mesh) : pHeld(std::make_shared<zef::TriangleMesh>(std::move(mesh))) {}

MeshHolder::MeshHolder(const py::array& vertices, const py::array& triangles, const py::object& colors)
    : MeshHolder(zef::TriangleMesh{pointsOf(vertices, colors), {}}) {
    pHeld->indices.resize(static_cast<std::size_t>(triangles.size()));
    if (!pHeld->indices.empty()) std::memcpy(pHeld->indices.data(), triangles.data(), triangles.nbytes());
}

std::shared_ptr<zef::TriangleMesh> MeshHolder::read() const {
    if (pHeld) return pHeld;
    throw zef::ArgumentError("mesh: another call is changing it; wait for its end, or use a copy");
}

py::array MeshHolder::getVertices() const {
    const auto pMesh = read();
    return coordinatesOf(pMesh->vertices, keepAlive(pMesh));
}

py::array MeshHolder::getTriangles() const {
    const auto pMesh = read();
    const auto num = static_cast<py::ssize_t>(pMesh->numTriangles());
    return {py::dtype::of<std::uint32_t>(), {num, py::ssize_t{3}}, {}, pMesh->indices.data(), keepAlive(pMesh)};
}

py::object MeshHolder::getColors() const {
    const auto pMesh = read();
    if (!pMesh->hasColor()) return py::none();
    return colorsOf(pMesh->vertices, keepAlive(pMesh));
}

void MeshHolder::setColors(const py::object& colors) {
    std::vector<zef::Point3>& vertices = read()->vertices;
    if (colors.is_none()) {
        for (zef::Point3& p : vertices) p.bHasColor = false;
        return;
    }
    const auto array = py::reinterpret_borrow<py::array>(colors);
    for (std::size_t i = 0; i < vertices.size(); ++i) {
        const auto* const c = static_cast<const std::uint8_t*>(array.data(static_cast<py::ssize_t>(i)));
        vertices[i].setColor(c[0], c[1], c[2], c[3]);
    }
}

MeshHolder::Change::Change(MeshHolder& holder_) : holder(holder_), pMesh(holder_.read()) {
    // One is the holder's, one this.
    if (pMesh.use_count() > 2) pMesh = std::make_shared<zef::TriangleMesh>(*pMesh);
    holder.pHeld.reset();
}

MeshHolder::Change::~Change() {
    holder.pHeld = std::move(pMesh);
}

}  // namespace zefpy
