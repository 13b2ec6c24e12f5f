#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "Report.h"
#include "zef/Point3.h"

// Of the finite points.
struct Box {
    std::array<double, 3> min{}, max{};
    std::uint64_t numFinite = 0;  // 0: min and max mean nothing

    double size(std::size_t axis) const { return max[axis] - min[axis]; }
    double longestSide() const;
};

struct Spacing {
    double spacing = 0.0;        // world units
    std::uint64_t numCells = 0;  // that hold points, on a grid of that spacing
};

Box measureBox(const std::vector<zef::Point3>& vPoints);
Box measureBox(const std::vector<zef::Point3*>& vPoints);

// Its corners and its size, three lines.
void reportBox(Report& report, const Box& box);

// Finite points that stand where another one of lower index stands.
std::uint64_t countDuplicates(const std::vector<zef::Point3>& vPoints);

// What the library measures before a reconstruction. A cloud that has no spacing
// throws ZefBugException.
double measureSpacing(const std::vector<zef::Point3>& vPoints);
Spacing measureCells(const std::vector<zef::Point3>& vPoints);
