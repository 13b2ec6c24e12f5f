#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "zef/Point3.h"
#include "zef/PointView.h"
#include "zef/Vector3.h"

// Arrays of numpy on memory of the library and back, without copies. What comes in was
// checked by the package: shapes, types, and strides that are whole positive numbers of
// elements, the last one a single element.

namespace zefpy {

namespace zef = QUOR_ZEF;
namespace py = pybind11;

// Arrays that lie in the memory of the owner, and keep it alive.
template <class Owner>
py::capsule keepAlive(std::shared_ptr<Owner> pOwner) {
    return {new std::shared_ptr<Owner>(std::move(pOwner)),
            [](void* p) { delete static_cast<std::shared_ptr<Owner>*>(p); }};
}

// (n, 3) of doubles, and (n, 4) of bytes.
py::array coordinatesOf(std::vector<zef::Point3>& vPoints, const py::capsule& owner);
py::array colorsOf(std::vector<zef::Point3>& vPoints, const py::capsule& owner);
py::array normalsOf(std::vector<zef::Vector3>& vNormals, const py::capsule& owner);
// Of this shape, in memory that is moved and that the result owns.
template <class T>
py::array take(std::vector<T> vValues, const std::vector<py::ssize_t>& shape) {
    const auto pOwner = std::make_shared<std::vector<T>>(std::move(vValues));
    return {py::dtype::of<T>(), shape, {}, pOwner->data(), keepAlive(pOwner)};
}

// Points where they lie; colors and normals may be None.
zef::PointView viewOf(const py::array& points, const py::object& colors, const py::object& normals);
// A copy, for calls that want points of the library's own.
std::vector<zef::Point3> pointsOf(const py::array& points, const py::object& colors);

}  // namespace zefpy
