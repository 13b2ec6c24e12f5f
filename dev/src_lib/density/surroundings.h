#pragma once

#include <array>
#include <cstddef>

#include "density/PointGrid.h"

namespace QUOR_ZEF {

// How points lie to each other, in world units.
struct Surroundings {
    std::array<double, 3> spacings{};  // 5, 50 and 95 of 100 points have their sixth neighbour nearer
    double noise = 0.0;                // half of them are nearer to the plane through their 24 nearest
};

// Of as many points at the most, at equal steps in the order of the grid. All values are -1
// if none has 24 others around. On all threads, some 4 microseconds for each of the points.
Surroundings measureSurroundings(const PointGrid& grid, std::size_t maxSampled);

}  // namespace QUOR_ZEF
