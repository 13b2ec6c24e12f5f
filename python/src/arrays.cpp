#include "arrays.h"

#include <cstddef>
#include <cstdint>
#include <utility>

namespace zefpy {

namespace {

py::ssize_t length(std::size_t size) {
    return static_cast<py::ssize_t>(size);
}

const double* doublesOf(const py::array& array) {
    return static_cast<const double*>(array.data());
}

std::size_t strideOf(const py::array& array) {
    // numpy may give the axes of an array of one element or none any stride.
    if (array.shape(0) < 2) return static_cast<std::size_t>(array.shape(1));
    return static_cast<std::size_t>(array.strides(0) / array.itemsize());
}

// An empty vector has no memory to point to.
const void* orNull(bool bEmpty, const void* p) {
    return bEmpty ? nullptr : p;
}

}  // namespace

py::array coordinatesOf(std::vector<zef::Point3>& vPoints, const py::capsule& owner) {
    constexpr py::ssize_t step = sizeof(zef::Point3);
    return {py::dtype::of<double>(),
            {length(vPoints.size()), py::ssize_t{3}},
            {step, py::ssize_t{sizeof(double)}},
            orNull(vPoints.empty(), vPoints.data()),
            owner};
}

py::array colorsOf(std::vector<zef::Point3>& vPoints, const py::capsule& owner) {
    constexpr py::ssize_t step = sizeof(zef::Point3);
    return {py::dtype::of<std::uint8_t>(),
            {length(vPoints.size()), py::ssize_t{4}},
            {step, py::ssize_t{1}},
            vPoints.empty() ? nullptr : &vPoints.front().r,
            owner};
}

py::array normalsOf(std::vector<zef::Vector3>& vNormals, const py::capsule& owner) {
    constexpr py::ssize_t step = sizeof(zef::Vector3);
    return {py::dtype::of<double>(),
            {length(vNormals.size()), py::ssize_t{3}},
            {step, py::ssize_t{sizeof(double)}},
            orNull(vNormals.empty(), vNormals.data()),
            owner};
}

zef::PointView viewOf(const py::array& points, const py::object& colors, const py::object& normals) {
    zef::PointView view;
    view.count = static_cast<std::size_t>(points.shape(0));
    view.xyz = doublesOf(points);
    view.stride = strideOf(points);
    if (!colors.is_none()) {
        const auto array = py::reinterpret_borrow<py::array>(colors);
        view.colors = static_cast<const std::uint8_t*>(array.data());
        view.colorStride = strideOf(array);
    }
    if (!normals.is_none()) {
        const auto array = py::reinterpret_borrow<py::array>(normals);
        view.normals = doublesOf(array);
        view.normalStride = strideOf(array);
    }
    return view;
}

std::vector<zef::Point3> pointsOf(const py::array& points, const py::object& colors) {
    const zef::PointView view = viewOf(points, colors, py::none());
    constexpr std::size_t betweenLooks = std::size_t{1} << 16;  // whether Ctrl-C was pressed
    std::vector<zef::Point3> vPoints;
    vPoints.reserve(view.count);
    for (std::size_t i = 0; i < view.count; ++i) {
        if (i % betweenLooks == 0 && PyErr_CheckSignals() != 0) throw py::error_already_set();
        const double* const p = view.xyz + i * view.stride;
        vPoints.emplace_back(p[0], p[1], p[2]);
        if (!view.colors) continue;
        const std::uint8_t* const c = view.colors + i * view.colorStride;
        vPoints.back().setColor(c[0], c[1], c[2], c[3]);
    }
    return vPoints;
}

}  // namespace zefpy
