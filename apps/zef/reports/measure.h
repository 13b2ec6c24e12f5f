#pragma once

#include <array>
#include <span>

#include "reports/Report.h"
#include "zef/Point3.h"
#include "zef/TriangleMesh.h"

// Of the finite points; zeros if there are none.
struct Box {
    std::array<double, 3> min{}, max{};

    double size(std::size_t axis) const { return max[axis] - min[axis]; }
    double longestSide() const;
};

Box measureBox(std::span<const zef::Point3> points);
// Of the vertices of triangles.
Box measureBox(const zef::TriangleMesh& mesh);

// Its corners and its size, three lines.
void reportBox(Report& report, const Box& box);
