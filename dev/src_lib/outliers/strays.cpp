#include "outliers/strays.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

#include "geometry/byPlace.h"

namespace QUOR_ZEF {

namespace {

constexpr double strayGrowth = 100.0;  // of the extent, by one point
constexpr std::size_t maxStrays = 300;
constexpr std::size_t pointsPerStray = 1000;
constexpr std::size_t pointsOfFirstStray = 100;

using Coords = std::array<double, 3>;
using FarPoint = std::pair<double, std::size_t>;  // a distance, and the position of the point

Coords coordsOf(const Point3& p) {
    return {p.px, p.py, p.pz};
}

std::size_t numAllowed(std::size_t numPoints) {
    if (numPoints < pointsOfFirstStray) return 0;
    return std::clamp<std::size_t>(numPoints / pointsPerStray, 1, maxStrays);
}

// A place inside the box of the points that are no strays: with so many points, strays
// are not the half of them.
Coords placeAmong(const PointSource& points, std::size_t numStrays) {
    Coords place{};
    const std::vector<std::size_t> vDrawn = drawByPlace(points, 2 * numStrays + 1);
    std::vector<double> v(vDrawn.size());
    for (std::size_t axis = 0; axis < 3; ++axis) {
        for (std::size_t i = 0; i < v.size(); ++i) v[i] = coordsOf(points[vDrawn[i]])[axis];
        const auto middle = v.begin() + static_cast<std::ptrdiff_t>(numStrays);
        std::nth_element(v.begin(), middle, v.end());
        place[axis] = *middle;
    }
    return place;
}

double distance(const Coords& a, const Coords& b) {
    return std::max({std::abs(a[0] - b[0]), std::abs(a[1] - b[1]), std::abs(a[2] - b[2])});
}

struct Box {
    Coords low, high;

    explicit Box(const Coords& place) : low(place), high(place) {}
    void add(const Coords& p) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            low[axis] = std::min(low[axis], p[axis]);
            high[axis] = std::max(high[axis], p[axis]);
        }
    }
    double side() const { return distance(low, high); }
};

// The points that lie farther from the place, ascending by distance; or more than num of
// them, if there are more. box: takes in the others.
std::vector<FarPoint> findFarther(const PointSource& points, const Coords& place, double radius, std::size_t num,
                                  Box& box) {
    std::vector<FarPoint> vFar;
    for (std::size_t i = 0; i < points.size() && vFar.size() <= num; ++i) {
        const Coords p = coordsOf(points[i]);
        const double d = distance(p, place);
        if (d > radius)
            vFar.emplace_back(d, i);
        else
            box.add(p);
    }
    std::sort(vFar.begin(), vFar.end());
    return vFar;
}

// Lets the box grow by one far point after the other up to the first stray; the position
// of that one in the list.
std::size_t growToFirstStray(const PointSource& points, const std::vector<FarPoint>& vFar, Box& box) {
    for (std::size_t k = 0; k < vFar.size(); ++k) {
        Box grown = box;
        grown.add(coordsOf(points[vFar[k].second]));
        const double side = box.side();
        if (side > 0.0 && grown.side() >= strayGrowth * side) return k;
        box = grown;
    }
    return vFar.size();
}

}  // namespace

std::vector<std::size_t> findStrays(const PointSource& points, double extent) {
    std::vector<std::size_t> vStrays;
    const std::size_t num = numAllowed(points.size());
    if (num == 0) return vStrays;
    const Coords place = placeAmong(points, num);
    // Those far beyond can hide others, for which the extent without them is the measure.
    for (bool bMore = extent > 0.0; bMore;) {
        Box box(place);
        const double radius = std::min(extent, std::numeric_limits<double>::max()) / strayGrowth;
        const std::vector<FarPoint> vFar = findFarther(points, place, radius, num, box);
        if (vFar.size() > num) break;
        const std::size_t first = growToFirstStray(points, vFar, box);
        bMore = vFar.size() - first > vStrays.size();
        if (!bMore) break;
        vStrays.clear();
        for (std::size_t k = first; k < vFar.size(); ++k) vStrays.push_back(vFar[k].second);
        extent = box.side();
    }
    std::sort(vStrays.begin(), vStrays.end());
    return vStrays;
}

}  // namespace QUOR_ZEF
