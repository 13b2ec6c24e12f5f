#pragma once

#include <array>
#include <vector>

#include "geometry/PointSource.h"
#include "refit/RefitSurface.h"
#include "zef/Vector3.h"

namespace QUOR_ZEF {

// The steps of a coordinate that takes few values while the others take many, as the depth of a
// depth camera does: they look like treads and risers of the surface, and are noise.
class CoordinateSteps {
public:
    // Looks at 20,000 points at the most. spacing: of the points, in their unit; finer steps than that
    // do not count.
    CoordinateSteps(const PointSource& points, double spacing);
    // As found before: the values ascend, three or more of them.
    CoordinateSteps(int axis_, std::vector<double> vValues_, double spacing);

    bool isFound() const { return axis >= 0; }
    int getAxis() const { return axis; }  // -1: none
    const std::vector<double>& getValues() const { return vValues; }
    // The standard deviation that they give to points of a surface there, along its normal; 0 if
    // there are no steps. A binary search.
    double deviationAt(const Vector3& place, const FaceNormal& normal) const;

private:
    int axis = -1;
    std::vector<double> vValues;  // that it takes, ascending
    double least = 0.0;           // of steps that count
};

}  // namespace QUOR_ZEF
