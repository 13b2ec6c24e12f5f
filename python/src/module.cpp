#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <memory>
#include <string>
#include <utility>

#include "Call.h"
#include "MeshHolder.h"
#include "PointHolder.h"
#include "arrays.h"
#include "errors.h"
#include "options.h"
#include "reports.h"
#include "scenes.h"
#include "tiles.h"
#include "zef/zef_api_functions.h"

// The calls of the library for the package around this module, which checks arrays and
// tells what everything means.

namespace zefpy {

namespace {

// fn(points) of an input where it lies: a PointHolder as the span that it is, or else arrays.
template <class Fn>
auto withPoints(const py::object& points, const py::object& colors, const py::object& normals, const Fn& fn) {
    if (py::isinstance<PointHolder>(points)) {
        const std::shared_ptr<zef::PointFile> pFile = points.cast<PointHolder&>().pFile;
        return fn(std::span<const zef::Point3>(pFile->points), std::span<const zef::Vector3>(pFile->normals));
    }
    return fn(viewOf(py::reinterpret_borrow<py::array>(points), colors, normals), std::span<const zef::Vector3>());
}

// fn(triangles) of a mesh, a PointHolder of corners, or an array of corners.
template <class Fn>
auto withTriangles(const py::object& triangles, Call& call, const Fn& fn) {
    if (py::isinstance<MeshHolder>(triangles)) return triangles.cast<MeshHolder&>().look(call, fn);
    return withPoints(triangles, py::none(), py::none(), [&](const auto& corners, const auto& /*normals*/) {
        return call.run([&](const zef::Context& context) { return fn(corners, context); });
    });
}

py::tuple reconstruct(const py::object& points, const py::object& colors, const py::object& normals,
                      const py::dict& given, const py::object& threads, const py::object& progress) {
    Call call(threads, progress);
    auto options = readOptions<zef::ReconstructOptions>(given);
    zef::Reconstruction made = withPoints(points, colors, normals, [&](const auto& input, const auto& itsNormals) {
        options.normals = itsNormals;
        return call.run([&](const zef::Context& context) { return zef::reconstruct(input, options, context); });
    });
    const py::dict report = reportOf(made);
    return py::make_tuple(MeshHolder(std::move(made.mesh)), report);
}

double measureSpacing(const py::object& points, const py::object& threads, const py::object& progress) {
    Call call(threads, progress);
    return withPoints(points, py::none(), py::none(), [&](const auto& input, const auto& /*normals*/) {
        return call.run([&](const zef::Context& context) { return zef::measureSpacing(input, context); });
    });
}

py::dict measurePoints(const py::object& points, const py::object& threads, const py::object& progress) {
    Call call(threads, progress);
    return withPoints(points, py::none(), py::none(), [&](const auto& input, const auto& /*normals*/) {
        return reportOf(call.run([&](const zef::Context& context) { return zef::measurePoints(input, context); }));
    });
}

MeshHolder melt(const py::object& triangles, const py::dict& given, const py::object& threads,
                const py::object& progress) {
    Call call(threads, progress);
    const auto options = readOptions<zef::MeltOptions>(given);
    return MeshHolder(withTriangles(triangles, call, [&](const auto& input, const zef::Context& context) {
        return zef::melt(input, options, context);
    }));
}

PointHolder resample(const py::object& triangles, const py::dict& given, const py::object& threads,
                     const py::object& progress) {
    Call call(threads, progress);
    const auto options = readOptions<zef::MeltOptions>(given);
    PointHolder holder;
    holder.pFile->points = withTriangles(triangles, call, [&](const auto& input, const zef::Context& context) {
        return zef::resample(input, options, context);
    });
    return holder;
}

PointHolder readPoints(const std::vector<std::string>& paths, const py::dict& given, const py::object& threads,
                       const py::object& progress) {
    Call call(threads, progress);
    const auto options = readOptions<zef::ReadOptions>(given);
    const std::vector<std::filesystem::path> files(paths.begin(), paths.end());
    PointHolder holder;
    *holder.pFile = call.run([&](const zef::Context& context) { return zef::readPoints(files, options, context); });
    return holder;
}

py::list formats() {
    py::list list;
    for (const zef::FormatInfo& format : zef::fileFormats()) list.append(reportOf(format));
    return list;
}

MeshHolder readMesh(const std::string& path, const py::dict& given, const py::object& threads,
                    const py::object& progress) {
    Call call(threads, progress);
    const auto options = readOptions<zef::ReadMeshOptions>(given);
    return MeshHolder(call.run([&](const zef::Context& context) { return zef::readMesh(path, options, context); }));
}

py::dict writeMesh(const std::string& path, const MeshHolder& mesh, const py::dict& given, const py::object& threads,
                   const py::object& progress) {
    Call call(threads, progress);
    const auto options = readOptions<zef::WriteOptions>(given);
    return reportOf(mesh.look(call, [&](const zef::TriangleMesh& written, const zef::Context& context) {
        return zef::write(path, written, options, context);
    }));
}

py::dict writePoints(const std::string& path, const py::object& points, const py::object& colors, const py::dict& given,
                     const py::object& threads, const py::object& progress) {
    Call call(threads, progress);
    const auto options = readOptions<zef::WriteOptions>(given);
    if (colors.is_none() && py::isinstance<PointHolder>(points)) {
        const auto pFile = points.cast<PointHolder&>().pFile;
        return reportOf(
            call.run([&](const zef::Context& context) { return zef::write(path, *pFile, options, context); }));
    }
    const OwnPoints written(points, colors);
    return reportOf(
        call.run([&](const zef::Context& context) { return zef::write(path, written.get(), options, context); }));
}

py::dict mend(MeshHolder& mesh, const py::dict& given, const py::object& threads, const py::object& progress) {
    Call call(threads, progress);
    const auto options = readOptions<zef::ManifoldOptions>(given);
    return reportOf(mesh.change(call, [&](zef::TriangleMesh& changed, const zef::Context& context) {
        return zef::mend(changed, options, context);
    }));
}

py::dict untangle(MeshHolder& mesh, const py::object& threads, const py::object& progress) {
    Call call(threads, progress);
    return reportOf(mesh.change(call, [&](zef::TriangleMesh& changed, const zef::Context& context) {
        return zef::untangle(changed, context);
    }));
}

py::dict refit(MeshHolder& mesh, const py::array& points, const py::object& colors, const py::dict& given,
               const py::object& threads, const py::object& progress) {
    Call call(threads, progress);
    const auto options = readOptions<zef::RefitOptions>(given);
    const zef::PointView view = viewOf(points, colors, py::none());
    return reportOf(mesh.change(call, [&](zef::TriangleMesh& changed, const zef::Context& context) {
        return zef::refit(changed, view, options, context);
    }));
}

double simplify(MeshHolder& mesh, const py::dict& given, const py::object& threads, const py::object& progress) {
    Call call(threads, progress);
    const auto options = readOptions<zef::ReduceOptions>(given);
    return mesh.change(call, [&](zef::TriangleMesh& changed, const zef::Context& context) {
        return zef::simplify(changed, options, context);
    });
}

std::size_t reduceFlat(MeshHolder& mesh, const py::dict& given, const py::object& threads, const py::object& progress) {
    Call call(threads, progress);
    const auto options = readOptions<zef::ReduceFlatOptions>(given);
    return mesh.change(call, [&](zef::TriangleMesh& changed, const zef::Context& context) {
        return zef::reduceFlat(changed, options, context);
    });
}

void smooth(MeshHolder& mesh, const py::dict& given, const py::object& threads, const py::object& progress) {
    Call call(threads, progress);
    const auto options = readOptions<zef::SmoothingOptions>(given);
    mesh.change(
        call, [&](zef::TriangleMesh& changed, const zef::Context& context) { zef::smooth(changed, options, context); });
}

void stretchContrast(MeshHolder& mesh, const py::object& low, const py::object& high, const py::object& threads,
                     const py::object& progress) {
    Call call(threads, progress);
    double lowFraction = 0.0, highFraction = 0.0;
    readArgument({"lowFraction", &lowFraction, ""}, low);
    readArgument({"highFraction", &highFraction, ""}, high);
    mesh.change(call, [&](zef::TriangleMesh& changed, const zef::Context& context) {
        zef::stretchContrast(changed, lowFraction, highFraction, context);
    });
}

// Operations without options.
template <void operation(zef::TriangleMesh&, const zef::Context&)>
void change(MeshHolder& mesh, const py::object& threads, const py::object& progress) {
    Call call(threads, progress);
    mesh.change(call, operation);
}

py::dict check(const MeshHolder& mesh, const py::object& threads, const py::object& progress) {
    Call call(threads, progress);
    return reportOf(mesh.look(call, zef::check));
}

py::dict findHandles(const MeshHolder& mesh, const py::object& longest, const py::object& threads,
                     const py::object& progress) {
    Call call(threads, progress);
    double longestLoop = 0.0;
    readArgument({"longest", &longestLoop, ""}, longest);
    return reportOf(mesh.look(call, [&](const zef::TriangleMesh& looked, const zef::Context& context) {
        return zef::findHandles(looked, longestLoop, context);
    }));
}

py::dict findThinPlaces(const MeshHolder& mesh, const py::object& thickness, const py::object& threads,
                        const py::object& progress) {
    Call call(threads, progress);
    double most = 0.0;
    readArgument({"thickness", &most, ""}, thickness);
    return reportOf(mesh.look(call, [&](const zef::TriangleMesh& looked, const zef::Context& context) {
        return zef::findThinPlaces(looked, most, context);
    }));
}

template <class Answer, Answer question(const zef::TriangleMesh&, const zef::Context&)>
Answer ask(const MeshHolder& mesh, const py::object& threads, const py::object& progress) {
    Call call(threads, progress);
    return mesh.look(call, question);
}

py::array borderEdges(const MeshHolder& mesh, const py::object& threads, const py::object& progress) {
    Call call(threads, progress);
    std::vector<std::uint32_t> vEnds =
        mesh.look(call, [](const zef::TriangleMesh& looked, const zef::Context& context) {
            std::vector<std::uint32_t> vFound;
            for (const auto& [low, high] : zef::borderEdges(looked, context)) vFound.insert(vFound.end(), {low, high});
            return vFound;
        });
    const auto num = static_cast<py::ssize_t>(vEnds.size() / 2);
    return take(std::move(vEnds), {num, 2});
}

// What can be compared: the mesh of a MeshHolder where it lies, or points as a mesh without triangles.
std::shared_ptr<const zef::TriangleMesh> surfaceOf(const py::object& surface) {
    if (py::isinstance<MeshHolder>(surface)) return surface.cast<MeshHolder&>().read();
    const auto pPoints = std::make_shared<zef::TriangleMesh>();
    pPoints->vertices = py::isinstance<PointHolder>(surface)
                            ? surface.cast<PointHolder&>().pFile->points
                            : pointsOf(py::reinterpret_borrow<py::array>(surface), py::none());
    return pPoints;
}

py::dict compare(const py::object& mesh, const py::object& reference, const py::dict& given, const py::object& threads,
                 const py::object& progress) {
    Call call(threads, progress);
    const auto options = readOptions<zef::CompareOptions>(given);
    const auto pMesh = surfaceOf(mesh), pReference = surfaceOf(reference);
    zef::Comparison made =
        call.run([&](const zef::Context& context) { return zef::compare(*pMesh, *pReference, options, context); });
    py::dict report = reportOf(made);
    const auto num = static_cast<py::ssize_t>(made.distances.size());
    report["distances"] = take(std::move(made.distances), {num});
    return report;
}

// (n, 4), in rows that lie apart.
py::array distanceColors(const py::array_t<double, py::array::c_style>& distances, const py::object& limit) {
    double itsLimit = 0.0;
    readArgument({"limit", &itsLimit, ""}, limit);
    const auto pMesh = std::make_shared<zef::TriangleMesh>();
    pMesh->vertices.resize(static_cast<std::size_t>(distances.size()));
    const std::span<const double> values(distances.data(), pMesh->vertices.size());
    {
        const py::gil_scoped_release unlocked;
        zef::colorByDistance(*pMesh, values, itsLimit);
    }
    return colorsOf(pMesh->vertices, keepAlive(pMesh));
}

double readNumber(const std::string& name, const py::object& value) {
    double number = 0.0;
    readArgument({name.c_str(), &number, ""}, value);
    return number;
}

std::uint32_t readWhole(const std::string& name, const py::object& value) {
    std::uint32_t number = 0;
    readArgument({name.c_str(), &number, ""}, value);
    return number;
}

std::string version() {
    int major = 0, minor = 0;
    zef::getVersion(major, minor);
    const std::string twoDigits = (minor < 10 ? "0" : "") + std::to_string(minor);
    return std::to_string(major) + "." + twoDigits;
}

// Earlier versions of pybind11 would take wrong sizes from the arrays of numpy 2.
void requireKnownNumpy() {
    constexpr int firstThatKnows = 0x020C0000;
    if (PYBIND11_VERSION_HEX >= firstThatKnows) return;
    const auto version = py::module_::import("numpy").attr("__version__").cast<std::string>();
    if (version.find('.') == 1 && version[0] == '1') return;
    throw py::import_error("zef was built with a pybind11 that knows numpy 1 only, and this is numpy " + version +
                           ": install numpy below 2, or build zef with pybind11 2.12 or later");
}

void bindHolders(py::module_& m) {
    py::class_<MeshHolder>(m, "MeshHolder")
        .def(py::init<const py::array&, const py::array&, const py::object&>())
        .def_property_readonly("vertices", &MeshHolder::getVertices)
        .def_property_readonly("triangles", &MeshHolder::getTriangles)
        .def_property("colors", &MeshHolder::getColors, &MeshHolder::setColors)
        .def("copy", &MeshHolder::copy)
        .def("mend", mend)
        .def("refit", refit)
        .def("untangle", untangle)
        .def("simplify", simplify)
        .def("reduce_flat", reduceFlat)
        .def("smooth", smooth)
        .def("flip_edges", change<zef::flipEdges>)
        .def("anneal", change<zef::anneal>)
        .def("fill_colors", change<zef::fillColors>)
        .def("stretch_contrast", stretchContrast)
        .def("check", check)
        .def("find_handles", findHandles)
        .def("find_thin_places", findThinPlaces)
        .def("count_self_intersections", ask<std::size_t, zef::countSelfIntersections>)
        .def("average_edge_length", ask<double, zef::averageEdgeLength>)
        .def("border_edges", borderEdges);
    py::class_<PointHolder>(m, "PointHolder")
        .def_property_readonly("points", &PointHolder::getPoints)
        .def_property_readonly("colors", &PointHolder::getColors)
        .def_property_readonly("normals", &PointHolder::getNormals)
        .def_property_readonly("classes", &PointHolder::getClasses)
        .def_property_readonly("intensities", &PointHolder::getIntensities)
        .def_property_readonly("triangles", &PointHolder::getTriangles)
        .def("report", [](const PointHolder& holder) { return reportOf(*holder.pFile); });
}

}  // namespace

PYBIND11_MODULE(_core, m) {
    requireKnownNumpy();
    translateErrors();
    bindHolders(m);
    m.def("reconstruct", reconstruct);
    m.def("measure_spacing", measureSpacing);
    m.def("measure_points", measurePoints);
    m.def("melt", melt);
    m.def("resample", resample);
    m.def("compare", compare);
    m.def("distance_colors", distanceColors);
    m.def("read_points", readPoints);
    m.def("formats", formats);
    m.def("read_mesh", readMesh);
    m.def("write_mesh", writeMesh);
    m.def("write_points", writePoints);
    bindScenes(m);
    bindTiles(m);
    m.def("number", readNumber);
    m.def("whole", readWhole);
    m.attr("options") = describeOptions();
    m.attr("version") = version();
}

}  // namespace zefpy
