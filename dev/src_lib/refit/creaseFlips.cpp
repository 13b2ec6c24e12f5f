#include "refit/creaseFlips.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

#include "flat/triangleSides.h"
#include "parallel/parallelTransform.h"
#include "parallel/sortMT.h"

namespace QUOR_ZEF {

namespace {

constexpr std::uint32_t none = RefitSurface::none;

// The triangles at an edge: a and b are its ends, c and d the corners beside it.
struct Diamond {
    std::uint32_t side, opposite;
    std::uint32_t a, b, c, d;

    Diamond(const RefitSurface& surface, std::uint32_t side_) : side(side_), opposite(surface.vOpposite[side_]) {
        const std::vector<std::uint32_t>& vTriples = surface.vTriples;
        a = vTriples[side];
        b = vTriples[nextSide(side)];
        c = vTriples[previousSide(side)];
        d = vTriples[previousSide(opposite)];
    }
    // Its two triangles, and those beyond its four sides; none beyond a border.
    std::array<std::uint32_t, 6> triangles(const RefitSurface& surface) const {
        const auto beyond = [&](std::uint32_t s) { return surface.isBorder(s) ? none : surface.vOpposite[s] / 3; };
        return {side / 3,
                opposite / 3,
                beyond(nextSide(side)),
                beyond(previousSide(side)),
                beyond(nextSide(opposite)),
                beyond(previousSide(opposite))};
    }
};

bool areJoined(const RefitSurface& surface, std::uint32_t u, std::uint32_t v) {
    for (const std::uint32_t t : surface.fans[u])
        for (std::size_t i = 3 * std::size_t{t}; i < 3 * std::size_t{t} + 3; ++i)
            if (surface.vTriples[i] == v) return true;
    return false;
}

// 2 sin(angle / 2): nearly the angle, in radians; that of a triangle without a normal is the largest.
double bendOf(const FaceNormal& m, const FaceNormal& n) {
    if (m.area == 0.0F || n.area == 0.0F) return 2.0;
    return std::sqrt(std::max(0.0, 2.0 - 2.0 * double{m * n}));
}

// The largest cosine of its angles, which is that of the smallest.
double sharpestCosine(const Vector3& a, const Vector3& b, const Vector3& c) {
    const Vector3 ab = b - a, bc = c - b, ca = a - c;
    const auto cosine = [](const Vector3& u, const Vector3& v) {
        const double square = u.sqLength() * v.sqLength();
        return square > 0.0 ? -(u * v) / std::sqrt(square) : 1.0;
    };
    return std::max({cosine(ab, bc), cosine(bc, ca), cosine(ca, ab)});
}

// How much less the surface bends, in mean edges times radians; 0 where it must not flip.
double gainOf(const RefitSurface& surface, std::uint32_t side) {
    constexpr double leastGain = 0.05, sharpest = 0.98;
    if (surface.isBorder(side) || surface.vOpposite[side] < side) return 0.0;
    const Diamond at(surface, side);
    const std::vector<Vector3>& vP = surface.vPlaces;
    const auto beyond = at.triangles(surface);
    const FaceNormal &n0 = surface.vNormals[beyond[0]], &n1 = surface.vNormals[beyond[1]];
    const double lengthBC = (vP[at.c] - vP[at.b]).length(), lengthCA = (vP[at.a] - vP[at.c]).length(),
                 lengthAD = (vP[at.d] - vP[at.a]).length(), lengthDB = (vP[at.b] - vP[at.d]).length();
    const auto outer = [&](std::size_t i, const FaceNormal& n, double length) {
        return beyond[i] == none ? 0.0 : bendOf(surface.vNormals[beyond[i]], n) * length;
    };
    const double before = bendOf(n0, n1) * (vP[at.b] - vP[at.a]).length() + outer(2, n0, lengthBC) +
                          outer(3, n0, lengthCA) + outer(4, n1, lengthAD) + outer(5, n1, lengthDB);
    if (before <= leastGain * surface.edge || at.c == at.d) return 0.0;
    const FaceNormal m0 = normalOf(vP[at.c], vP[at.d], vP[at.b]), m1 = normalOf(vP[at.d], vP[at.c], vP[at.a]);
    if (m0.area == 0.0F || m1.area == 0.0F || (m0 * m1 <= 0.0F && n0 * n1 > 0.0F)) return 0.0;
    double after = bendOf(m0, m1) * (vP[at.d] - vP[at.c]).length();
    const auto gain = [&] { return (before - after) / surface.edge - leastGain; };
    if (!(gain() > 0.0)) return 0.0;  // what comes on top is not negative
    after = after + outer(2, m0, lengthBC) + outer(3, m1, lengthCA) + outer(4, m1, lengthAD) + outer(5, m0, lengthDB);
    if (!(gain() > 0.0)) return 0.0;
    const double newCosine =
        std::max(sharpestCosine(vP[at.c], vP[at.d], vP[at.b]), sharpestCosine(vP[at.d], vP[at.c], vP[at.a]));
    if (newCosine > sharpest && newCosine > std::max(sharpestCosine(vP[at.a], vP[at.b], vP[at.c]),
                                                     sharpestCosine(vP[at.b], vP[at.a], vP[at.d])))
        return 0.0;
    return areJoined(surface, at.c, at.d) ? 0.0 : gain();
}

void flip(RefitSurface& surface, const Diamond& at) {
    const std::uint32_t t = 3 * (at.side / 3), u = 3 * (at.opposite / 3);
    const std::array<std::uint32_t, 4> beyond = {
        surface.vOpposite[previousSide(at.opposite)], surface.vOpposite[nextSide(at.side)],
        surface.vOpposite[previousSide(at.side)], surface.vOpposite[nextSide(at.opposite)]};
    const std::array<std::uint32_t, 6> corners = {at.c, at.d, at.b, at.d, at.c, at.a};
    for (std::uint32_t i = 0; i < 3; ++i) {
        surface.vTriples[t + i] = corners[i];
        surface.vTriples[u + i] = corners[3 + i];
    }
    const auto join = [&](std::uint32_t side, std::uint32_t other) {
        surface.vOpposite[side] = other;
        if (other != none) surface.vOpposite[other] = side;
    };
    join(t, u);
    join(t + 1, beyond[0]);
    join(t + 2, beyond[1]);
    join(u + 1, beyond[2]);
    join(u + 2, beyond[3]);
}

using Candidate = std::pair<double, std::uint32_t>;  // gain, side

std::vector<Candidate> findCandidates(const RefitSurface& surface, const RefitPart& part) {
    std::vector<Candidate> vAll;
    for (const std::vector<Candidate>&vPart : parallelChunkResults<std::vector<Candidate>>(
             part.vFaces.size(), RefitSurface::minChunk, [&](std::size_t begin, std::size_t end) {
                 std::vector<Candidate> vFound;
                 for (std::size_t i = begin; i < end; ++i) {
                     for (std::uint32_t side = 3 * part.vFaces[i]; side < 3 * part.vFaces[i] + 3; ++side) {
                         const double gain = gainOf(surface, side);
                         if (gain > 0.0) vFound.emplace_back(gain, side);
                     }
                 }
                 return vFound;
             }))
        vAll.insert(vAll.end(), vPart.begin(), vPart.end());
    std::sort(vAll.begin(), vAll.end(), [](const Candidate& a, const Candidate& b) {
        return a.first != b.first ? a.first > b.first : a.second < b.second;
    });
    return vAll;
}

}  // namespace

std::size_t flipToCreases(RefitSurface& surface, const RefitPart& part) {
    std::vector<bool> vTouched(surface.numTriangles()), vJoined(surface.numVertices());
    std::size_t numFlipped = 0;
    for (const auto& [gain, side] : findCandidates(surface, part)) {
        const Diamond at(surface, side);
        const auto around = at.triangles(surface);
        if (std::any_of(around.begin(), around.end(), [&](std::uint32_t t) { return t != none && vTouched[t]; }))
            continue;
        // What joins two vertices must not do so twice.
        if (vJoined[at.c] && vJoined[at.d]) continue;
        vJoined[at.c] = vJoined[at.d] = true;
        for (const std::uint32_t t : around)
            if (t != none) vTouched[t] = true;
        flip(surface, at);
        ++numFlipped;
    }
    if (numFlipped == 0) return 0;
    surface.renewFans();
    surface.renewNormals();
    return numFlipped;
}

}  // namespace QUOR_ZEF
