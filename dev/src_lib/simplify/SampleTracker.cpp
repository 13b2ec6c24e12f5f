#include "simplify/SampleTracker.h"

#include <algorithm>
#include <cmath>

namespace QUOR_ZEF {

namespace {

constexpr std::uint32_t none = CollapseMesh::none;

}  // namespace

SampleTracker::SampleTracker(const FanSurface& source_, const CollapseMesh& mesh_, const VertexColors* pSourceColors_,
                             const VertexColors* pColors_, double maxDistance_, double gridWidth_, double maxColorStep_,
                             const std::vector<float>& vShares_)
    : source(source_),
      mesh(mesh_),
      pSourceColors(pSourceColors_),
      pColors(pColors_),
      maxDistance(maxDistance_),
      gridWidth(gridWidth_),
      maxColorStep(maxColorStep_),
      vShares(vShares_),
      tree(source),
      vFirst(source.numTriangles(), none) {
    for (std::uint32_t vertex = 0; vertex < source.vPos.size(); ++vertex)
        addPoint(source.vPos[vertex], vertex, source.fan(vertex).empty() ? none : source.fan(vertex).front());
    if (maxDistance > gridWidth) return;
    for (std::uint32_t triangle = 0; triangle < source.numTriangles(); ++triangle) {
        const Vector3 &a = source.corner(triangle, 0), &b = source.corner(triangle, 1), &c = source.corner(triangle, 2);
        const std::uint32_t* const k = &source.indices[3 * std::size_t{triangle}];
        addPoint(weightedMean(a, b, c, 1.0 / 3.0, 1.0 / 3.0, 1.0 / 3.0), k[0], triangle);
        if (source.isFirstAtSide(triangle, 0)) addPoint(weightedMean(a, b, c, 0.5, 0.5, 0.0), k[0], triangle);
        if (source.isFirstAtSide(triangle, 1)) addPoint(weightedMean(a, b, c, 0.0, 0.5, 0.5), k[1], triangle);
        if (source.isFirstAtSide(triangle, 2)) addPoint(weightedMean(a, b, c, 0.5, 0.0, 0.5), k[2], triangle);
    }
}

// Without a triangle it is a vertex of none, and never asked for.
void SampleTracker::addPoint(const Vector3& p, std::uint32_t vertex, std::uint32_t triangle) {
    const auto point = static_cast<std::uint32_t>(vPoints.size());
    vPoints.push_back(p);
    vVertex.push_back(vertex);
    vNext.push_back(triangle == none ? none : vFirst[triangle]);
    if (triangle != none) vFirst[triangle] = point;
}

void SampleTracker::gather(const Vector3& p) {
    vSamples.clear();
    vPlaces.clear();
    const auto addPoints = [&](std::uint32_t triangle, std::uint32_t place) {
        for (std::uint32_t point = vFirst[triangle]; point != none; point = vNext[point])
            vSamples.push_back({point, place});
    };
    for (const std::uint32_t triangle : mesh.getDying()) addPoints(triangle, 0);
    for (const CollapseMesh::Moved& moved : mesh.getMoved()) {
        addPoints(moved.triangle, static_cast<std::uint32_t>(vPlaces.size()));
        const Vector3& b = mesh.vPos[mesh.getCorner(moved.triangle, (moved.corner + 1) % 3)];
        const Vector3& c = mesh.vPos[mesh.getCorner(moved.triangle, (moved.corner + 2) % 3)];
        const Vector3 middle = weightedMean(p, b, c, 1.0 / 3.0, 1.0 / 3.0, 1.0 / 3.0);
        const double sqRadius = std::max(
            {difference(p, middle).sqLength(), difference(b, middle).sqLength(), difference(c, middle).sqLength()});
        // A little more, for what rounding takes away.
        vPlaces.push_back({&moved, p, b, c, middle, std::sqrt(sqRadius) * 1.000001});
    }
}

bool SampleTracker::allows(std::uint32_t u_, std::uint32_t v_, const Vector3& p, const Channels* pColor) {
    u = u_;
    v = v_;
    gather(p);
    std::uint32_t vertex = nearestVertex(p);
    if (!isNearSource(p, vertex)) return false;
    for (Sample& sample : vSamples)
        if (!findPlace(sample, pColor)) return false;
    return std::all_of(vPlaces.begin(), vPlaces.end(), [&](const Place& place) { return isNearSource(place, vertex); });
}

// The closest place; most are so far away that their balls tell.
bool SampleTracker::findPlace(Sample& sample, const Channels* pColor) const {
    if (vPlaces.empty()) return false;
    const Vector3& point = vPoints[sample.point];
    Foot best;
    std::uint32_t bestPlace = sample.place;
    double distance = 0.0;  // of the best
    const auto take = [&](std::uint32_t i) {
        const Place& place = vPlaces[i];
        Foot foot;
        findFoot(point, place.a, place.b, place.c, foot);
        if (!(foot.sqDistance < best.sqDistance)) return;
        best = foot;
        distance = std::sqrt(foot.sqDistance);
        bestPlace = i;
    };
    take(sample.place);
    for (std::uint32_t i = 0; i < vPlaces.size(); ++i) {
        const double reach = vPlaces[i].radius + distance;
        if (i != sample.place && difference(point, vPlaces[i].middle).sqLength() < reach * reach) take(i);
    }
    if (!(best.sqDistance <= sqLimitAt(vVertex[sample.point]))) return false;
    sample.place = bestPlace;
    const bool bVertex = sample.point < source.vPos.size();
    return !pColors || !bVertex || keepsColor(sample.point, *vPlaces[bestPlace].pMoved, best, pColor);
}

bool SampleTracker::keepsColor(std::uint32_t vertex, const CollapseMesh::Moved& moved, const Foot& foot,
                               const Channels* pColor) const {
    const std::uint32_t a = mesh.getCorner(moved.triangle, (moved.corner + 1) % 3);
    const std::uint32_t b = mesh.getCorner(moved.triangle, (moved.corner + 2) % 3);
    if (!pSourceColors->vHas[vertex] || !pColor || !pColors->vHas[a] || !pColors->vHas[b]) return true;
    for (std::size_t i = 0; i < 4; ++i) {
        const double there = foot.weights[0] * (*pColor)[i] + foot.weights[1] * pColors->vChannels[a][i] +
                             foot.weights[2] * pColors->vChannels[b][i];
        if (std::abs(there - pSourceColors->vChannels[vertex][i]) > maxColorStep) return false;
    }
    return true;
}

// Of the source, of those around.
std::uint32_t SampleTracker::nearestVertex(const Vector3& p) const {
    std::uint32_t nearest = u;
    double sqNearest = difference(source.vPos[u], p).sqLength();
    const auto take = [&](std::uint32_t vertex) {
        const double sq = difference(source.vPos[vertex], p).sqLength();
        if (!(sq < sqNearest)) return;
        sqNearest = sq;
        nearest = vertex;
    };
    take(v);
    for (const Sample& sample : vSamples) take(vVertex[sample.point]);
    return nearest;
}

// Walks from the vertex, to the one at the foot.
bool SampleTracker::isNearSource(const Vector3& p, std::uint32_t& vertex) const {
    Foot foot = source.walkFrom(vertex, p);
    vertex = source.nearestCorner(foot);
    if (foot.sqDistance <= sqLimitAt(vertex)) return true;
    tree.findCloser(p, foot);
    vertex = source.nearestCorner(foot);
    return foot.sqDistance <= sqLimitAt(vertex);
}

// The side across from the moved corner stays as it was.
bool SampleTracker::isNearSource(const Place& place, std::uint32_t vertex) const {
    bool bNear = true;
    forEachGridPoint(place.a, place.b, place.c, gridWidth, [&](double wa, double wb, double wc) {
        if (bNear && wa != 0.0 && wa != 1.0)
            bNear = isNearSource(weightedMean(place.a, place.b, place.c, wa, wb, wc), vertex);
    });
    return bNear;
}

void SampleTracker::follow() {
    const auto forget = [&](std::uint32_t triangle) { vFirst[triangle] = none; };
    for (const std::uint32_t triangle : mesh.getDying()) forget(triangle);
    for (const CollapseMesh::Moved& moved : mesh.getMoved()) forget(moved.triangle);
    for (const Sample& sample : vSamples) {
        const std::uint32_t triangle = vPlaces[sample.place].pMoved->triangle;
        vNext[sample.point] = vFirst[triangle];
        vFirst[triangle] = sample.point;
    }
}

}  // namespace QUOR_ZEF
