#include "simplify/NearestFeet.h"

#include <algorithm>

#include "parallel/parallelTransform.h"

namespace QUOR_ZEF {

NearestFeet::NearestFeet(const FanSurface& surface_) : surface(surface_), tree(surface) {
    tree.splitAll();
}

// The triangle next to the last point is near to this one. Points that are one are looked for once: in the
// middle of a sphere they would see all of it, each time.
void NearestFeet::findBlock(std::span<const Point3> points, std::span<Foot> feet) const {
    std::uint32_t last = 0;
    for (std::size_t i = 0; i < points.size(); ++i) {
        if (i > 0 && points[i].px == points[i - 1].px && points[i].py == points[i - 1].py &&
            points[i].pz == points[i - 1].pz) {
            feet[i] = feet[i - 1];
            continue;
        }
        const Vector3 p(points[i].px, points[i].py, points[i].pz);
        Foot foot;
        findFoot(p, surface.corner(last, 0), surface.corner(last, 1), surface.corner(last, 2), foot);
        foot.triangle = last;
        tree.findCloserIn(p, foot);
        last = foot.triangle;
        feet[i] = foot;
    }
}

void NearestFeet::find(std::span<const Point3> points, std::span<Foot> feet) const {
    // Each block begins anew, so that the cuts between threads decide nothing.
    constexpr std::size_t blockSize = 1024;
    parallelChunks((points.size() + blockSize - 1) / blockSize, 1, [&](std::size_t begin, std::size_t end) {
        for (std::size_t at = begin * blockSize; at < std::min(end * blockSize, points.size()); at += blockSize) {
            const std::size_t num = std::min(blockSize, points.size() - at);
            findBlock(points.subspan(at, num), feet.subspan(at, num));
        }
    });
}

}  // namespace QUOR_ZEF
