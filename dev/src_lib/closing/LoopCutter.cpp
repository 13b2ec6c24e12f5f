#include "closing/LoopCutter.h"

#include <algorithm>
#include <array>

#include "geometry/freeFunctions.h"

namespace QUOR_ZEF {

namespace {

constexpr double bad = 8.0;  // as if the new edge were so many times as long

// Whether two triangles on both sides of the edge from a to b lie on each other.
bool foldsBack(const Point3& a, const Point3& b, const Point3& c, const Point3& other) {
    constexpr double cosine = 0.7;
    const Vector3 along = b - a, n = cross(along, c - a), m = cross(other - a, along);
    return n * m < -cosine * n.length() * m.length();
}

}  // namespace

LoopCutter::LoopCutter(std::span<const Point3> vPlaces_, std::span<const Point3> vBeside_)
    : vPlaces(vPlaces_), vThird(vBeside_.begin(), vBeside_.end()) {
    const auto num = static_cast<std::uint32_t>(vPlaces.size());
    vNext.resize(num);
    vBefore.resize(num);
    vVersion.assign(num, 0);
    for (std::uint32_t i = 0; i < num; ++i) {
        vNext[i] = (i + 1) % num;
        vBefore[vNext[i]] = i;
        face += cross(vPlaces[i] - vPlaces[0], vPlaces[vNext[i]] - vPlaces[0]);
    }
}

std::vector<std::uint32_t> LoopCutter::cut(std::size_t numLeft, std::vector<std::uint32_t>& vTriangles) {
    std::size_t num = vPlaces.size();
    if (num > numLeft)
        for (std::uint32_t i = 0; i < num; ++i) push(i);
    while (num > std::max<std::size_t>(numLeft, 3) && !queue.empty()) {
        Ear ear = queue.top();
        queue.pop();
        const std::uint32_t v = ear.vertex, before = vBefore[v], next = vNext[v];
        if (ear.version != vVersion[v]) continue;
        if (!ear.bSearched && covers(v)) {
            ear.bSearched = true;
            ear.cost *= bad;
            queue.push(ear);
            continue;
        }
        vTriangles.insert(vTriangles.end(), {before, v, next});
        vThird[before] = vPlaces[v];
        vNext[before] = next;
        vBefore[next] = before;
        vNext[v] = v;
        ++vVersion[v];
        --num;
        push(before);
        push(next);
    }
    std::vector<std::uint32_t> vLeft;
    const auto isLeft = [&](std::uint32_t i) { return vNext[i] != i; };
    for (std::uint32_t i = 0; i < vPlaces.size(); ++i)
        if (isLeft(i)) vLeft.push_back(i);
    return vLeft;
}

void LoopCutter::push(std::uint32_t vertex) {
    queue.push({costOf(vertex), vertex, ++vVersion[vertex], false});
}

double LoopCutter::costOf(std::uint32_t vertex) const {
    const std::uint32_t before = vBefore[vertex], next = vNext[vertex];
    const Point3 &a = vPlaces[before], &b = vPlaces[vertex], &c = vPlaces[next];
    double cost = (c - a).length();
    if (foldsBack(a, b, c, vThird[before]) || foldsBack(b, c, a, vThird[vertex])) cost *= bad;
    if (cross(b - a, c - a) * face < 0.0) cost *= bad;
    return cost;
}

bool LoopCutter::covers(std::uint32_t vertex) const {
    constexpr double near = 0.2;  // of the shortest side
    const std::uint32_t before = vBefore[vertex], next = vNext[vertex];
    const Point3 &a = vPlaces[before], &b = vPlaces[vertex], &c = vPlaces[next];
    const Vector3 toB = b - a, toC = c - a;
    const double limit = near * near * std::min({toB.sqLength(), toC.sqLength(), (c - b).sqLength()});
    const double reach = std::max(toB.sqLength(), toC.sqLength()) + limit;
    for (std::uint32_t i = vNext[next]; i != before; i = vNext[i]) {
        const Vector3 way = vPlaces[i] - a;
        if (way.sqLength() < reach && sqDistanceToTriangle(way, toB, toC) < limit) return true;
    }
    return false;
}

}  // namespace QUOR_ZEF
