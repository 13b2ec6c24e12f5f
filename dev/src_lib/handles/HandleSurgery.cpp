#include "handles/HandleSurgery.h"

#include <algorithm>

#include "flat/triangleSides.h"
#include "handles/shortLoops.h"

namespace QUOR_ZEF {

namespace {

using Sides = std::vector<std::uint32_t>;

}  // namespace

void HandleSurgery::cut(const Sides& vLoop, double share, double maxStep) {
    numVertices = mesh.vertices.size();
    numSides = mesh.indices.size();
    vIndices.clear();
    vOpposites.clear();
    vPlaces.clear();
    Sides vRight;
    for (const std::uint32_t side : vLoop) {
        vRight.push_back(vOpposite[side]);
        vOpposites.emplace_back(side, vOpposite[side]);
        vOpposites.emplace_back(vOpposite[side], side);
    }
    std::ranges::reverse(vRight);
    const std::vector<Point3> vLeftPlaces = placesBehind(vLoop, vLoop, share, maxStep);
    const std::vector<Point3> vRightPlaces = placesBehind(vRight, vLoop, share, maxStep);
    partVertices(vRight);
    move(vLoop, vLeftPlaces);
    move(vRight, vRightPlaces);
    close(vLoop);
    close(vRight);
}

void HandleSurgery::undo() {
    for (const auto& [vertex, place] : vPlaces) mesh.vertices[vertex] = place;
    mesh.vertices.resize(numVertices);
    mesh.indices.resize(numSides);
    vOpposite.resize(numSides);
    for (const auto& [side, vertex] : vIndices) mesh.indices[side] = vertex;
    for (const auto& [side, other] : vOpposites) vOpposite[side] = other;
}

// Of the starts of the sides of a rim, towards their neighbours on its left.
std::vector<Point3> HandleSurgery::placesBehind(const Sides& vRim, const Sides& vLoop, double share,
                                                double maxStep) const {
    const auto isOnLoop = [&](std::uint32_t vertex) {
        return std::ranges::any_of(vLoop, [&](std::uint32_t side) { return mesh.indices[side] == vertex; });
    };
    std::vector<Point3> vTo;
    for (std::size_t i = 0; i < vRim.size(); ++i) {
        const std::uint32_t before = vRim[(i + vRim.size() - 1) % vRim.size()];
        const Point3& place = mesh.vertices[mesh.indices[vRim[i]]];
        Vector3 sum;
        double num = 0.0;
        for (std::uint32_t side = vRim[i]; previousSide(side) != before; side = vOpposite[previousSide(side)]) {
            const std::uint32_t neighbour = mesh.indices[previousSide(side)];
            if (isOnLoop(neighbour)) continue;
            sum += mesh.vertices[neighbour] - place;
            num += 1.0;
        }
        Vector3 step = num > 0.0 ? sum * (share / num) : sum;
        if (const double length = step.length(); length > maxStep) step *= maxStep / length;
        vTo.push_back(place + step);
    }
    return vTo;
}

// Triangles on the left of this rim get copies of its vertices.
void HandleSurgery::partVertices(const Sides& vRim) {
    for (std::size_t i = 0; i < vRim.size(); ++i) {
        const std::uint32_t before = vRim[(i + vRim.size() - 1) % vRim.size()];
        const auto copy = static_cast<std::uint32_t>(mesh.vertices.size());
        const Point3 place = mesh.vertices[mesh.indices[vRim[i]]];
        mesh.vertices.push_back(place);
        std::uint32_t side = vRim[i];
        for (; previousSide(side) != before; side = vOpposite[previousSide(side)]) giveVertex(side, copy);
        giveVertex(side, copy);
    }
}

void HandleSurgery::giveVertex(std::uint32_t side, std::uint32_t vertex) {
    vIndices.emplace_back(side, mesh.indices[side]);
    mesh.indices[side] = vertex;
}

void HandleSurgery::move(const Sides& vRim, const std::vector<Point3>& vTo) {
    for (std::size_t i = 0; i < vRim.size(); ++i) {
        const std::uint32_t vertex = mesh.indices[vRim[i]];
        vPlaces.emplace_back(vertex, mesh.vertices[vertex]);
        mesh.vertices[vertex].set(vTo[i].px, vTo[i].py, vTo[i].pz);
    }
}

// With one triangle, or one from each side of the rim to a vertex in the middle.
void HandleSurgery::close(const Sides& vRim) {
    const std::size_t num = vRim.size();
    const auto startOf = [&](std::size_t i) { return mesh.indices[vRim[i % num]]; };
    if (num == 3) {
        const std::uint32_t first = addTriangle(startOf(1), startOf(0), startOf(2));
        for (std::uint32_t i = 0; i < 3; ++i) pairUp(first + i, vRim[(3 - i) % 3]);
        return;
    }
    const auto middle = static_cast<std::uint32_t>(mesh.vertices.size());
    mesh.vertices.push_back(middleOf(placesOf(mesh, vRim)));
    const auto first = static_cast<std::uint32_t>(mesh.indices.size());
    for (std::uint32_t i = 0; i < num; ++i) pairUp(addTriangle(startOf(i + 1), startOf(i), middle), vRim[i]);
    for (std::uint32_t i = 0; i < num; ++i)
        pairUp(first + 3 * i + 1, first + 3 * static_cast<std::uint32_t>((i + num - 1) % num) + 2);
}

// Returns its first side.
std::uint32_t HandleSurgery::addTriangle(std::uint32_t a, std::uint32_t b, std::uint32_t c) {
    const auto side = static_cast<std::uint32_t>(mesh.indices.size());
    for (const std::uint32_t vertex : {a, b, c}) mesh.indices.push_back(vertex);
    vOpposite.resize(mesh.indices.size());
    return side;
}

void HandleSurgery::pairUp(std::uint32_t side, std::uint32_t other) {
    vOpposite[side] = other;
    vOpposite[other] = side;
}

}  // namespace QUOR_ZEF
