#include "untangle/TangledSurface.h"

#include <algorithm>

namespace QUOR_ZEF {

TangledSurface::TangledSurface(const TriangleMesh& mesh, ExactTriangles& triangles_, const TriangleGrid& grid_)
    // Scans of rooms need some 100 a triangle; ten million take a quarter of a second.
    : mostWork(1'200'000'000 + 1'000 * std::uint64_t{mesh.numTriangles()}),
      triangles(triangles_),
      grid(grid_),
      test(triangles_.places.v),
      vDead(mesh.numTriangles()),
      vFixed(mesh.vertices.size()),
      vMoved(mesh.vertices.size()),
      vStale(mesh.numTriangles()),
      firstFans(mesh.indices, mesh.vertices.size()) {
    vCorners.reserve(mesh.numTriangles());
    for (std::size_t i = 0; i < mesh.indices.size(); i += 3)
        vCorners.push_back({mesh.indices[i], mesh.indices[i + 1], mesh.indices[i + 2]});
    const std::vector<std::uint32_t>& vSame = triangles.places.vSame;
    for (std::uint32_t i = 0; i < vSame.size(); ++i)
        if (vSame[i] != i) vFixed[i] = vFixed[vSame[i]] = true;
}

std::span<const std::uint32_t> TangledSurface::fan(std::uint32_t vertex) const {
    const auto it = changedFans.find(vertex);
    return it == changedFans.end() ? firstFans[vertex] : std::span<const std::uint32_t>(it->second);
}

std::uint32_t TangledSurface::across(std::uint32_t a, std::uint32_t b) const {
    for (const std::uint32_t t : fan(a))
        for (std::size_t i = 0; i < 3; ++i)
            if (vCorners[t][i] == b && vCorners[t][(i + 1) % 3] == a) return t;
    return none;
}

bool TangledSurface::isAtBorder(std::uint32_t vertex) const {
    for (const std::uint32_t t : fan(vertex))
        for (std::size_t i = 0; i < 3; ++i)
            if (vCorners[t][i] == vertex && across(vertex, vCorners[t][(i + 1) % 3]) == none) return true;
    return false;
}

std::vector<std::uint32_t> TangledSurface::ringOf(const std::vector<std::uint32_t>& vTriangles) const {
    std::vector<std::uint32_t> vRing;
    for (const std::uint32_t t : vTriangles)
        for (const std::uint32_t corner : vCorners[t]) {
            const std::span<const std::uint32_t> around = fan(corner);
            vRing.insert(vRing.end(), around.begin(), around.end());
        }
    std::sort(vRing.begin(), vRing.end());
    vRing.erase(std::unique(vRing.begin(), vRing.end()), vRing.end());
    return vRing;
}

std::vector<std::uint32_t> TangledSurface::near(const CoordBox& box_) const {
    std::vector<std::uint32_t> vFound;
    grid.findNear(box_, vFound);
    for (std::uint32_t& t : vFound) t = triangles.vNumbers[t];
    std::erase_if(vFound, [&](std::uint32_t t) { return vStale[t]; });
    addWork(vLoose.size() + vFound.size());
    for (const std::uint32_t t : vLoose)
        if (isAlive(t) && box(t).meets(box_)) vFound.push_back(t);
    std::sort(vFound.begin(), vFound.end());
    return vFound;
}

CrossingTest::Corners TangledSurface::sameCorners(std::uint32_t triangle) const {
    const Corners& t = vCorners[triangle];
    const std::vector<std::uint32_t>& vSame = triangles.places.vSame;
    return {vSame[t[0]], vSame[t[1]], vSame[t[2]]};
}

bool TangledSurface::hasArea(std::uint32_t triangle) const {
    return test.hasArea(vCorners[triangle]);
}

bool TangledSurface::intersect(std::uint32_t t, std::uint32_t u) const {
    return test.intersect(sameCorners(t), sameCorners(u));
}

std::vector<std::uint32_t>& TangledSurface::fanToChange(std::uint32_t vertex) {
    const auto [it, bNew] = changedFans.try_emplace(vertex);
    if (bNew) it->second.assign(firstFans[vertex].begin(), firstFans[vertex].end());
    return it->second;
}

void TangledSurface::enter(std::uint32_t triangle) {
    vDead[triangle] = false;
    for (const std::uint32_t corner : vCorners[triangle]) {
        std::vector<std::uint32_t>& around = fanToChange(corner);
        around.insert(std::lower_bound(around.begin(), around.end(), triangle), triangle);
    }
}

void TangledSurface::leave(std::uint32_t triangle) {
    vDead[triangle] = true;
    for (const std::uint32_t corner : vCorners[triangle]) std::erase(fanToChange(corner), triangle);
}

void TangledSurface::setStale(std::uint32_t triangle) {
    if (!vStale[triangle]) vLoose.push_back(triangle);
    vStale[triangle] = true;
}

void TangledSurface::swapPlaces(SurfaceChange& change) {
    for (auto& [vertex, place] : change.vMoves) {
        std::swap(triangles.places.v[vertex], place);
        for (const std::uint32_t t : fan(vertex)) setStale(t);
        vMoved[vertex] = true;
    }
}

std::uint32_t TangledSurface::apply(SurfaceChange& change) {
    const auto first = static_cast<std::uint32_t>(vCorners.size());
    numLooseBefore = vLoose.size();
    for (const std::uint32_t t : change.vGone) {
        setStale(t);
        leave(t);
    }
    for (const Corners& t : change.vAdded) {
        const auto number = static_cast<std::uint32_t>(vCorners.size());
        vCorners.push_back(t);
        vDead.push_back(false);
        vStale.push_back(false);
        setStale(number);
        enter(number);
    }
    swapPlaces(change);
    return first;
}

void TangledSurface::undo(SurfaceChange& change) {
    swapPlaces(change);
    for (std::size_t i = numLooseBefore; i < vLoose.size(); ++i) vStale[vLoose[i]] = false;
    vLoose.resize(numLooseBefore);
    for (std::size_t i = 0; i < change.vAdded.size(); ++i) {
        leave(static_cast<std::uint32_t>(vCorners.size() - 1));
        vCorners.pop_back();
        vDead.pop_back();
        vStale.pop_back();
    }
    for (const std::uint32_t t : change.vGone) enter(t);
}

bool TangledSurface::isManifoldAt(std::uint32_t vertex) const {
    std::vector<std::pair<std::uint32_t, std::uint32_t>> vLink;  // sides across, from and to
    for (const std::uint32_t t : fan(vertex)) {
        const Corners& c = vCorners[t];
        const std::size_t i = static_cast<std::size_t>(std::find(c.begin(), c.end(), vertex) - c.begin());
        vLink.emplace_back(c[(i + 1) % 3], c[(i + 2) % 3]);
    }
    if (vLink.empty()) return true;
    addWork(vLink.size() * vLink.size() / 8);
    const auto hasTwice = [&](auto member) {
        std::vector<std::uint32_t> vEnds;
        vEnds.reserve(vLink.size());
        for (const auto& side : vLink) vEnds.push_back(side.*member);
        std::sort(vEnds.begin(), vEnds.end());
        return std::adjacent_find(vEnds.begin(), vEnds.end()) != vEnds.end();
    };
    using Side = std::pair<std::uint32_t, std::uint32_t>;
    if (hasTwice(&Side::first) || hasTwice(&Side::second)) return false;
    const auto [start, second] = vLink.front();
    std::size_t num = 1;
    const auto follow = [&](std::uint32_t end, auto from, auto to) {
        for (;;) {
            const auto it = std::find_if(vLink.begin() + 1, vLink.end(), [&](const Side& s) { return s.*from == end; });
            if (it == vLink.end()) return end;
            ++num;
            end = (*it).*to;
        }
    };
    const std::uint32_t end = follow(second, &Side::first, &Side::second);
    if (end != start) follow(start, &Side::second, &Side::first);
    return num == vLink.size();
}

void TangledSurface::writeTo(TriangleMesh& mesh) const {
    for (std::size_t i = 0; i < vMoved.size(); ++i) {
        if (!vMoved[i]) continue;
        const Coords& p = triangles.places.v[i];
        mesh.vertices[i].set(triangles.places.unscaled(p[0]), triangles.places.unscaled(p[1]),
                             triangles.places.unscaled(p[2]));
    }
    mesh.indices.clear();
    for (std::size_t t = 0; t < vCorners.size(); ++t)
        if (!vDead[t]) mesh.indices.insert(mesh.indices.end(), vCorners[t].begin(), vCorners[t].end());
}

}  // namespace QUOR_ZEF
