#include "scenes.h"

#include <pybind11/stl.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Call.h"
#include "MeshHolder.h"
#include "PointHolder.h"
#include "options.h"
#include "zef/view.h"

namespace zefpy {

namespace {

// Keeps what it shows alive, and as it is, for the call.
class Scene {
public:
    Scene(const std::vector<MeshHolder*>& vMeshes, const py::object& points, const py::object& colors)
        : shownPoints(points, colors) {
        for (const MeshHolder* const pMesh : vMeshes) {
            vHeld.push_back(pMesh->read());
            scene.meshes.push_back(vHeld.back().get());
        }
        scene.points = shownPoints.get();
    }
    const zef::ViewScene& get() const { return scene; }

private:
    std::vector<std::shared_ptr<const zef::TriangleMesh>> vHeld;
    OwnPoints shownPoints;
    zef::ViewScene scene;
};

// report: pairs of what and how much, in texts.
py::str makePage(const std::vector<MeshHolder*>& vMeshes, const py::object& points, const py::object& colors,
                 const std::string& bundle, std::vector<std::pair<std::string, std::string>> vReport,
                 const py::dict& given, const py::object& threads, const py::object& progress) {
    Call call(threads, progress);
    auto options = readOptions<zef::PageOptions>(given);
    options.report = std::move(vReport);
    const Scene scene(vMeshes, points, colors);
    return call.run([&](const zef::Context& context) { return zef::makePage(scene.get(), bundle, options, context); });
}

void writePage(const std::string& path, const std::string& html) {
    const py::gil_scoped_release unlocked;
    zef::writePage(path, html);
}

// (rows, columns, 4) bytes.
py::array draw(const std::vector<MeshHolder*>& vMeshes, const py::object& points, const py::object& colors,
               const py::dict& given, const py::object& threads, const py::object& progress) {
    Call call(threads, progress);
    const auto options = readOptions<zef::DrawOptions>(given);
    const Scene scene(vMeshes, points, colors);
    const auto pImage = std::make_shared<zef::Image>(
        call.run([&](const zef::Context& context) { return zef::draw(scene.get(), options, context); }));
    return {py::dtype::of<std::uint8_t>(),
            {py::ssize_t{pImage->height}, py::ssize_t{pImage->width}, py::ssize_t{4}},
            {},
            pImage->rgba.data(),
            keepAlive(pImage)};
}

// pixels: as draw() gives them.
void writePng(const std::string& path, const py::array_t<std::uint8_t, py::array::c_style>& pixels) {
    zef::Image image{static_cast<std::uint32_t>(pixels.shape(1)),
                     static_cast<std::uint32_t>(pixels.shape(0)),
                     {pixels.data(), pixels.data() + pixels.size()}};
    const py::gil_scoped_release unlocked;
    zef::writePng(path, image);
}

}  // namespace

void bindScenes(py::module_& module) {
    module.def("make_page", makePage);
    module.def("write_page", writePage);
    module.def("draw", draw);
    module.def("write_png", writePng);
}

}  // namespace zefpy
