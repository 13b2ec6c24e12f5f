#pragma once

#include <cstddef>
#include <limits>
#include <memory>

#include "zef/export.h"

namespace QUOR_ZEF {

class Mesh;

// Operations on any finished mesh, made here or read from a file. All of them
// change the mesh in place, so lists and indices taken from it before mean
// nothing afterwards. They use all threads for parts of the work, and give the
// same result for any number of them. Not two on one mesh at a time.

// Replaces edges by the other diagonal of their two triangles where that bends
// the surface less or lays an edge along a step of colour: creases come straight.
// One pass, the best flip first; no vertex moves. In a flat region flips change
// nothing for the worse, so each call makes some anew.
// Some 2 seconds a million triangles. Licence gate "edgeFlips".
ZEF_API void edgeFlips(std::shared_ptr<Mesh> pMesh);

// The same with simulated annealing between two passes: finds what no single flip
// improves. Repeats itself exactly. Some 20 times as long. Licence gate
// "edgeFlipsSimA".
ZEF_API void edgeFlipsSimA(std::shared_ptr<Mesh> pMesh);

// Removes triangles by merging neighbouring vertices, cheapest first, until no
// merge is left that is allowed. What remains are input vertices, unmoved.
// maxEdgeLength: the longest edge that may be merged away, in world units.
// maxDeviationDeg: how far one merge may turn a triangle, in degrees; many may add
// up. The outline stays but for vertices on straight runs of it, and ends of
// visibly different colour are not merged. Degenerate triangles are then removed.
// Returns the triangles removed by merging. Licence gate "reduce".
ZEF_API int reduce(std::shared_ptr<Mesh> pMesh, double maxEdgeLength, double maxDeviationDeg);

// When reduceTo() ends: at the target, or when every further merge would go beyond
// the limits, whatever comes first. Without a target and without an error an ASSEX
// fails, as it does for a negative error or a step of 0.
struct ReduceOptions {
    std::size_t targetTriangles = 0;                            // or one less; 0: as few as the error allows
    double maxError = std::numeric_limits<double>::infinity();  // distance from the input, world units
    // With maxError: how far a channel of a colour (0 to 255) may be off at any input
    // vertex, compared where that is closest to the result, before rounding.
    double maxColorStep = 32.0;
};

// Removes triangles by merging neighbouring vertices into new ones that lie where
// the squared distance to the planes merged so far, borders and colours is least:
// M. Garland, P. Heckbert, Surface simplification using quadric error metrics,
// SIGGRAPH 1997; colours after H. Hoppe, New quadric metric, 1999. Follows the
// surface closer than reduce() does with as many triangles.
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
// where that cannot be had, nothing is merged. A mesh without extent, or with a
// coordinate that is not finite, stays as it is.
//
// Some 4 seconds a million triangles and 350 bytes each, with maxError some 70
// seconds and 500 bytes. Licence gate "reduceTo".
ZEF_API double reduceTo(std::shared_ptr<Mesh> pMesh, const ReduceOptions& options);

// Writes the border edges to "holes.list" in the current directory, as a Geomview
// LIST; a warning if that cannot be written. Changes nothing in the mesh.
ZEF_API void findHoles(std::shared_ptr<Mesh> pMesh);

struct SmoothingOptions {
    int numSteps = 1;          // 0 or fewer do nothing
    bool bKeepVolume = false;  // follow each step by one back: Taubin's scheme
    double lambda = 0.5;       // share of the way to the neighbours' mean, above 0, below 1
    double mu = -0.526;        // of the step back; below -lambda, by little
};

// Smooths: in each step every vertex goes part of the way to the mean of its
// neighbours as they were before the step. A border vertex follows its two
// neighbours on the border, and stays if the border bends there by more than 10
// degrees; vertices at edges of three or more triangles stay. Moves that would
// turn a triangle by more than 90 degrees, or end on the position of another
// vertex, are left out. Colours stay with their vertices.
//
// Plain steps shrink the mesh. With bKeepVolume, steps forth and back cancel for
// what is smooth already and remove only what is rough: G. Taubin, A signal
// processing approach to fair surface design, SIGGRAPH 1995. The default factors
// pass what changes slowly (1/lambda + 1/mu = 0.1).
// Some 0.1 seconds a step and a million triangles. Licence gate "laplacianSmoothing".
ZEF_API void laplacianSmoothing(std::shared_ptr<Mesh> pMesh, int numSteps);
ZEF_API void laplacianSmoothing(std::shared_ptr<Mesh> pMesh, const SmoothingOptions& options);

}  // namespace QUOR_ZEF
