#pragma once

#include <memory>
#include <span>
#include <vector>

#include "arrays.h"
#include "zef/files.h"

namespace zefpy {

// What readPoints() or resample() gave, with arrays in its memory.
struct PointHolder {
    std::shared_ptr<zef::PointFile> pFile = std::make_shared<zef::PointFile>();

    py::array getPoints() const { return coordinatesOf(pFile->points, keepAlive(pFile)); }
    py::object getColors() const {
        return pFile->hasColor ? py::object(colorsOf(pFile->points, keepAlive(pFile))) : py::none();
    }
    py::object getNormals() const {
        return pFile->normals.empty() ? py::none() : py::object(normalsOf(pFile->normals, keepAlive(pFile)));
    }
    py::object getClasses() const { return listOf(pFile->classes); }
    py::object getIntensities() const { return listOf(pFile->intensities); }
    py::object getTriangles() const {
        if (pFile->kind != zef::PointFile::Kind::MESH) return py::none();
        const auto num = static_cast<py::ssize_t>(pFile->indices.size() / 3);
        return py::array(py::dtype::of<std::uint32_t>(), {num, py::ssize_t{3}}, {}, pFile->indices.data(),
                         keepAlive(pFile));
    }

private:
    template <class T>
    py::object listOf(const std::vector<T>& v) const {
        if (v.empty()) return py::none();
        return py::array(py::dtype::of<T>(), {static_cast<py::ssize_t>(v.size())}, {}, v.data(), keepAlive(pFile));
    }
};

// Points for calls that want them as the library holds its own: those of a PointHolder as
// they are, or a copy of arrays. points: None for none; colors: may be None.
class OwnPoints {
public:
    OwnPoints(const py::object& points, const py::object& colors) {
        if (points.is_none()) return;
        if (py::isinstance<PointHolder>(points)) {
            pFile = points.cast<PointHolder&>().pFile;
        } else {
            vCopied = pointsOf(py::reinterpret_borrow<py::array>(points), colors);
        }
    }
    std::span<const zef::Point3> get() const { return pFile ? pFile->points : vCopied; }

private:
    std::shared_ptr<const zef::PointFile> pFile;
    std::vector<zef::Point3> vCopied;
};

}  // namespace zefpy
