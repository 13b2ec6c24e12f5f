#include "tiles.h"

#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "Call.h"
#include "arrays.h"
#include "options.h"
#include "reports.h"
#include "zef/tiles.h"

namespace zefpy {

namespace {

// (n, 2, 3): the tiles, their low and high corners, x y z.
py::array boxesOf(const std::vector<zef::TileBox>& vBoxes) {
    std::vector<std::uint64_t> vEnds;
    for (const zef::TileBox& box : vBoxes) {
        vEnds.insert(vEnds.end(), box.low.begin(), box.low.end());
        vEnds.insert(vEnds.end(), box.high.begin(), box.high.end());
    }
    return take(std::move(vEnds), {static_cast<py::ssize_t>(vBoxes.size()), 2, 3});
}

py::dict planOf(zef::TilePlan plan) {
    py::dict report = reportOf(plan);
    const auto num = static_cast<py::ssize_t>(plan.numPoints.size());
    report["boxes"] = boxesOf(plan.boxes);
    report["num_points"] = take(std::move(plan.numPoints), {num});
    return report;
}

py::dict planTiles(const std::vector<std::string>& inputs, const std::string& job, const py::dict& given,
                   const py::object& threads, const py::object& progress) {
    Call call(threads, progress);
    const auto options = readOptions<zef::TileOptions>(given);
    const std::vector<std::filesystem::path> files(inputs.begin(), inputs.end());
    return planOf(call.run([&](const zef::Context& context) { return zef::planTiles(files, job, options, context); }));
}

py::dict readTilePlan(const std::string& job) {
    return planOf(zef::readTilePlan(job));
}

// Steps of all tiles.
template <void step(const std::filesystem::path&, const zef::Context&)>
void takeStep(const std::string& job, const py::object& threads, const py::object& progress) {
    Call call(threads, progress);
    call.run([&](const zef::Context& context) { step(job, context); });
}

void meshTile(const std::string& job, const py::object& tile, const py::object& threads, const py::object& progress) {
    Call call(threads, progress);
    std::uint32_t number = 0;
    readArgument({"tile", &number, ""}, tile);
    call.run([&](const zef::Context& context) { zef::meshTile(job, number, context); });
}

void exportTileset(const std::string& job, const std::string& folder, const py::object& threads,
                   const py::object& progress) {
    Call call(threads, progress);
    call.run([&](const zef::Context& context) { zef::exportTileset(job, folder, context); });
}

py::dict readTileState(const std::string& job) {
    const zef::TileState state = [&] {
        const py::gil_scoped_release unlocked;
        return zef::readTileState(job);
    }();
    return reportOf(state);
}

}  // namespace

void bindTiles(py::module_& module) {
    module.def("plan_tiles", planTiles);
    module.def("read_tile_plan", readTilePlan);
    module.def("split_tiles", takeStep<zef::splitTiles>);
    module.def("mesh_tile", meshTile);
    module.def("settle_tiles", takeStep<zef::settleTiles>);
    module.def("join_tiles", takeStep<zef::joinTiles>);
    module.def("export_tileset", exportTileset);
    module.def("read_tile_state", readTileState);
}

}  // namespace zefpy
