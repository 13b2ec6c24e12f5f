#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <vector>

#include "zef/Context.h"
#include "zef/PointView.h"
#include "zef/TriangleMesh.h"
#include "zef/errors.h"
#include "zef/export.h"

namespace QUOR_ZEF {

// Operations on any mesh. They change it in place and give the same bytes for the same
// mesh whatever the number of threads. Vertices of no triangle go; but for that, the mesh
// is as it was when they throw: ArgumentError for options that mean nothing, and for a
// mesh with a triangle that repeats a vertex or has no finite position; CancelledError,
// LicenseError, TooLargeError, InternalError. Several calls may run at once, on different
// meshes.

// ---- fewer triangles

// When simplify() ends: at the target, or when every further merge would go beyond the
// limits, whatever comes first. Without a target and without an error there is nothing
// to do: ArgumentError, as for a negative error or a step of 0.
struct ReduceOptions {
    std::size_t targetTriangles = 0;                            // or one less; 0: as few as the error allows
    double maxError = std::numeric_limits<double>::infinity();  // distance from the input, world units
    // With maxError: how far a channel of a colour (0 to 255) may be off at any input
    // vertex, compared where that is closest to the result, before rounding.
    double maxColorStep = 32.0;
    // Whether triangles that intersect are kept out, if there were none before: what was merged there merges less in
    // further attempts, of 16 at the most, so that more triangles than asked for can be left.
    bool untangle = true;
};

// Removes triangles by merging neighbouring vertices into new ones that lie where
// the squared distance to the planes merged so far, borders and colours is least:
// M. Garland, P. Heckbert, Surface simplification using quadric error metrics,
// SIGGRAPH 1997; colours after H. Hoppe, New quadric metric, 1999. Follows the
// surface closer than reduceFlat() does with as many triangles.
//
// No handle, hole or piece goes or comes, and what is manifold stays so. No merge
// turns a triangle by more than 78 degrees. Vertices at edges of three or more
// triangles, and those of borders that lie on each other, stay. Vertices that are
// not merged stay bit for bit. Colours are those that fit best, at all vertices.
//
// Returns the error reached. It is measured, in both directions, between the whole
// result and the whole input: at all vertices, middles of edges and middles of
// triangles, and on a grid about as wide as an input edge on larger triangles. None
// of these points is farther from the other surface; points between them can be, by
// less than their own distance from one of them. With maxError it is within that;
// where that cannot be had, nothing is merged. A mesh without extent stays as
// it is.
//
// Some 4 seconds a million triangles and 350 bytes each, with maxError some 70
// seconds and 500 bytes. Licence gate "reduceTo".
ZEF_API double simplify(TriangleMesh& mesh, const ReduceOptions& options, const Context& context = {});

struct ReduceFlatOptions {
    double maxEdgeLength = 0.0;    // the longest edge that may be merged away, world units; 0: 4 average edges
    double maxDeviationDeg = 5.0;  // how far one merge may turn a triangle; many may add up
    bool untangle = true;  // triangles that intersect afterwards, and did not before, are parted as by untangle()
};

// Removes triangles by merging neighbouring vertices, cheapest first, until no
// merge is left that is allowed. What remains are input vertices, unmoved. The outline
// stays but for vertices on straight runs of it, and ends of visibly different colour
// are not merged. Degenerate triangles are then removed. Can leave edges of more than
// two triangles: see mend(). Returns the triangles removed by merging.
// Licence gate "reduce".
ZEF_API std::size_t reduceFlat(TriangleMesh& mesh, const ReduceFlatOptions& options = {}, const Context& context = {});

// ---- the same vertices, other triangles

// Replaces edges by the other diagonal of their two triangles where that bends
// the surface less or lays an edge along a step of colour: creases come straight.
// One pass, the best flip first; no vertex moves. In a flat region flips change
// nothing for the worse, so each call makes some anew. Degenerate triangles are then
// removed, which can leave edges of more than two triangles: see mend().
// Some 2 seconds a million triangles. Licence gate "edgeFlips".
// Without self-intersections before, there are none afterwards: they are parted as by untangle(), which moves vertices
// there, unless that is switched off.
ZEF_API void flipEdges(TriangleMesh& mesh, const Context& context = {});
ZEF_API void flipEdges(TriangleMesh& mesh, const Context& context, bool untangle);

// The same with simulated annealing between two passes: finds what no single flip
// improves. Some 20 times as long. Licence gate "edgeFlipsSimA".
ZEF_API void anneal(TriangleMesh& mesh, const Context& context = {});
ZEF_API void anneal(TriangleMesh& mesh, const Context& context, bool untangle);

// ---- the same triangles, vertices elsewhere

struct SmoothingOptions {
    int steps = 1;            // 0 does nothing
    bool keepVolume = false;  // follow each step by one back: Taubin's scheme
    double lambda = 0.5;      // share of the way to the neighbours' mean, above 0, below 1
    double mu = -0.526;       // of the step back; below -lambda, by little
    bool untangle = true;     // where triangles would intersect, and did not before, vertices go back
};

// Smooths: in each step every vertex goes part of the way to the mean of its
// neighbours as they were before the step. A border vertex follows its two
// neighbours on the border, and stays if the border bends there by more than 10
// degrees; vertices at edges of three or more triangles stay. Moves that would
// turn a triangle by more than 90 degrees, or end on the position of another
// vertex, are left out. Colours stay with their vertices.
//
// Plain steps shrink the mesh. With keepVolume, steps forth and back cancel for
// what is smooth already and remove only what is rough: G. Taubin, A signal
// processing approach to fair surface design, SIGGRAPH 1995. The default factors
// pass what changes slowly (1/lambda + 1/mu = 0.1). Whoever stays in a step forth
// stays in the step back.
// Some 0.1 seconds a step and a million triangles. Licence gate "laplacianSmoothing".
ZEF_API void smooth(TriangleMesh& mesh, const SmoothingOptions& options = {}, const Context& context = {});

// ---- closer to its points

struct RefitOptions {
    double spacing = 0.0;  // of the points, in their unit; 0: it is measured
    // In spacings: how far a face looks for points. 0: by the noise that is measured, from 1.2
    // for clean points to 6.
    double radius = 0.0;
};
struct RefitReport {
    // Standard deviation of the points from the surface, along its normal, in spacings; -1: not
    // known.
    double noise = -1.0;
    double radius = 0.0;  // in spacings, the mean of those used
    std::uint64_t numMovedVertices = 0;
    std::uint64_t numCreaseVertices = 0;   // where faces of two or more directions meet
    double meanMove = 0.0, maxMove = 0.0;  // of the vertices, in the unit of the points
};

// Fits a mesh closer to the points that it stands for: the noise of the points goes, and
// creases become sharp. A point counts for the faces near it, along the surface, whose normal agrees
// with that of its own nearest face, so that neither the two sides of a crease nor near sheets mix. No
// vertex moves farther than one and a half mean edges, or two at the tip of a corner; moves that would fold a triangle
// over are taken back. Borders keep their line, and places without points follow their surroundings. Edges flip where
// that lays them along a crease. With colours of mesh and points, vertices get the mean of the points around. Triangles
// that intersect in the end are parted as by untangle(). A mesh that is not manifold stays as it is. ArgumentError for
// a spacing or a radius that cannot work. Some 3 microseconds of one thread and 300 bytes a triangle.
ZEF_API RefitReport refit(TriangleMesh& mesh, std::span<const Point3> points, const RefitOptions& options = {},
                          const Context& context = {});
ZEF_API RefitReport refit(TriangleMesh& mesh, const PointView& points, const RefitOptions& options = {},
                          const Context& context = {});

// ---- colours

// Gives vertices without colour the mean colour of their neighbours, ring by ring
// from those that have one; a component without any stays without. O(n).
ZEF_API void fillColors(TriangleMesh& mesh, const Context& context = {});
// Stretches the colours, all channels alike: these fractions of the channels of
// all vertices, dark and bright, are clipped (none if the colours span 20 steps or
// fewer), and the rest then spans 0 to 255. One single value stays. O(n).
ZEF_API void stretchContrast(TriangleMesh& mesh, double lowFraction, double highFraction, const Context& context = {});

// ---- queries

// The edges of one triangle, as pairs of vertices, the lower one first, ascending. O(n).
ZEF_API std::vector<std::array<std::uint32_t, 2>> borderEdges(const TriangleMesh& mesh, const Context& context = {});
// Mean over the edges, each once, in world units; 0 for a mesh without triangles. O(n).
ZEF_API double averageEdgeLength(const TriangleMesh& mesh, const Context& context = {});

}  // namespace QUOR_ZEF
