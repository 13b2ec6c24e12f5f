#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "zef/Context.h"
#include "zef/Point3.h"
#include "zef/TriangleMesh.h"
#include "zef/errors.h"
#include "zef/export.h"

namespace QUOR_ZEF {

// Words used here. Edge: two vertices with triangles at both. Border edge: one
// triangle. Non-manifold edge: more than two. Fan: triangles at a vertex that hang
// together across edges at it. Non-manifold vertex: more than one fan, or on a
// non-manifold edge. Component: triangles that hang together across edges.

// Lengths in world units. The sums of components are those of the whole.
struct MeshComponent {
    std::size_t numTriangles = 0;
    std::size_t numVertices = 0;  // a vertex counts once for each of its fans
    std::size_t numEdges = 0;
    std::size_t numBorderEdges = 0;
    std::size_t numBorderLoops = 0;
    bool closed = false;      // no border edge
    bool manifold = false;    // no non-manifold edge
    bool oriented = false;    // no orientation conflict
    std::int64_t euler = 0;   // vertices - edges + triangles
    std::int64_t genus = -1;  // handles; -1 unless manifold and oriented
    double area = 0.0;
    double volume = 0.0;  // enclosed, negative if inside out; 0 unless closed, manifold and oriented
};

// Border edges that follow one another from fan to fan.
struct MeshBorderLoop {
    std::size_t numEdges = 0;
    double length = 0.0;  // world units
    Point3 low, high;     // opposite corners of its box
};

struct MeshReport {
    std::size_t numVertices = 0;  // of triangles
    std::size_t numTriangles = 0;
    std::size_t numEdges = 0;
    std::size_t numComponents = 0;
    std::size_t numBorderEdges = 0;
    std::size_t numBorderLoops = 0;  // border edges that meet in one fan belong together
    std::size_t numNonManifoldEdges = 0;
    std::size_t numNonManifoldVertices = 0;
    std::size_t numOrientationConflicts = 0;  // edges that two triangles, and no other, run through in one direction
    std::size_t numDegenerateTriangles = 0;   // area exactly 0, or no number
    std::size_t numDuplicateTriangles = 0;    // on the vertices of an earlier one
    std::int64_t euler = 0;                   // vertices - edges + triangles
    bool closed = false;                      // has triangles, and no border edge
    bool manifold = false;                    // no non-manifold edge or vertex
    bool oriented = false;                    // no orientation conflict
    double area = 0.0;
    double volume = 0.0;                    // sum over the components
    std::vector<MeshComponent> components;  // in order of their first triangles
    std::vector<MeshBorderLoop> borderLoops;
};

// Counts only. Coordinates need not be finite; a triangle that repeats a vertex is an
// ArgumentError. O(n log n), about 90 bytes a triangle meanwhile.
ZEF_API MeshReport check(const TriangleMesh& mesh, const Context& context = {});

// Pairs of triangles with a common point that is of no common corner or edge, each
// pair once: they cross, touch, or overlap in a plane. Corners at equal places are
// the same corner, so neither seams nor copies of vertices count. Triangles without
// area, or with a coordinate that is not finite, belong to no pair. Decided without
// rounding errors; only coordinates below 2^-300 of the largest count as 0.
// Changes nothing. O(n log n) where triangles are of like sizes, on all threads;
// few large ones among many small ones take longer. TooLargeError where some 60,000 lie in one place, as around
// one vertex. Up to 400 bytes a triangle meanwhile, mostly half of it.
ZEF_API std::size_t countSelfIntersections(const TriangleMesh& mesh, const Context& context = {});

// The pairs themselves: numbers of triangles, the lower one first, ascending.
ZEF_API std::vector<std::array<std::uint32_t, 2>> findSelfIntersections(const TriangleMesh& mesh,
                                                                        const Context& context = {});

// A handle or a tunnel that is narrow somewhere.
struct MeshHandle {
    double length = 0.0;  // world units: of the shortest loop of edges around it, or around the hole through it
    Point3 place;         // the middle of that loop
};

struct HandleReport {
    std::size_t numHandles = 0;            // the sum of the genus of all components
    std::vector<MeshHandle> shortHandles;  // ascending by length
};

// The handles of a mesh, and those of them with loops of such a length at the most; 0: of 12 mean edges. A loop
// that goes around a handle parts the mesh nowhere; after a cut along it, closed on both sides, there is one handle
// less, and the next loop is looked for. Loops that touch a border do not count, and some 1000 are told at the most.
// ArgumentError as for mend(), and for a mesh that is not manifold and oriented. O(n log n), and some 10 microseconds
// for each of a few hundred vertices a handle; once more for every 48 handles that are told.
ZEF_API HandleReport findHandles(const TriangleMesh& mesh, double longest = 0.0, const Context& context = {});

// A wall that is thin: its two faces look away from each other.
struct ThinPlace {
    double thickness = 0.0;        // world units, at its thinnest
    Point3 place;                  // between the middles of the two triangles that lie there
    std::size_t numTriangles = 0;  // that are thin, on both faces
};

struct ThinReport {
    double limit = 0.0;             // world units: what is thinner was looked for
    std::size_t numTriangles = 0;   // that are thin
    std::vector<ThinPlace> places;  // ascending by thickness
};

// Where walls are thinner than that; 0: than two mean edges. From the middle of each triangle straight behind
// it, to the first other one that is no neighbour; it counts if that looks the other way by 37 degrees at the most, so
// that blades are thin at their edges and boxes are not. Thin triangles that hang together, and those that are
// opposite, are one place. Sides count as they are turned: of a mesh that is turned inside out, gaps are told.
// ArgumentError as for check(); TooLargeError as for countSelfIntersections(). O(n log n), some 5 microseconds a
// triangle and processor; for long rays up to 64 times that.
ZEF_API ThinReport findThinPlaces(const TriangleMesh& mesh, double thickness = 0.0, const Context& context = {});

// What untangle() found and left.
struct UntangleReport {
    std::size_t numPairs = 0;      // as countSelfIntersections() counts them
    std::size_t numPairsLeft = 0;  // afterwards, one that two places have in common twice
};

// Parts triangles that intersect: edges flip or merge, vertices go to their neighbours' middle, at most
// half a mean edge, sheets that meet move apart, and places are cut out and closed again. Each step is kept
// only if fewer pairs intersect afterwards and the surface stays manifold. What is left then may
// move up to two mean edges; at last it is cut out, mostly at borders. All else keeps its bits. Places
// that are floats stay floats, so that files of single precision hold the result.
// A mesh that is not manifold and oriented stays as it is, with what numPairs tells. Vertices of no
// triangle go. ArgumentError as for mend(). As countSelfIntersections(), and some 2 milliseconds a
// place on one thread. With a warning, a mesh that is too crowded for that stays as it is; so does one of more pairs
// than 5 million and ten a triangle, which the report then tells; and where triangles intersect nearly everywhere some
// stay so after half a minute's work, counted in steps.
ZEF_API UntangleReport untangle(TriangleMesh& mesh, const Context& context = {});

// What mend() found and did.
struct ManifoldReport {
    std::size_t numRemovedDuplicates = 0;      // triangles on the vertices of an earlier one
    std::size_t numRemovedSheets = 0;          // spurious small sheets,
    std::size_t numRemovedSheetTriangles = 0;  // and their triangles
    std::size_t numClosedLoops = 0;            // short loops of edges of an odd number of triangles,
    std::size_t numRenewedPlaces = 0;          // small places that were cut out and filled anew,
    std::size_t numRenewedTriangles = 0;       // and their triangles before
    std::size_t numAddedTriangles = 0;         // that close these loops and places
    std::size_t numNonManifoldEdges = 0;       // after that
    std::size_t numSeamEdges = 0;              // cut since the surface there has one side only
    std::size_t numSplitVertices = 0;          // vertices that got copies
    std::size_t numAddedVertices = 0;          // those copies
    std::size_t numReversedTriangles = 0;
    std::size_t numComponents = 0;  // afterwards
    std::size_t numClosedComponents = 0;
    UntangleReport untangled;  // see ManifoldOptions::untangle
    bool isOrientable() const { return numSeamEdges == 0; }
};

struct ManifoldOptions {
    bool fillHoles = true;            // small ones, see mend(); false: holes of the input stay open
    std::uint32_t maxHoleEdges = 16;  // of holes in surfaces that are no bodies
    bool exactVertices = false;       // the vertices lie on the surface, as those of melt() do
    bool untangle = false;            // afterwards, as by untangle(); then vertices move
};

// Makes every edge and vertex manifold and every component consistently oriented:
// afterwards check() finds no non-manifold edge or vertex, no orientation
// conflict and no duplicate.
//
// Triangles on the same vertices as an earlier one go. So do small sheets on large
// ones: membranes across the inside, the thinner half of blisters, fins; wherever
// that leaves fewer edges of an odd number of triangles. With exactVertices, one that
// has a border and vertices of its own goes only if nothing else mends the place,
// since it can be the bottom of a narrow groove. Loops of at most 12 edges with more
// are filled with triangles among their vertices. With fillHoles so are borders of at
// most maxHoleEdges in large surfaces, and of 40 in bodies that have no large holes, but
// above 8 edges no open ends that a lid would close at an angle. At other non-manifold
// edges the triangles are joined in pairs, around the inside of bodies, else the flattest
// ones, and pairs are cut apart by copies of vertices with all their bits. Places of
// at most 3000 triangles where that would tear a hole, or where the surface has one
// side, are cut out and filled again, some two edges off at the most. What
// is left of these faults is cut open; what then hangs loose with 20 triangles or less
// at something ten times as large, also at a vertex, goes. No vertex moves without untangle.
//
// Closed components come out with positive volume. So do those that open no wider than about
// half a sphere; sheets face up the axis that they lean to most.
// The same mesh always gives the same result.
//
// Throws an ArgumentError, with the mesh unchanged, for a triangle that repeats a vertex
// and for a position of one that is not finite. O(n log n).
ZEF_API ManifoldReport mend(TriangleMesh& mesh, const ManifoldOptions& options = {}, const Context& context = {});

}  // namespace QUOR_ZEF
