#pragma once

#include <array>
#include <span>

#include "reports/Report.h"
#include "zef/Point3.h"

// Of the finite points; zeros if there are none.
struct Box {
    std::array<double, 3> min{}, max{};

    double size(std::size_t axis) const { return max[axis] - min[axis]; }
};

Box measureBox(std::span<const zef::Point3> points);

// Its corners and its size, three lines.
void reportBox(Report& report, const Box& box);
// Its size alone.
void reportSize(Report& report, const Box& box);
