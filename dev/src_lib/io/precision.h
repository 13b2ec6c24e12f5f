#pragma once

#include <span>
#include <string>

#include "zef/files.h"

namespace QUOR_ZEF {

// How the coordinates of a file are to be written.
struct CoordinatePlan {
    bool bDouble = false;
    Vector3 offset;       // to be subtracted
    std::string warning;  // for the caller of the library; empty if there is nothing to tell
};

// See Precision. Points that are not finite do not count. bHasDoubles: of the format.
// spacing: above 0, else nothing is lost. O(n).
CoordinatePlan planCoordinates(std::span<const Point3> vPoints, double spacing, bool bHasDoubles,
                               const WriteOptions& options);

// Whether AUTO takes doubles for coordinates in the box between these corners. O(1).
bool needsDoubles(const Point3& low, const Point3& high, double spacing);

// What WriteOptions::spacing stands for where it is 0; 0 if all points are one. O(1).
double roughSpacing(std::span<const Point3> vPoints);

// The options as the formats take them: with the offset, SINGLE or DOUBLE.
WriteOptions settled(const WriteOptions& options, const CoordinatePlan& plan);

// See middleOffset().
Vector3 middleOf(std::span<const Point3> points);
Vector3 middleOf(const TriangleMesh& mesh);

// Three numbers that read back the same.
std::string offsetText(const Vector3& offset);

}  // namespace QUOR_ZEF
