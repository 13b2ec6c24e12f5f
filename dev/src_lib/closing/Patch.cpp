#include "closing/Patch.h"

#include <algorithm>
#include <cmath>

#include "flat/triangleSides.h"
#include "geometry/freeFunctions.h"

namespace QUOR_ZEF {

Patch::Patch(std::vector<Point3> vLoop, std::vector<double> vLoopSizes, std::vector<std::uint32_t> vTriangles)
    : vPlaces(std::move(vLoop)),
      vSizes(std::move(vLoopSizes)),
      vCorners(std::move(vTriangles)),
      numLoop(static_cast<std::uint32_t>(vPlaces.size())) {
    pairSides();
}

std::uint32_t Patch::endOf(std::uint32_t side) const {
    return vCorners[nextSide(side)];
}
std::uint32_t Patch::apexOf(std::uint32_t side) const {
    return vCorners[previousSide(side)];
}

bool Patch::isChord(std::uint32_t side) const {
    return vOpposite[side] != none && !isInside(startOf(side)) && !isInside(endOf(side));
}

Vector3 Patch::normalOf(std::uint32_t a, std::uint32_t b, std::uint32_t c) const {
    return cross(vPlaces[b] - vPlaces[a], vPlaces[c] - vPlaces[a]);
}

void Patch::link(std::uint32_t side, std::uint32_t other) {
    vOpposite[side] = other;
    if (other != none) vOpposite[other] = side;
}

void Patch::pairSides() {
    struct Entry {
        std::uint32_t low, high, side;
        bool operator<(const Entry& o) const { return std::array{low, high, side} < std::array{o.low, o.high, o.side}; }
    };
    std::vector<Entry> vEntries;
    for (std::uint32_t side = 0; side < vCorners.size(); ++side)
        vEntries.push_back({std::min(startOf(side), endOf(side)), std::max(startOf(side), endOf(side)), side});
    std::sort(vEntries.begin(), vEntries.end());
    vOpposite.assign(vCorners.size(), none);
    for (std::size_t i = 1; i < vEntries.size(); ++i)
        if (vEntries[i - 1].low == vEntries[i].low && vEntries[i - 1].high == vEntries[i].high)
            link(vEntries[i - 1].side, vEntries[i].side);
}

bool Patch::isTooLong(std::uint32_t side) const {
    constexpr double most = 4.0 / 3.0;  // halves are then no farther from what they should be
    const std::uint32_t a = startOf(side), b = endOf(side);
    const double limit = most * 0.5 * (vSizes[a] + vSizes[b]);
    return (vPlaces[b] - vPlaces[a]).sqLength() > limit * limit;
}

void Patch::refine() {
    constexpr int mostRounds = 24;
    turnEdges();
    for (int round = 0; round < mostRounds; ++round) {
        const auto end = static_cast<std::uint32_t>(vCorners.size());
        for (std::uint32_t side = 0; side < end; ++side)
            if (vOpposite[side] != none && vOpposite[side] > side && isTooLong(side)) splitEdge(side);
        if (vCorners.size() == end) return;
        turnEdges();
    }
}

// (a, b, c) and (b, a, d) become four triangles around the middle.
void Patch::splitEdge(std::uint32_t side) {
    const std::uint32_t s0 = side, s1 = nextSide(side), s2 = previousSide(side);
    const std::uint32_t o0 = vOpposite[side], o1 = nextSide(o0), o2 = previousSide(o0);
    const std::uint32_t a = vCorners[s0], b = vCorners[s1], c = vCorners[s2], d = vCorners[o2];
    const std::uint32_t outerS = vOpposite[s1], outerO = vOpposite[o1];
    const auto middle = static_cast<std::uint32_t>(vPlaces.size());
    const auto n = static_cast<std::uint32_t>(vCorners.size()), k = n + 3;
    vPlaces.push_back(vPlaces[a] + (vPlaces[b] - vPlaces[a]) * 0.5);
    vSizes.push_back(0.5 * (vSizes[a] + vSizes[b]));
    vCorners[s1] = vCorners[o1] = middle;
    vCorners.insert(vCorners.end(), {middle, b, c, middle, a, d});
    vOpposite.resize(vCorners.size(), none);
    link(s0, k);
    link(s1, n + 2);
    link(n + 1, outerS);
    link(n, o0);
    link(o1, k + 2);
    link(k + 1, outerO);
}

void Patch::turnEdges() {
    constexpr int mostRounds = 12;
    bool bTurned = true;
    for (int round = 0; round < mostRounds && bTurned; ++round) {
        bTurned = false;
        for (std::uint32_t side = 0; side < vCorners.size(); ++side) {
            if (vOpposite[side] == none || vOpposite[side] < side || !isTurnBetter(side)) continue;
            turnEdge(side);
            bTurned = true;
        }
    }
}

// By the angles across the edge, which are more than two right ones together where it is too long.
bool Patch::isTurnBetter(std::uint32_t side) const {
    constexpr double least = 1e-6, bentLeast = 0.5;
    const std::uint32_t other = vOpposite[side];
    const std::uint32_t a = startOf(side), b = endOf(side), c = apexOf(side), d = apexOf(other);
    if (!isInside(c) && !isInside(d)) return false;
    const auto cotangent = [&](std::uint32_t apex) {
        const Vector3 toA = vPlaces[a] - vPlaces[apex], toB = vPlaces[b] - vPlaces[apex];
        const double sine = cross(toA, toB).length();
        return sine > 0.0 ? toA * toB / sine : toA * toB < 0.0 ? -1.0 / least : 1.0 / least;
    };
    if (!(cotangent(c) + cotangent(d) < -least)) return false;
    const Vector3 old1 = normalOf(a, b, c), old2 = normalOf(b, a, d), new1 = normalOf(a, d, c),
                  new2 = normalOf(b, c, d);
    const double bentBefore = old1 * old2, bentAfter = new1 * new2;
    const double before = old1.length() * old2.length(), after = new1.length() * new2.length();
    if (!(after > 0.0) || (before > 0.0 && bentAfter / after < std::min(bentLeast, bentBefore / before))) return false;
    const std::uint32_t sideAtC = previousSide(side), sideAtD = previousSide(other);
    return isInside(c) ? !areJoined(sideAtC, d) : !areJoined(sideAtD, c);
}

// Goes around the inner vertex at which the side begins.
bool Patch::areJoined(std::uint32_t sideAtInner, std::uint32_t other) const {
    std::uint32_t side = sideAtInner;
    do {
        if (endOf(side) == other) return true;
        side = vOpposite[previousSide(side)];
    } while (side != sideAtInner);
    return false;
}

// (a, b, c) and (b, a, d) become (a, d, c) and (b, c, d).
void Patch::turnEdge(std::uint32_t side) {
    const std::uint32_t s1 = nextSide(side), s2 = previousSide(side);
    const std::uint32_t o0 = vOpposite[side], o1 = nextSide(o0), o2 = previousSide(o0);
    const std::uint32_t outerS = vOpposite[s1], outerO = vOpposite[o1];
    vCorners[s1] = vCorners[o2];
    vCorners[o1] = vCorners[s2];
    link(side, outerO);
    link(o0, outerS);
    link(s1, o1);
}

std::vector<std::vector<std::uint32_t>> Patch::neighbours() const {
    std::vector<std::vector<std::uint32_t>> v(vPlaces.size());
    for (std::uint32_t side = 0; side < vCorners.size(); ++side) {
        v[startOf(side)].push_back(endOf(side));
        if (vOpposite[side] == none) v[endOf(side)].push_back(startOf(side));
    }
    return v;
}

void Patch::smooth(int numRounds) {
    std::vector<std::vector<std::uint32_t>> vSides(vPlaces.size());
    for (std::uint32_t side = 0; side < vCorners.size(); ++side)
        if (isInside(startOf(side))) vSides[startOf(side)].push_back(side);
    for (int round = 0; round < numRounds; ++round)
        for (std::uint32_t i = numLoop; i < vPlaces.size(); ++i) {
            Vector3 sum;
            for (const std::uint32_t side : vSides[i]) sum += vPlaces[endOf(side)] - vPlaces[i];
            const Point3 place = vPlaces[i] + sum * (1.0 / static_cast<double>(vSides[i].size()));
            if (!turnsOver(i, vSides[i], place)) vPlaces[i] = place;
        }
}

bool Patch::turnsOver(std::uint32_t vertex, const std::vector<std::uint32_t>& vSides, const Point3& place) const {
    return std::ranges::any_of(vSides, [&](std::uint32_t side) {
        const Point3 &b = vPlaces[endOf(side)], &c = vPlaces[apexOf(side)];
        return cross(b - place, c - place) * normalOf(vertex, endOf(side), apexOf(side)) < 0.0;
    });
}

}  // namespace QUOR_ZEF
