#pragma once

#include <CLI/App.hpp>
#include <string>

#include "CommandRun.h"
#include "zef/TriangleMesh.h"

// How far a mesh is to be reduced.
struct ReduceGoal {
    std::string target;  // a number of triangles, a share as "10%", or empty
    double error = 0.0;  // world units; 0: no limit

    bool isGiven() const { return !target.empty() || error > 0.0; }
};

// Empty if the text is a target, else what is wrong.
std::string checkTarget(const std::string& text);

// Reduces by zef::simplify() and reports the error reached. bUntangle: whether triangles that intersect are kept out.
void reduceMesh(CommandRun& commandRun, const ReduceGoal& goal, bool bUntangle, zef::TriangleMesh& mesh);

// What a command does to the mesh that it has made, in this order: smoothing takes
// the noise away, so that flips find the creases, and reduction spends triangles on
// shape only.
struct Chain {
    int numSmoothSteps = 0;
    bool bFlip = false;
    ReduceGoal goal;

    bool isEmpty() const { return numSmoothSteps == 0 && !bFlip && !goal.isGiven(); }
};

void addChainOptions(CLI::App& command, Chain& chain);

// bMend: what flips and their clean-up leave non-manifold is cut apart. bUntangle: as for reduceMesh().
void runChain(CommandRun& commandRun, const Chain& chain, bool bMend, bool bUntangle, zef::TriangleMesh& mesh);

// Makes the mesh manifold if it is not; holes stay.
void mendMesh(CommandRun& commandRun, zef::TriangleMesh& mesh);
