#pragma once

#include <span>
#include <vector>

#include "closing/Patch.h"

namespace QUOR_ZEF {

// What is around a loop, by its vertices.
struct LoopSurroundings {
    std::vector<Point3> vBeside;              // the third corner of the triangle at the edge to the next one
    std::vector<std::vector<Point3>> vOuter;  // the neighbours that are not of the loop
};

// Gives the inside its form. A patch on which the surface around goes on becomes a thin plate that continues it; one
// that meets the surface at an angle, with a loop that is flat to within a cell, becomes flat, and any other
// one stays near the least area.
void makeFair(Patch& patch, const LoopSurroundings& around, double cellSize);

}  // namespace QUOR_ZEF
