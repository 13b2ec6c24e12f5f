#include "outliers/strays.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numeric>
#include <optional>
#include <utility>

#include "geometry/byPlace.h"

namespace QUOR_ZEF {

namespace {

constexpr double strayGrowth = 100.0;  // of the extent, by one point
constexpr uint64 maxStrays = 300;
constexpr uint64 pointsPerStray = 1000;
constexpr uint64 pointsOfFirstStray = 100;

using Coords = std::array<double, 3>;
using FarPoint = std::pair<double, std::size_t>;  // a distance, and the position of the point

Coords coordsOf(const Point3& p) {
    return {p.px, p.py, p.pz};
}

// Where points lie, and how many there.
struct SinglePoints {
    const PointSource& points;
    std::size_t size() const { return points.size(); }
    Coords operator[](std::size_t i) const { return coordsOf(points[i]); }
    uint64 num(std::size_t) const { return 1; }
    uint64 numAll() const { return points.size(); }
    // So many of them, which do not depend on their order.
    std::vector<Coords> some(uint64 num) const {
        std::vector<Coords> v;
        for (const std::size_t i : drawByPlace(points, num)) v.push_back(coordsOf(points[i]));
        return v;
    }
};
struct ManyPoints {
    std::span<const Point3> places;
    std::span<const uint64> vNums;
    std::size_t size() const { return places.size(); }
    Coords operator[](std::size_t i) const { return coordsOf(places[i]); }
    uint64 num(std::size_t i) const { return vNums[i]; }
    uint64 numAll() const { return std::accumulate(vNums.begin(), vNums.end(), uint64{0}); }
    std::vector<Coords> some(uint64 num) const {
        std::vector<Coords> v;
        for (std::size_t i = 0; i < size() && v.size() < num; ++i)
            v.insert(v.end(), std::min<uint64>(vNums[i], num - v.size()), (*this)[i]);
        return v;
    }
};

uint64 numAllowed(uint64 numPoints) {
    if (numPoints < pointsOfFirstStray) return 0;
    return std::clamp<uint64>(numPoints / pointsPerStray, 1, maxStrays);
}

// A place inside the box of the points that are no strays: with so many points, strays
// are not the half of them.
template <class Points>
Coords placeAmong(const Points& points, uint64 numStrays) {
    Coords place{};
    const std::vector<Coords> vSome = points.some(2 * numStrays + 1);
    std::vector<double> v(vSome.size());
    for (std::size_t axis = 0; axis < 3; ++axis) {
        for (std::size_t i = 0; i < v.size(); ++i) v[i] = vSome[i][axis];
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

// The points that lie farther from the place, ascending by distance, unless there are more than num of
// them. box: takes in the others.
template <class Points>
std::optional<std::vector<FarPoint>> findFarther(const Points& points, const Coords& place, double radius, uint64 num,
                                                 Box& box) {
    std::vector<FarPoint> vFar;
    uint64 numFar = 0;
    for (std::size_t i = 0; i < points.size() && numFar <= num; ++i) {
        const Coords p = points[i];
        const double d = distance(p, place);
        if (d > radius) {
            vFar.emplace_back(d, i);
            numFar += points.num(i);
        } else {
            box.add(p);
        }
    }
    if (numFar > num) return std::nullopt;
    std::sort(vFar.begin(), vFar.end());
    return vFar;
}

// Lets the box grow by one far point after the other up to the first stray; the position
// of that one in the list.
template <class Points>
std::size_t growToFirstStray(const Points& points, const std::vector<FarPoint>& vFar, Box& box) {
    for (std::size_t k = 0; k < vFar.size(); ++k) {
        Box grown = box;
        grown.add(points[vFar[k].second]);
        const double side = box.side();
        if (side > 0.0 && grown.side() >= strayGrowth * side) return k;
        box = grown;
    }
    return vFar.size();
}

template <class Points>
std::vector<std::size_t> findAmong(const Points& points, double extent) {
    std::vector<std::size_t> vStrays;
    const uint64 num = numAllowed(points.numAll());
    if (num == 0) return vStrays;
    const Coords place = placeAmong(points, num);
    // Those far beyond can hide others, for which the extent without them is the measure.
    for (bool bMore = extent > 0.0; bMore;) {
        Box box(place);
        const double radius = std::min(extent, std::numeric_limits<double>::max()) / strayGrowth;
        const std::optional<std::vector<FarPoint>> vFar = findFarther(points, place, radius, num, box);
        if (!vFar) break;
        const std::size_t first = growToFirstStray(points, *vFar, box);
        bMore = vFar->size() - first > vStrays.size();
        if (!bMore) break;
        vStrays.clear();
        for (std::size_t k = first; k < vFar->size(); ++k) vStrays.push_back((*vFar)[k].second);
        extent = box.side();
    }
    std::sort(vStrays.begin(), vStrays.end());
    return vStrays;
}

}  // namespace

std::vector<std::size_t> findStrays(const PointSource& points, double extent) {
    return findAmong(SinglePoints{points}, extent);
}

std::vector<std::size_t> findStrays(std::span<const Point3> places, std::span<const uint64> vNums, double extent) {
    return findAmong(ManyPoints{places, vNums}, extent);
}

}  // namespace QUOR_ZEF
