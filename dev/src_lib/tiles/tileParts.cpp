#include "tiles/tileParts.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <nlohmann/json.hpp>

#include "bytes/LoadError.h"
#include "flat/arrays.h"

namespace QUOR_ZEF {

TriangleMesh partOf(std::uint32_t tile, const TileMesh& mesh, const SettledSeams& seams) {
    if (tile >= seams.vNumbers.size() || seams.vNumbers[tile].size() != mesh.vKeys.size() ||
        seams.vTurned[tile].size() != mesh.vPieces.size())
        throw LoadError("seams and tiles do not fit together");
    const std::vector<std::uint32_t>& vNumbers = seams.vNumbers[tile];
    TriangleMesh part;
    part.vertices = seams.vVertices;
    part.vertices.insert(part.vertices.end(), mesh.vVertices.begin() + static_cast<std::ptrdiff_t>(vNumbers.size()),
                         mesh.vVertices.end());
    const auto numberOf = [&](std::uint32_t i) {
        const auto numSeam = static_cast<std::uint32_t>(seams.vVertices.size());
        return i < vNumbers.size() ? vNumbers[i] : numSeam + i - static_cast<std::uint32_t>(vNumbers.size());
    };
    for (std::size_t t = 0; t < seams.vOwners.size(); ++t)
        if (seams.vOwners[t] == tile)
            for (std::size_t i = 0; i < 3; ++i) part.indices.push_back(seams.vTriples[3 * t + i]);
    for (std::size_t t = 0; t < mesh.vCorePieces.size(); ++t) {
        const std::size_t first = part.indices.size();
        for (std::size_t i = 0; i < 3; ++i) part.indices.push_back(numberOf(mesh.vCore[3 * t + i]));
        if (seams.vTurned[tile][mesh.vCorePieces[t]] != 0) std::swap(part.indices[first], part.indices[first + 1]);
    }
    renumberVertices(part, VertexOrder::MESH);
    return part;
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
