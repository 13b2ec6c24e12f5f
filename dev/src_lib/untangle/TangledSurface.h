#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <unordered_map>
#include <utility>
#include <vector>

#include "check/CrossingTest.h"
#include "check/TriangleGrid.h"
#include "check/selfIntersections.h"
#include "flat/VertexFans.h"
#include "zef/TriangleMesh.h"

namespace QUOR_ZEF {

// What is done to a surface at one place.
struct SurfaceChange {
    using Corners = CrossingTest::Corners;

    std::vector<std::uint32_t> vGone;  // triangles
    std::vector<Corners> vAdded;
    std::vector<std::pair<std::uint32_t, Coords>> vMoves;  // vertices, and where they go
};

// A manifold mesh that changes in few places, and finds what is near them. Places are scaled as
// those of ExactPlaces. Triangles keep their numbers; some die, and others come at the end.
class TangledSurface {
public:
    using Corners = CrossingTest::Corners;

    // The grid is of these triangles; both are borrowed, and the places of the triangles change.
    TangledSurface(const TriangleMesh& mesh, ExactTriangles& triangles_, const TriangleGrid& grid_);

    const std::vector<Coords>& places() const { return triangles.places.v; }
    const Coords& place(std::uint32_t vertex) const { return triangles.places.v[vertex]; }
    const Corners& corners(std::uint32_t triangle) const { return vCorners[triangle]; }
    bool isAlive(std::uint32_t triangle) const { return !vDead[triangle]; }
    // Of live triangles, ascending.
    std::span<const std::uint32_t> fan(std::uint32_t vertex) const;
    // Vertices at one place stay there.
    bool isFixed(std::uint32_t vertex) const { return vFixed[vertex]; }
    bool isAtBorder(std::uint32_t vertex) const;
    // Live ones, ascending: all with a corner of these; also the given ones.
    std::vector<std::uint32_t> ringOf(const std::vector<std::uint32_t>& vTriangles) const;
    // The triangle across the side from a to b of another; none at a border.
    static constexpr std::uint32_t none = 0xffffffffU;
    std::uint32_t across(std::uint32_t a, std::uint32_t b) const;

    CoordBox box(std::uint32_t triangle) const { return boxOf(triangles.places.v, vCorners[triangle]); }
    // Live triangles with a box that meets this one, ascending.
    std::vector<std::uint32_t> near(const CoordBox& box) const;
    // Also true for a triangle that has no area; it must not come twice.
    bool intersect(std::uint32_t t, std::uint32_t u) const;
    bool hasArea(std::uint32_t triangle) const;

    // Puts the change into effect, and into vMoves the places before. Returns the number of the
    // first triangle added.
    std::uint32_t apply(SurfaceChange& change);
    // Takes back what apply() has done last.
    void undo(SurfaceChange& change);
    // Whether the triangles at the vertex hang together as a fan or a part of one, all the same
    // way round.
    bool isManifoldAt(std::uint32_t vertex) const;

    // Places and triangles, these in their order.
    void writeTo(TriangleMesh& mesh) const;

    // Counts triangles looked at: what limits the time where thousands of triangles intersect.
    void addWork(std::size_t num) const { work += num; }
    // Whether that was so much that nothing more is to be tried.
    bool isTired() const { return work > mostWork; }

private:
    std::uint64_t mostWork;
    mutable std::uint64_t work = 0;

    ExactTriangles& triangles;
    const TriangleGrid& grid;
    CrossingTest test;
    std::vector<Corners> vCorners;
    std::vector<bool> vDead, vFixed, vMoved;
    std::vector<bool> vStale;           // by triangle: the grid does not tell where it is
    std::vector<std::uint32_t> vLoose;  // those
    std::size_t numLooseBefore = 0;     // before what apply() has done last
    VertexFans firstFans;
    std::unordered_map<std::uint32_t, std::vector<std::uint32_t>> changedFans;

    void enter(std::uint32_t triangle);
    void leave(std::uint32_t triangle);
    std::vector<std::uint32_t>& fanToChange(std::uint32_t vertex);
    void swapPlaces(SurfaceChange& change);
    void setStale(std::uint32_t triangle);
    Corners sameCorners(std::uint32_t triangle) const;
};

}  // namespace QUOR_ZEF
