#include "refine/SampleTracker.h"

#include <algorithm>
#include <cmath>

namespace QUOR_ZEF {

namespace {

constexpr std::uint32_t none = CollapseMesh::none;

Vector3 mean(const Vector3& a, const Vector3& b) {
    Vector3 m = a;
    m += b;
    return m * 0.5;
}

}  // namespace

SampleTracker::SampleTracker(const FanSurface& source_, const CollapseMesh& mesh_, const VertexColors* pSourceColors_,
                             const VertexColors* pColors_, double maxDistance, double maxColorStep_)
    : source(source_),
      mesh(mesh_),
      pSourceColors(pSourceColors_),
      pColors(pColors_),
      maxSq(maxDistance * maxDistance),
      maxColorStep(maxColorStep_),
      vFirst(source.numTriangles(), none),
      vNext(source.vPos.size(), none) {
    for (std::uint32_t vertex = 0; vertex < vNext.size(); ++vertex) {
        if (source.fan(vertex).empty()) continue;
        const std::uint32_t triangle = source.fan(vertex).front();
        vNext[vertex] = vFirst[triangle];
        vFirst[triangle] = vertex;
    }
}

void SampleTracker::gather() {
    vSamples.clear();
    const auto add = [&](std::uint32_t triangle) {
        for (std::uint32_t vertex = vFirst[triangle]; vertex != none; vertex = vNext[vertex])
            vSamples.push_back({vertex, triangle});
    };
    for (const std::uint32_t triangle : mesh.getDying()) add(triangle);
    for (const CollapseMesh::Moved& moved : mesh.getMoved()) add(moved.triangle);
}

bool SampleTracker::allows(std::uint32_t u_, std::uint32_t v_, const Vector3& p, const Channels* pColor) {
    u = u_;
    v = v_;
    gather();
    if (!isNearSource(p)) return false;
    for (Sample& sample : vSamples)
        if (!findTriangle(sample, p, pColor)) return false;
    for (const std::uint32_t vertex : mesh.getRing())
        if (!isNearSource(mean(p, mesh.vPos[vertex]))) return false;
    return std::all_of(mesh.getMoved().begin(), mesh.getMoved().end(), [&](const CollapseMesh::Moved& moved) {
        Vector3 sum = p;
        for (std::uint32_t i = 1; i < 3; ++i) sum += mesh.vPos[mesh.getCorner(moved.triangle, (moved.corner + i) % 3)];
        return isNearSource(sum / 3.0);
    });
}

// The closest of the moved triangles, with the moved corner first.
bool SampleTracker::findTriangle(Sample& sample, const Vector3& p, const Channels* pColor) const {
    Foot best;
    const CollapseMesh::Moved* pBest = nullptr;
    for (const CollapseMesh::Moved& moved : mesh.getMoved()) {
        Foot foot;
        findFoot(source.vPos[sample.vertex], p, mesh.vPos[mesh.getCorner(moved.triangle, (moved.corner + 1) % 3)],
                 mesh.vPos[mesh.getCorner(moved.triangle, (moved.corner + 2) % 3)], foot);
        if (!(foot.sqDistance < best.sqDistance)) continue;
        best = foot;
        pBest = &moved;
    }
    if (!pBest || !(best.sqDistance <= maxSq)) return false;
    sample.triangle = pBest->triangle;
    return !pColors || keepsColor(sample, *pBest, best, pColor);
}

bool SampleTracker::keepsColor(const Sample& sample, const CollapseMesh::Moved& moved, const Foot& foot,
                               const Channels* pColor) const {
    const std::uint32_t a = mesh.getCorner(moved.triangle, (moved.corner + 1) % 3);
    const std::uint32_t b = mesh.getCorner(moved.triangle, (moved.corner + 2) % 3);
    if (!pSourceColors->vHas[sample.vertex] || !pColor || !pColors->vHas[a] || !pColors->vHas[b]) return true;
    for (std::size_t i = 0; i < 4; ++i) {
        const double there = foot.weights[0] * (*pColor)[i] + foot.weights[1] * pColors->vChannels[a][i] +
                             foot.weights[2] * pColors->vChannels[b][i];
        if (std::abs(there - pSourceColors->vChannels[sample.vertex][i]) > maxColorStep) return false;
    }
    return true;
}

// By way of the nearest of the old vertices around.
bool SampleTracker::isNearSource(const Vector3& p) const {
    std::uint32_t nearest = u;
    double sqNearest = difference(source.vPos[u], p).sqLength();
    const auto take = [&](std::uint32_t vertex) {
        const double sq = difference(source.vPos[vertex], p).sqLength();
        if (!(sq < sqNearest)) return;
        sqNearest = sq;
        nearest = vertex;
    };
    take(v);
    for (const Sample& sample : vSamples) take(sample.vertex);
    return sqNearest <= maxSq || source.walkFrom(nearest, p, maxSq).sqDistance <= maxSq;
}

void SampleTracker::follow() {
    const auto forget = [&](std::uint32_t triangle) { vFirst[triangle] = none; };
    for (const std::uint32_t triangle : mesh.getDying()) forget(triangle);
    for (const CollapseMesh::Moved& moved : mesh.getMoved()) forget(moved.triangle);
    for (const Sample& sample : vSamples) {
        vNext[sample.vertex] = vFirst[sample.triangle];
        vFirst[sample.triangle] = sample.vertex;
    }
}

}  // namespace QUOR_ZEF
