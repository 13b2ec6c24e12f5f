#pragma once

#include <cstddef>

#include "geometry/PointSource.h"
#include "grid/Calc.h"
#include "zef/TriangleMesh.h"

namespace QUOR_ZEF {

// How well a mesh stands for points.
struct PointFit {
    std::size_t numFar = 0, numAsked = 0;  // of the points that were asked, those that lie off the mesh
    std::size_t numBorderEdges = 0;

    // Whether that one serves so many more points that it may have its borders: none, or ten points an edge.
    bool isWorseThan(const PointFit& other, std::size_t numPoints) const;
};

PointFit measureFitOf(const PointSource& points, const TriangleMesh& mesh, const Calc& calc);

// Whether some of the points lie off the mesh since sheets are so close there that they share cells, see ThinSheets.
// Looks at a few places: a hundredth of the time that the mesh took.
bool hasThinParts(const PointSource& points, const TriangleMesh& mesh, const Calc& calc);

}  // namespace QUOR_ZEF
