#include "tiles/tileParts.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <utility>

namespace QUOR_ZEF {

TileParts::TileParts(const SettledSeams& settled)
    : seams(settled), vTriangles(settled.vNumbers.size()), vNumbers(settled.vVertices.size(), TileMesh::none) {
    for (std::uint32_t t = 0; t < seams.vOwners.size(); ++t) vTriangles.at(seams.vOwners[t]).push_back(t);
}

TriangleMesh TileParts::partOf(std::uint32_t tile, const TileMesh& mesh) {
    requireFitting(seams, tile, mesh);
    const auto numSeam = static_cast<std::uint32_t>(seams.vVertices.size());
    // Inner vertices come first.
    TriangleMesh part;
    part.vertices.assign(mesh.vVertices.begin() + static_cast<std::ptrdiff_t>(mesh.vKeys.size()), mesh.vVertices.end());
    std::vector<std::uint32_t> vUsed;
    const auto add = [&](std::uint32_t vertex) {
        if (vertex >= numSeam) return part.indices.push_back(vertex - numSeam);
        if (vNumbers[vertex] == TileMesh::none) {
            vNumbers[vertex] = static_cast<std::uint32_t>(part.vertices.size());
            part.vertices.push_back(seams.vVertices[vertex]);
            vUsed.push_back(vertex);
        }
        part.indices.push_back(vNumbers[vertex]);
    };
    for (const std::uint32_t t : vTriangles[tile])
        for (std::size_t i = 0; i < 3; ++i) add(seams.vTriples[3 * std::size_t{t} + i]);
    forEachOfCore(seams, tile, mesh, numSeam, [&](const std::array<std::uint32_t, 3>& corners) {
        for (const std::uint32_t vertex : corners) add(vertex);
    });
    for (const std::uint32_t vertex : vUsed) vNumbers[vertex] = TileMesh::none;
    return part;
}

TilePart::TilePart(std::string name, const TriangleMesh& mesh)
    : file(std::move(name)), low(mesh.vertices.at(0)), high(mesh.vertices.at(0)) {
    for (const Point3& p : mesh.vertices) {
        low.set(std::min(low.px, p.px), std::min(low.py, p.py), std::min(low.pz, p.pz));
        high.set(std::max(high.px, p.px), std::max(high.py, p.py), std::max(high.pz, p.pz));
    }
}

namespace {

using Json = nlohmann::ordered_json;

// Viewers turn glTF, whose y points up: (x, y, z) becomes (x, -z, y). This turns it back, column by column.
constexpr std::array<double, 16> upright = {1, 0, 0, 0, 0, 0, -1, 0, 0, 1, 0, 0, 0, 0, 0, 1};

// In the axes before that: the middle and half of each side.
Json boxOf(const Point3& low, const Point3& high) {
    const auto middle = [](double a, double b) { return a + (b - a) / 2.0; };
    const double x = (high.px - low.px) / 2.0, y = (high.py - low.py) / 2.0, z = (high.pz - low.pz) / 2.0;
    return {{"box",
             {middle(low.px, high.px), -middle(low.pz, high.pz), middle(low.py, high.py), x, 0.0, 0.0, 0.0, z, 0.0, 0.0,
              0.0, y}}};
}

}  // namespace

std::string tilesetOf(const std::vector<TilePart>& vParts) {
    Point3 low, high;
    Json children = Json::array();
    for (const TilePart& part : vParts) {
        if (children.empty()) {
            low = part.low;
            high = part.high;
        }
        low.set(std::min(low.px, part.low.px), std::min(low.py, part.low.py), std::min(low.pz, part.low.pz));
        high.set(std::max(high.px, part.high.px), std::max(high.py, part.high.py), std::max(high.pz, part.high.pz));
        children.push_back({{"boundingVolume", boxOf(part.low, part.high)},
                            {"geometricError", 0.0},
                            {"content", {{"uri", part.file}}}});
    }
    // Without its parts, nothing is there.
    const double error = (high - low).length();
    const Json root = {{"boundingVolume", boxOf(low, high)},
                       {"transform", upright},
                       {"geometricError", error},
                       {"refine", "ADD"},
                       {"children", children}};
    const Json tileset = {{"asset", {{"version", "1.1"}}}, {"geometricError", error}, {"root", root}};
    return tileset.dump(1, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace QUOR_ZEF
