#include "simplify/SurfaceDistance.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <utility>

#include "parallel/parallelTransform.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t minTriangles = 1'000;

}  // namespace

SurfaceDistance::SurfaceDistance(const FanSurface& from_, const FanSurface& to_, std::vector<std::uint32_t> vNear_,
                                 double gridWidth_, double sqKnown, double sqLimit)
    : from(from_), to(to_), vNear(std::move(vNear_)), gridWidth(gridWidth_), tree(to), vBounds(from.numTriangles()) {
    sqEnough = std::min(sqKnown, sqLimit);  // so that few samples are looked up
    sqEnough = std::min(std::max(sqKnown, reachedBySome()), sqLimit);
    parallelChunks(vBounds.size(), minTriangles, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) vBounds[i] = boundOf(static_cast<std::uint32_t>(i));
    });
}

// f(point, the corner that it is nearest to, and not crowded if another one is not). What triangles have in common
// comes with one of them only.
template <class F>
void SurfaceDistance::forEachPoint(std::uint32_t triangle, F&& f) const {
    const Vector3 &a = from.corner(triangle, 0), &b = from.corner(triangle, 1), &c = from.corner(triangle, 2);
    const std::uint32_t* const k = &from.indices[3 * std::size_t{triangle}];
    bool bFirstAt[3], bFirstAtSide[3];
    double handicap[3];
    for (std::uint32_t i = 0; i < 3; ++i) {
        handicap[i] = to.isCrowded(vNear[k[i]]) ? 1.0 : 0.0;
        bFirstAt[i] = from.fan(k[i]).front() == triangle;
        bFirstAtSide[i] = from.isFirstAtSide(triangle, i);
    }
    forEachGridPoint(a, b, c, gridWidth, [&](double wa, double wb, double wc) {
        const double w[3] = {wa, wb, wc};
        for (std::size_t i = 0; i < 3; ++i) {
            if (w[i] == 1.0 ? !bFirstAt[i]
                            : w[i] == 0.0 && !bFirstAtSide[(i + 1) % 3] && wa != 1.0 && wb != 1.0 && wc != 1.0)
                return;
        }
        const double fitness[3] = {wa - handicap[0], wb - handicap[1], wc - handicap[2]};
        f(weightedMean(a, b, c, wa, wb, wc), k[std::max_element(fitness, fitness + 3) - fitness]);
    });
}

// Where a walk ends, others begin at the corners of the triangle there: whoever does
// without a look at the whole is much faster.
double SurfaceDistance::walk(std::uint32_t vertex, const Vector3& p, double sqNearEnough) const {
    Foot foot = to.walkFrom(vertex, p, sqNearEnough);
    for (bool bCloser = true; bCloser && foot.sqDistance > sqNearEnough;) {
        bCloser = false;
        const std::uint32_t triangle = foot.triangle;
        for (std::size_t i = 0; i < 3; ++i) {
            const Foot other = to.walkFrom(to.indices[3 * std::size_t{triangle} + i], p, sqNearEnough);
            if (!(other.sqDistance < foot.sqDistance)) continue;
            foot = other;
            bCloser = true;
        }
    }
    return foot.sqDistance;
}

double SurfaceDistance::boundOf(std::uint32_t triangle) const {
    double bound = sqEnough;
    forEachPoint(triangle, [&](const Vector3& p, std::uint32_t vertex) {
        bound = std::max(bound, walk(vNear[vertex], p, bound));
    });
    return bound;
}

// The foot of the farthest point, looked up as far as walking may be wrong; none is
// farther than sqAtLeast if that is what it says.
Foot SurfaceDistance::findFarthest(std::uint32_t triangle, double sqAtLeast) const {
    Foot farthest;
    farthest.sqDistance = sqAtLeast;
    forEachPoint(triangle, [&](const Vector3& p, std::uint32_t vertex) {
        Foot foot = to.walkFrom(vNear[vertex], p, farthest.sqDistance);
        if (!(foot.sqDistance > farthest.sqDistance)) return;
        tree.findCloser(p, foot);
        if (foot.sqDistance > farthest.sqDistance) farthest = foot;
    });
    return farthest;
}

// A distance that some point has, probably not much less than the largest one: most
// walks may end where they are within that.
double SurfaceDistance::reachedBySome() const {
    constexpr std::uint32_t numSamples = 4'000;
    constexpr std::size_t numLookedUp = 20;
    std::vector<std::pair<double, std::uint32_t>> vSamples;
    for (std::uint32_t i = 0; i < from.numTriangles(); i += 1 + from.numTriangles() / numSamples)
        vSamples.emplace_back(boundOf(i), i);
    const std::size_t num = std::min(numLookedUp, vSamples.size());
    const auto end = vSamples.begin() + static_cast<std::ptrdiff_t>(num);
    std::partial_sort(vSamples.begin(), end, vSamples.end(), std::greater<>());
    double sqReached = 0.0;
    for (std::size_t i = 0; i < num; ++i) sqReached = findFarthest(vSamples[i].second, sqReached).sqDistance;
    return sqReached;
}

// The largest bounds are looked up, until the next one is no larger than what was
// found.
double SurfaceDistance::findLargestSq() const {
    std::vector<std::pair<double, std::uint32_t>> heap;
    for (std::uint32_t i = 0; i < vBounds.size(); ++i)
        if (vBounds[i] > sqEnough) heap.emplace_back(vBounds[i], i);
    std::make_heap(heap.begin(), heap.end());
    double sqLargest = sqEnough;
    while (!heap.empty() && heap.front().first > sqLargest) {
        sqLargest = findFarthest(heap.front().second, sqLargest).sqDistance;
        std::pop_heap(heap.begin(), heap.end());
        heap.pop_back();
    }
    return sqLargest;
}

std::vector<SurfaceDistance::Excess> SurfaceDistance::findBeyond(double sqLimit) const {
    std::vector<Excess> vExcess;
    for (std::uint32_t i = 0; i < vBounds.size(); ++i) {
        if (!(vBounds[i] > sqLimit)) continue;
        const Foot foot = findFarthest(i, sqLimit);
        if (foot.sqDistance > sqLimit) vExcess.push_back({i, foot.triangle});
    }
    return vExcess;
}

}  // namespace QUOR_ZEF
