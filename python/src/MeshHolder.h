#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <memory>

#include "Call.h"
#include "zef/TriangleMesh.h"

namespace zefpy {

// The mesh behind a Python object. Its arrays lie in its memory; a change of the mesh
// then works on a copy, so that arrays handed out before stay as they are. All members
// are called with the interpreter's lock held.
class MeshHolder {
public:
    explicit MeshHolder(QUOR_ZEF::TriangleMesh mesh);
    // Copies arrays that the package has checked; colors may be None.
    MeshHolder(const pybind11::array& vertices, const pybind11::array& triangles, const pybind11::object& colors);

    pybind11::array getVertices() const;
    pybind11::array getTriangles() const;
    pybind11::object getColors() const;  // None without any
    void setColors(const pybind11::object& colors);
    // The mesh for as long as it is held; a change meanwhile works on a copy. Throws an
    // ArgumentError while a call changes it.
    std::shared_ptr<QUOR_ZEF::TriangleMesh> read() const;
    MeshHolder copy() const { return MeshHolder(*read()); }

    // fn(mesh, context) of a mesh that nobody changes meanwhile.
    template <class Fn>
    auto look(Call& call, const Fn& fn) const {
        const std::shared_ptr<const QUOR_ZEF::TriangleMesh> pRead = read();
        return call.run([&](const QUOR_ZEF::Context& context) { return fn(*pRead, context); });
    }
    // fn(mesh, context) changes it. Whoever else asks for the mesh meanwhile is refused.
    template <class Fn>
    auto change(Call& call, const Fn& fn) {
        const Change changing(*this);
        return call.run([&](const QUOR_ZEF::Context& context) { return fn(*changing.pMesh, context); });
    }

private:
    class Change {
    public:
        explicit Change(MeshHolder& holder_);
        ~Change();
        Change(const Change&) = delete;
        Change& operator=(const Change&) = delete;

        MeshHolder& holder;
        std::shared_ptr<QUOR_ZEF::TriangleMesh> pMesh;
    };

    std::shared_ptr<QUOR_ZEF::TriangleMesh> pHeld;  // null while a call changes it
};

}  // namespace zefpy
