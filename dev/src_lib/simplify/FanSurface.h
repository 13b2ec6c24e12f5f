#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <span>
#include <vector>

#include "zef/TriangleMesh.h"
#include "zef/Vector3.h"

namespace QUOR_ZEF {

inline Vector3 difference(Vector3 u, const Vector3& v) {
    u -= v;
    return u;
}

// The point of a triangle that is closest to another point.
struct Foot {
    double sqDistance = std::numeric_limits<double>::infinity();
    std::uint32_t triangle = 0;
    std::array<double, 3> weights{};  // of the corners, 0 or more, sum 1
};

// Sets distance and weights. A triangle without area counts as its edges; one that
// is not finite is infinitely far away.
void findFoot(const Vector3& p, const Vector3& a, const Vector3& b, const Vector3& c, Foot& foot);

// Whether findFoot() is sure to find a larger square, as the plane of the triangle is farther away. Half as fast as
// that where it is not.
bool isPlaneFarther(const Vector3& p, const Vector3& a, const Vector3& b, const Vector3& c, double sqDistance);

// Triangles with the fans around their vertices, in plain arrays.
class FanSurface {
public:
    // Vertices of more triangles are crowded: whoever went around them again and again would never end.
    static constexpr std::size_t mostAround = 256;

    std::vector<Vector3> vPos;           // by vertex
    std::vector<std::uint32_t> indices;  // three vertices a triangle
    std::vector<std::uint32_t> vStart;   // by vertex, and one more: where its fan starts in vFans
    std::vector<std::uint32_t> vFans;    // triangles, ascending within a fan

    // Indices out of range are the caller's fault. O(n).
    FanSurface(std::vector<Vector3> vPos_, std::vector<std::uint32_t> indices_);
    explicit FanSurface(const TriangleMesh& mesh);

    std::uint32_t numTriangles() const { return static_cast<std::uint32_t>(indices.size() / 3); }
    std::span<const std::uint32_t> fan(std::uint32_t vertex) const {
        return {vFans.data() + vStart[vertex], vFans.data() + vStart[vertex + 1]};
    }
    bool isCrowded(std::uint32_t vertex) const { return vStart[vertex + 1] - vStart[vertex] > mostAround; }
    // The fan, or some triangles of a crowded one.
    std::span<const std::uint32_t> partOfFan(std::uint32_t vertex) const {
        constexpr std::size_t some = 16;
        return isCrowded(vertex) ? fan(vertex).first(some) : fan(vertex);
    }
    // That of the two vertices of an edge which has fewer triangles.
    std::uint32_t lesserOf(std::uint32_t a, std::uint32_t b) const { return fan(a).size() <= fan(b).size() ? a : b; }
    const Vector3& corner(std::uint32_t triangle, std::uint32_t i) const { return vPos[indices[3 * triangle + i]]; }
    // Of the triangles at the edge from corner i to the next one, the lowest is this one.
    bool isFirstAtSide(std::uint32_t triangle, std::uint32_t i) const;

    // Walks from fan to fan as long as the surface comes closer to p. What it finds
    // is on the surface, so its distance is at least the true one, and near the
    // start as a rule the same, unless a fan is crowded, of which it sees a part only. Stops
    // early within sqEnough. The vertex must have triangles. May run on several threads.
    Foot walkFrom(std::uint32_t vertex, const Vector3& p, double sqEnough = 0.0) const;
    // The vertex to walk from next, if the next point is near to this one.
    std::uint32_t nearestCorner(const Foot& foot) const;
};

// Calls f(wa, wb, wc) with the weights of the corners for the points of a grid on a
// triangle: corners, at least the middles of sides, and the middle. The grid is no
// wider than the width, but for 100 parts of a side.
template <class F>
void forEachGridPoint(const Vector3& a, const Vector3& b, const Vector3& c, double width, F&& f) {
    const double sqLongest =
        std::max({difference(b, a).sqLength(), difference(c, b).sqLength(), difference(a, c).sqLength()});
    const auto n =
        2 * static_cast<std::uint32_t>(std::clamp(std::ceil(std::sqrt(sqLongest) / (2.0 * width)), 1.0, 50.0));
    for (std::uint32_t i = 0; i <= n; ++i)
        for (std::uint32_t k = 0; k + i <= n; ++k) f(double(n - i - k) / n, double(i) / n, double(k) / n);
    if (n % 3 != 0) f(1.0 / 3.0, 1.0 / 3.0, 1.0 / 3.0);
}

inline Vector3 weightedMean(const Vector3& a, const Vector3& b, const Vector3& c, double wa, double wb, double wc) {
    Vector3 p = a * wa;
    p += b * wb;
    p += c * wc;
    return p;
}

}  // namespace QUOR_ZEF
