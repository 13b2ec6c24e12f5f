#include "api/meltSize.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "geometry/freeFunctions.h"
#include "zef/reconstruction.h"

namespace QUOR_ZEF {

namespace {

// Some 100,000 triangles for a body that fills its box: seconds, and detail enough to judge by.
constexpr double cellsPerBox = 200.0;
// Five times what the faces of the box take.
constexpr double mostByDefault = 1e6;

// The sides of the box.
std::array<double, 3> measureBox(const PointSource& corners) {
    constexpr double none = std::numeric_limits<double>::infinity();
    std::array<double, 3> low{none, none, none}, high{-none, -none, -none}, sides{};
    for (std::size_t i = 0; i < corners.size(); ++i) {
        const Point3 p = corners[i];
        const std::array<double, 3> coords{p.px, p.py, p.pz};
        for (std::size_t axis = 0; axis < 3; ++axis) {
            low[axis] = std::min(low[axis], coords[axis]);
            high[axis] = std::max(high[axis], coords[axis]);
        }
    }
    for (std::size_t axis = 0; axis < 3; ++axis) sides[axis] = std::max(high[axis] - low[axis], 0.0);
    return sides;
}

// Of one triangle. Planes at an angle to the grid pass through more cells than their area has, and needles
// through some without any area.
double cellsOf(const Point3& a, const Point3& b, const Point3& c, double spacing) {
    constexpr double cellsPerArea = 1.25;
    const Vector3 ab = (b - a) / spacing, ac = (c - a) / spacing, bc = (c - b) / spacing;
    const double longest = std::max({ab.length(), ac.length(), bc.length()});
    return cellsPerArea * 0.5 * cross(ab, ac).length() + std::max(longest - 2.0, 0.0);
}

double sumCells(const PointSource& corners, double spacing) {
    double numCells = 0.0;
    for (std::size_t i = 0; i + 2 < corners.size(); i += 3)
        numCells += cellsOf(corners[i], corners[i + 1], corners[i + 2], spacing);
    return numCells;
}

}  // namespace

double estimateCells(PointSource corners, double spacing) {
    corners.keepFinite(3);
    double numOfBox = 1.0;
    for (const double side : measureBox(corners)) numOfBox *= std::ceil(side / spacing) + 1.0;
    return std::min(sumCells(corners, spacing), numOfBox);
}

double defaultSpacing(PointSource corners) {
    corners.keepFinite(3);
    const double spacing = std::ranges::max(measureBox(corners)) / cellsPerBox;
    if (!(spacing > 0.0)) return 0.0;
    return spacing * std::sqrt(std::max(1.0, sumCells(corners, spacing) / mostByDefault));
}

double defaultMeltSpacing(std::span<const Point3> corners) {
    return defaultSpacing(corners);
}

double estimateMeltCells(std::span<const Point3> corners, double spacing) {
    return estimateCells(corners, spacing);
}

}  // namespace QUOR_ZEF
