#pragma once

#include "frame/Progress.h"

namespace QUOR_ZEF {

// What is known of a reconstruction, more and more as it goes on.
struct ScanSize {
    double numPoints = 0.0;   // that lie in the grid, with those added
    double numInput = 0.0;    // before any were added
    double numCells = 0.0;    // that hold samples
    bool bUneven = false;     // whether sparse parts get points
    bool bScattered = false;  // whether noise wants points smoothed
    double numThreads = 1.0;  // that work on it

    // Before a grid is laid: cells for points that lie this factor closer than its edges.
    static ScanSize guess(double numPoints, double factor);
};

// What the stages of a reconstruction cost, in microseconds: medians over scans and samples
// of shapes, 22,000 to 360,000 points, which most of them keep to half as much again. For what goes by
// none of these sizes, such as gaps, they are in the middle of what is found.
ProgressPlan costsOfReconstruction(const ScanSize& size);

// What filling costs by the cells that it begins with, and those of them at the border. Seldom more than half as
// much or twice.
double costOfFilling(double numCells, double numBorderCells, int numGrowSteps, bool bUneven, double numThreads);
// What the planes cost where points are smoothed first.
double costOfSmoothedPlanes(double numPoints, double numThreads);

}  // namespace QUOR_ZEF
