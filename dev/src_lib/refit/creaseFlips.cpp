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

// Of edges by side, in world units times radians; negative where both triangles are not of the part.
using BendSums = std::vector<float>;

void renewBends(const RefitSurface& surface, const std::vector<std::uint32_t>& vFaces, BendSums& vBends) {
    parallelChunks(vFaces.size(), RefitSurface::minChunk, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            for (std::uint32_t side = 3 * vFaces[i]; side < 3 * vFaces[i] + 3; ++side) {
                const std::uint32_t opposite = surface.vOpposite[side];
                const double bend =
                    opposite == none ? 0.0 : bendOf(surface.vNormals[side / 3], surface.vNormals[opposite / 3]);
                const double length = (surface.corner(nextSide(side)) - surface.corner(side)).length();
                vBends[side] = static_cast<float>(bend * length);
            }
        }
    });
}

// How much less the surface bends, in mean edges times radians; 0 where it must not flip.
double gainOf(const RefitSurface& surface, const BendSums& vBends, std::uint32_t side) {
    constexpr double leastGain = 0.05, sharpest = 0.98;
    const std::uint32_t other = surface.vOpposite[side];
    if (other == none || other < side || vBends[other] < 0.0F) return 0.0;
    const auto outerBends = [&](std::uint32_t s) {
        return double{vBends[nextSide(s)]} + double{vBends[previousSide(s)]};
    };
    const double before = double{vBends[side]} + (outerBends(side) + outerBends(other));
    if (before <= leastGain * surface.edge) return 0.0;
    const Diamond at(surface, side);
    if (at.c == at.d) return 0.0;
    const std::vector<Vector3>& vP = surface.vPlaces;
    const FaceNormal m0 = surface.normalOf(at.c, at.d, at.b), m1 = surface.normalOf(at.d, at.c, at.a);
    const FaceNormal &n0 = surface.vNormals[side / 3], &n1 = surface.vNormals[other / 3];
    if (m0.area == 0.0F || m1.area == 0.0F || (m0 * m1 <= 0.0F && n0 * n1 > 0.0F)) return 0.0;
    double after = bendOf(m0, m1) * (vP[at.d] - vP[at.c]).length();
    const auto gain = [&] { return (before - after) / surface.edge - leastGain; };
    if (!(gain() > 0.0)) return 0.0;  // what comes on top is not negative
    const auto beyond = at.triangles(surface);
    const auto outer = [&](std::size_t i, const FaceNormal& n, std::uint32_t u, std::uint32_t v) {
        return beyond[i] == none ? 0.0 : bendOf(surface.vNormals[beyond[i]], n) * (vP[u] - vP[v]).length();
    };
    after +=
        (outer(2, m0, at.b, at.c) + outer(3, m1, at.c, at.a)) + (outer(4, m1, at.a, at.d) + outer(5, m0, at.d, at.b));
    if (!(gain() > 0.0)) return 0.0;
    const double newCosine =
        std::max(sharpestCosine(vP[at.c], vP[at.d], vP[at.b]), sharpestCosine(vP[at.d], vP[at.c], vP[at.a]));
    if (newCosine > sharpest && newCosine > std::max(sharpestCosine(vP[at.a], vP[at.b], vP[at.c]),
                                                     sharpestCosine(vP[at.b], vP[at.a], vP[at.d])))
        return 0.0;
    return areJoined(surface, at.c, at.d) ? 0.0 : gain();
}

// The lower triangle gets the higher end of the edge, whichever way they face.
void flip(RefitSurface& surface, const Diamond& at) {
    std::uint32_t t = 3 * (at.side / 3), u = 3 * (at.opposite / 3);
    if ((t < u) != (at.b > at.a)) std::swap(t, u);
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

std::vector<Candidate> findCandidates(const RefitSurface& surface, const BendSums& vBends,
                                      const std::vector<std::uint32_t>& vFaces) {
    std::vector<Candidate> vAll;
    for (const std::vector<Candidate>&vPart : parallelChunkResults<std::vector<Candidate>>(
             vFaces.size(), RefitSurface::minChunk, [&](std::size_t begin, std::size_t end) {
                 std::vector<Candidate> vFound;
                 for (std::size_t i = begin; i < end; ++i) {
                     for (std::uint32_t side = 3 * vFaces[i]; side < 3 * vFaces[i] + 3; ++side) {
                         const double gain = gainOf(surface, vBends, side);
                         if (gain > 0.0) vFound.emplace_back(gain, side);
                     }
                 }
                 return vFound;
             }))
        vAll.insert(vAll.end(), vPart.begin(), vPart.end());
    const auto endsOf = [&](std::uint32_t side) {
        return std::minmax({surface.vTriples[side], surface.vTriples[nextSide(side)]});
    };
    std::sort(vAll.begin(), vAll.end(), [&](const Candidate& a, const Candidate& b) {
        return a.first != b.first ? a.first > b.first : endsOf(a.second) < endsOf(b.second);
    });
    return vAll;
}

// Marks the triangles that lie at flips; those of one do not lie at another. Returns those that are new.
std::vector<std::uint32_t> flipBest(RefitSurface& surface, const std::vector<Candidate>& vCandidates,
                                    std::vector<char>& vTouched) {
    std::vector<bool> vJoined(surface.numVertices());
    std::vector<std::uint32_t> vNew;
    for (const auto& [gain, side] : vCandidates) {
        const Diamond at(surface, side);
        const auto around = at.triangles(surface);
        if (std::any_of(around.begin(), around.end(), [&](std::uint32_t t) { return t != none && vTouched[t]; }))
            continue;
        // What joins two vertices must not do so twice.
        if (vJoined[at.c] && vJoined[at.d]) continue;
        vJoined[at.c] = vJoined[at.d] = true;
        for (const std::uint32_t t : around)
            if (t != none) vTouched[t] = 1;
        flip(surface, at);
        vNew.insert(vNew.end(), {at.side / 3, at.opposite / 3});
    }
    return vNew;
}

// Those of the faces that have a marked one two edges away or nearer, by which an edge
// gains otherwise or could not flip.
std::vector<std::uint32_t> facesBeside(const RefitSurface& surface, const std::vector<std::uint32_t>& vFaces,
                                       std::vector<char>& vTouched) {
    constexpr char near = 2;
    for (std::uint32_t t = 0; t < surface.numTriangles(); ++t) {
        if (vTouched[t] != 1) continue;
        for (std::uint32_t side = 3 * t; side < 3 * t + 3; ++side)
            if (!surface.isBorder(side) && !vTouched[surface.vOpposite[side] / 3])
                vTouched[surface.vOpposite[side] / 3] = near;
    }
    std::vector<std::uint32_t> vBeside;
    for (const std::uint32_t t : vFaces) {
        bool bBeside = vTouched[t] != 0;
        for (std::uint32_t side = 3 * t; side < 3 * t + 3 && !bBeside; ++side)
            bBeside = !surface.isBorder(side) && vTouched[surface.vOpposite[side] / 3] != 0;
        if (bBeside) vBeside.push_back(t);
    }
    return vBeside;
}

}  // namespace

void flipToCreases(RefitSurface& surface, const RefitPart& part, int numPasses) {
    BendSums vBends(3 * surface.numTriangles(), -1.0F);
    std::vector<std::uint32_t> vFaces = part.vFaces;
    for (int pass = 0; pass < numPasses; ++pass) {
        std::vector<char> vTouched(surface.numTriangles());
        renewBends(surface, vFaces, vBends);
        const std::vector<std::uint32_t> vNew = flipBest(surface, findCandidates(surface, vBends, vFaces), vTouched);
        if (vNew.empty()) return;
        surface.renewFans();
        surface.renewNormals(vNew);
        if (pass + 1 < numPasses) vFaces = facesBeside(surface, vFaces, vTouched);
    }
}

}  // namespace QUOR_ZEF
