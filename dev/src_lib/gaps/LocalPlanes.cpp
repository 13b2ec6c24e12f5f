#include "gaps/LocalPlanes.h"

#include <cmath>

#include "geometry/freeFunctions.h"
#include "grid/codeSets.h"

namespace QUOR_ZEF {

LocalPlanes::LocalPlanes(const std::vector<std::pair<uint64, Point3>>& vRCDPoint)
    : vPoints(vRCDPoint), blocks(codesOf(vRCDPoint)) {}

std::optional<Vector3> LocalPlanes::normalAt(uint64 rcd) const {
    const Point3& centre = sampleOf(rcd);
    const auto forEachAround = [&](uint64 cell, const auto& fn) {
        blocks.forEachInMask(cell, blocks.mask27(cell), [&](std::uint32_t index, int) { fn(vPoints[index]); });
    };
    double num = 0.0;
    Vector3 sum;
    ProductSums sums;
    forEachAround(rcd, [&](const auto& between) {
        forEachAround(between.first, [&](const auto& pair) {
            const Vector3 d = pair.second - centre;
            sum += d;
            sums.add(d);
            num += 1.0;
        });
    });
    sums.centre(sum, num);
    Vector3 normal;
    return sums.getNormal(normal) ? std::optional(normal) : std::nullopt;
}

std::optional<double> LocalPlanes::steepness(uint64 rcd, uint64 other) const {
    const std::optional<Vector3> normal = normalAt(rcd);
    if (!normal) return std::nullopt;
    return std::abs(normalize(sampleOf(other) - sampleOf(rcd)) * *normal);
}

}  // namespace QUOR_ZEF
