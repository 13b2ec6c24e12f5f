#include "mend/FillRefiner.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "geometry/freeFunctions.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t maxTurns = 100;  // at one vertex
constexpr double farFactor = 16.0;     // a filling that starts farther off has nothing to do with the vertices

// To the nearest point of the triangle: that of its plane, or of an edge.
double distanceToTriangle(const Point3& p, const Point3& a, const Point3& b, const Point3& c) {
    bool bOK = false;
    const Vector3 normal = triNormal(&a, &b, &c, bOK);
    const std::array<const Point3*, 4> ring{&a, &b, &c, &a};
    bool bInside = bOK;
    double nearest = std::numeric_limits<double>::infinity();
    for (std::size_t i = 0; i < 3; ++i) {
        const Vector3 along = *ring[i + 1] - *ring[i], way = p - *ring[i];
        if (bOK && cross(normal, along) * way < 0.0) bInside = false;
        const double squared = along * along;
        const double part = squared > 0.0 ? std::clamp(way * along / squared, 0.0, 1.0) : 0.0;
        nearest = std::min(nearest, (p - (*ring[i] + along * part)).length());
    }
    return bInside ? std::abs(normal * (p - a)) : nearest;
}

// Twice the area over the squared longest side; small for slivers.
double shapeOf(const Point3& a, const Point3& b, const Point3& c) {
    const Vector3 ab = b - a, bc = c - b, ca = a - c;
    const double longest = std::max({ab * ab, bc * bc, ca * ca});
    return longest > 0.0 ? cross(ab, bc).length() / longest : 0.0;
}

}  // namespace

bool FillRefiner::refine(std::span<const std::uint32_t> vCandidates, double maxDistance,
                         std::vector<std::uint32_t>& vFilling) {
    vTriangles.clear();
    for (std::size_t i = 0; i < vFilling.size(); i += 3)
        vTriangles.push_back({vFilling[i], vFilling[i + 1], vFilling[i + 2]});
    vLeft.clear();
    for (const std::uint32_t vertex : vCandidates) {
        vLeft.push_back({vertex, 0.0, 0});
        lookAtAll(vLeft.back());
    }
    const auto isNearer = [](const Candidate& a, const Candidate& b) { return a.distance < b.distance; };
    for (bool bFirst = true; !vLeft.empty(); bFirst = false) {
        const auto it = std::max_element(vLeft.begin(), vLeft.end(), isNearer);
        const Candidate candidate = *it;
        if (bFirst && !(candidate.distance <= farFactor * maxDistance)) return false;
        if (candidate.distance <= maxDistance) break;
        vLeft.erase(it);
        vChanged.clear();
        split(candidate.triangle, candidate.vertex);
        turnEdgesAt(candidate.vertex);
        updateCandidates();
    }
    vFilling.clear();
    for (const Triangle& t : vTriangles) vFilling.insert(vFilling.end(), t.begin(), t.end());
    return true;
}

double FillRefiner::distance(std::uint32_t vertex, const Triangle& t) const {
    return distanceToTriangle(mesh.vertices[vertex], mesh.vertices[t[0]], mesh.vertices[t[1]], mesh.vertices[t[2]]);
}

void FillRefiner::lookAtAll(Candidate& candidate) const {
    candidate.distance = std::numeric_limits<double>::infinity();
    for (std::size_t t = 0; t < vTriangles.size(); ++t) {
        const double d = distance(candidate.vertex, vTriangles[t]);
        if (!(d < candidate.distance)) continue;
        candidate.distance = d;
        candidate.triangle = t;
    }
}

void FillRefiner::updateCandidates() {
    std::sort(vChanged.begin(), vChanged.end());
    vChanged.erase(std::unique(vChanged.begin(), vChanged.end()), vChanged.end());
    for (Candidate& candidate : vLeft) {
        if (std::binary_search(vChanged.begin(), vChanged.end(), candidate.triangle)) {
            lookAtAll(candidate);
            continue;
        }
        for (const std::size_t t : vChanged) {
            const double d = distance(candidate.vertex, vTriangles[t]);
            if (d < candidate.distance) candidate = {candidate.vertex, d, t};
        }
    }
}

void FillRefiner::split(std::size_t triangle, std::uint32_t vertex) {
    const Triangle t = vTriangles[triangle];
    vTriangles[triangle] = {t[0], t[1], vertex};
    vTriangles.push_back({t[1], t[2], vertex});
    vTriangles.push_back({t[2], t[0], vertex});
    vChanged.insert(vChanged.end(), {triangle, vTriangles.size() - 2, vTriangles.size() - 1});
}

// Of each triangle there the edge across from the vertex.
void FillRefiner::turnEdgesAt(std::uint32_t vertex) {
    std::size_t numTurns = 0;
    for (bool bTurned = true; bTurned && numTurns < maxTurns;) {
        bTurned = false;
        for (std::size_t t = 0; t < vTriangles.size() && !bTurned; ++t) {
            const Triangle& corners = vTriangles[t];
            if (std::find(corners.begin(), corners.end(), vertex) == corners.end()) continue;
            bTurned = turnEdge(t, vertex);
        }
        numTurns += bTurned;
    }
}

// Triangle (v, a, b) and its neighbour (b, a, d) become (v, a, d) and (v, d, b).
bool FillRefiner::turnEdge(std::size_t triangle, std::uint32_t v) {
    Triangle& t = vTriangles[triangle];
    std::rotate(t.begin(), std::find(t.begin(), t.end(), v), t.end());
    const std::uint32_t a = t[1], b = t[2];
    for (std::size_t i = 0; i < vTriangles.size(); ++i) {
        Triangle& other = vTriangles[i];
        const auto it = std::find(other.begin(), other.end(), b);
        if (it == other.end()) continue;
        std::rotate(other.begin(), it, other.end());
        if (other[1] != a) continue;
        const std::uint32_t d = other[2];
        const bool bThere = std::any_of(vTriangles.begin(), vTriangles.end(), [&](const Triangle& u) {
            return std::find(u.begin(), u.end(), v) != u.end() && std::find(u.begin(), u.end(), d) != u.end();
        });
        if (bThere || quality(v, a, d, b) <= quality(a, d, b, v)) return false;
        t = {v, a, d};
        other = {v, d, b};
        vChanged.insert(vChanged.end(), {triangle, i});
        return true;
    }
    return false;
}

// Of the triangles (a, b, c) and (a, c, d): the worse shape, less the more they bend.
double FillRefiner::quality(std::uint32_t a, std::uint32_t b, std::uint32_t c, std::uint32_t d) const {
    const Point3 &pA = mesh.vertices[a], &pB = mesh.vertices[b], &pC = mesh.vertices[c], &pD = mesh.vertices[d];
    const Vector3 first = cross(pB - pA, pC - pA), second = cross(pC - pA, pD - pA);
    const double lengths = first.length() * second.length();
    const double bend = lengths > 0.0 ? 1.0 - first * second / lengths : 2.0;
    return std::min(shapeOf(pA, pB, pC), shapeOf(pA, pC, pD)) - bend;
}

}  // namespace QUOR_ZEF
