#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "untangle/TangledSurface.h"

namespace QUOR_ZEF {

// How far vertices may go, and what may be done.
struct KnotLimits {
    double maxMove = 0.0;       // from where they were first
    bool bFloats = false;       // whether places are floats
    bool bDrastically = false;  // whether larger places may be smoothed, and triangles cut out
};

// Triangles at one place of which some intersect, and what is tried to part them. Each step is kept
// only if fewer pairs intersect afterwards and the surface stays manifold. Borders come or
// move only near others, but for drastic steps.
class Knot {
public:
    // vFirst: the places where vertices were first. All borrowed.
    Knot(TangledSurface& surface_, const std::vector<Coords>& vFirst_, const KnotLimits& limits_)
        : surface(surface_), vFirst(vFirst_), limits(limits_) {}

    // vTriangles: those of intersecting pairs, and maybe others. Returns how many pairs of theirs, and
    // of what has come in their place, are left.
    std::size_t loosen(std::vector<std::uint32_t> vTriangles);
    // The triangles of these pairs, ascending.
    const std::vector<std::uint32_t>& tangled() const { return vTangled; }

private:
    TangledSurface& surface;
    const std::vector<Coords>& vFirst;
    const KnotLimits limits;
    std::vector<TrianglePair> vPairs;
    std::vector<std::uint32_t> vTangled;  // triangles of pairs, ascending
    struct Boxed {
        CoordBox box;
        std::uint32_t triangle;
    };
    std::vector<Boxed> vNear;  // what these and the rings around them could meet, ascending by low x
    double widest = 0.0;       // of vNear, along x
    int numRingsSeen = -1;

    std::size_t findPairs(std::vector<std::uint32_t> vTriangles);
    void lookAround(int numRings);
    void lookNear(const std::vector<std::uint32_t>& vTriangles);
    std::vector<std::uint32_t> ringsAround(int numRings) const;
    template <class Fn>
    void forEachPairOf(const std::vector<std::uint32_t>& vTriangles, const Fn& fn) const;
    std::size_t countKnownPairs(const std::vector<std::uint32_t>& vTriangles) const;
    bool hasFewerPairs(const std::vector<std::uint32_t>& vTriangles, std::size_t than) const;
    bool tryAll();
    bool attempt(SurfaceChange& change);
    std::vector<std::uint32_t> outerSidesOf(const std::vector<std::uint32_t>& vTriangles) const;
    bool isSound(const SurfaceChange& change, const std::vector<std::uint32_t>& vOuter) const;

    bool flipEdges();
    bool smooth(int numRings, int numSteps);
    bool collapseEdges();
    bool pushApart();
    bool renew(int numRings);
    bool trimBorders();
    bool cutOut();
    bool cut(std::vector<std::uint32_t> vGone);
    void dropScraps(const std::vector<std::uint32_t>& vGone);

    std::vector<std::uint32_t> verticesOf(const std::vector<std::uint32_t>& vTriangles) const;
    std::vector<std::vector<std::uint32_t>> piecesOf(const std::vector<std::uint32_t>& vTriangles) const;
    Coords meanAround(std::uint32_t vertex, const std::vector<Coords>& vPlaces,
                      const std::vector<std::uint32_t>& vVertices) const;
    Coords hold(std::uint32_t vertex, const Coords& wanted) const;
    std::optional<SurfaceChange> collapse(std::uint32_t from, std::uint32_t to) const;
};

}  // namespace QUOR_ZEF
