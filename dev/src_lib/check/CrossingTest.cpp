#include "check/CrossingTest.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

namespace QUOR_ZEF {

namespace {

// Whether p of the line through a and b, seen along an axis, is of the segment.
bool isBetween(const Coords& a, const Coords& b, const Coords& p, int dropped) {
    for (const int axis : {(dropped + 1) % 3, (dropped + 2) % 3}) {
        const auto i = static_cast<std::size_t>(axis);
        const auto [low, high] = std::minmax(a[i], b[i]);
        if (p[i] < low || p[i] > high) return false;
    }
    return true;
}

// In one plane, ends included.
bool segmentsMeet(const Coords& p, const Coords& q, const Coords& a, const Coords& b, int dropped) {
    const int sideP = orientation2(a, b, p, dropped), sideQ = orientation2(a, b, q, dropped);
    const int sideA = orientation2(p, q, a, dropped), sideB = orientation2(p, q, b, dropped);
    if (sideP * sideQ < 0 && sideA * sideB < 0) return true;
    return (sideP == 0 && isBetween(a, b, p, dropped)) || (sideQ == 0 && isBetween(a, b, q, dropped)) ||
           (sideA == 0 && isBetween(p, q, a, dropped)) || (sideB == 0 && isBetween(p, q, b, dropped));
}

bool haveNoOpposites(int a, int b, int c) {
    return std::min({a, b, c}) >= 0 || std::max({a, b, c}) <= 0;
}

// An axis along which the triangle does not look like a line; 3 if there is none.
int axisAcross(const Coords& a, const Coords& b, const Coords& c) {
    int axis = 0;
    while (axis < 3 && orientation2(a, b, c, axis) == 0) ++axis;
    return axis;
}

// Borders included, all in one plane.
bool meetInPlane(const Coords& p, const Coords& q, const Coords& a, const Coords& b, const Coords& c) {
    const int axis = axisAcross(a, b, c);
    if (haveNoOpposites(orientation2(a, b, p, axis), orientation2(b, c, p, axis), orientation2(c, a, p, axis))) {
        return true;
    }
    return segmentsMeet(p, q, a, b, axis) || segmentsMeet(p, q, b, c, axis) || segmentsMeet(p, q, c, a, axis);
}

// Whether the segment from p to q meets the triangle, ends and borders included;
// the sides are those of p and q at its plane.
bool segmentMeets(const Coords& p, const Coords& q, int sideP, int sideQ, const Coords& a, const Coords& b,
                  const Coords& c) {
    if (sideP * sideQ > 0) return false;
    if (sideP == 0 && sideQ == 0) return meetInPlane(p, q, a, b, c);
    return haveNoOpposites(orientation3(p, q, a, b), orientation3(p, q, b, c), orientation3(p, q, c, a));
}

}  // namespace

bool CrossingTest::hasArea(const Corners& t) const {
    return axisAcross(vPlaces[t[0]], vPlaces[t[1]], vPlaces[t[2]]) < 3;
}

// Common corners are turned to the front of both.
bool CrossingTest::intersect(Corners t, Corners u) const {
    std::size_t numCommon = 0;
    for (std::size_t i = 0; i < 3; ++i) {
        const auto it = std::find(u.begin() + std::ptrdiff_t(numCommon), u.end(), t[i]);
        if (it == u.end()) continue;
        std::swap(u[numCommon], *it);
        std::swap(t[numCommon++], t[i]);
    }
    if (numCommon == 3) return true;
    if (numCommon == 2) return areFolded(t, u);
    if (isOnOneSide(t, u, numCommon) || isOnOneSide(u, t, numCommon)) return false;
    if (isBeside(t, u) || isBeside(u, t)) return false;
    if (numCommon == 1) return oppositeSideMeets(t, u) || oppositeSideMeets(u, t);
    return sideMeets(t, u) || sideMeets(u, t);
}

// Whether the corners of t from that one on are all off the plane of u, on the same side: then they share
// no more than the corners before.
bool CrossingTest::isOnOneSide(const Corners& t, const Corners& u, std::size_t first) const {
    const int side = sideOf(u, t[first]);
    for (std::size_t i = first + 1; i < 3 && side != 0; ++i)
        if (sideOf(u, t[i]) != side) return false;
    return side != 0;
}

// Whether u, but for common corners, is beyond the line of a side of t, seen along
// an axis: then they share nothing else. Settles most pairs that lie in one plane, where
// the orientations in space are slow.
bool CrossingTest::isBeside(const Corners& t, const Corners& u) const {
    const int axis = axisAcross(vPlaces[t[0]], vPlaces[t[1]], vPlaces[t[2]]);
    const int inside = orientation2(vPlaces[t[0]], vPlaces[t[1]], vPlaces[t[2]], axis);
    for (std::size_t i = 0; i < 3; ++i) {
        const std::uint32_t p = t[i], q = t[(i + 1) % 3];
        if (std::ranges::all_of(u, [&](std::uint32_t v) {
                return v == p || v == q || orientation2(vPlaces[p], vPlaces[q], vPlaces[v], axis) == -inside;
            })) {
            return true;
        }
    }
    return false;
}

// Both begin with the common edge: in one plane, and on the same side of it.
bool CrossingTest::areFolded(const Corners& t, const Corners& u) const {
    const Coords &a = vPlaces[t[0]], &b = vPlaces[t[1]], &c = vPlaces[t[2]], &d = vPlaces[u[2]];
    if (orientation3(a, b, c, d) != 0) return false;
    const int axis = axisAcross(a, b, c);
    return orientation2(a, b, c, axis) == orientation2(a, b, d, axis);
}

int CrossingTest::sideOf(const Corners& t, std::uint32_t vertex) const {
    return orientation3(vPlaces[t[0]], vPlaces[t[1]], vPlaces[t[2]], vPlaces[vertex]);
}

bool CrossingTest::segmentMeets(std::uint32_t p, std::uint32_t q, int sideP, int sideQ, const Corners& t) const {
    return QUOR_ZEF::segmentMeets(vPlaces[p], vPlaces[q], sideP, sideQ, vPlaces[t[0]], vPlaces[t[1]], vPlaces[t[2]]);
}

// Both begin with the common corner. Triangles that share more lie along a common
// ray from there, and on it the nearer opposite side is in the other triangle.
bool CrossingTest::oppositeSideMeets(const Corners& t, const Corners& u) const {
    return segmentMeets(t[1], t[2], sideOf(u, t[1]), sideOf(u, t[2]), u);
}

// Whether a side of t meets u.
bool CrossingTest::sideMeets(const Corners& t, const Corners& u) const {
    const std::array<int, 3> sides = {sideOf(u, t[0]), sideOf(u, t[1]), sideOf(u, t[2])};
    for (std::size_t i = 0; i < 3; ++i) {
        const std::size_t j = (i + 1) % 3;
        if (segmentMeets(t[i], t[j], sides[i], sides[j], u)) return true;
    }
    return false;
}

}  // namespace QUOR_ZEF
