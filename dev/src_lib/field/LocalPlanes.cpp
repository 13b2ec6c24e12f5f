#include "field/LocalPlanes.h"

#include <cmath>

#include "geometry/freeFunctions.h"
#include "grid/codeSets.h"

namespace QUOR_ZEF {

namespace {

// Sums over differences to a point near by, and over their products.
struct Moments {
    double num = 0.0, x = 0.0, y = 0.0, z = 0.0;
    double xx = 0.0, xy = 0.0, xz = 0.0, yy = 0.0, yz = 0.0, zz = 0.0;

    void add(const Vector3& d) {
        num += 1.0;
        x += d.vx;
        y += d.vy;
        z += d.vz;
        xx += d.vx * d.vx;
        xy += d.vx * d.vy;
        xz += d.vx * d.vz;
        yy += d.vy * d.vy;
        yz += d.vy * d.vz;
        zz += d.vz * d.vz;
    }
    std::optional<Vector3> normal() const {
        Vector3 v;
        const bool bOK = normalFromProducts(xx - x * x / num, xy - x * y / num, xz - x * z / num, yy - y * y / num,
                                            yz - y * z / num, zz - z * z / num, v);
        return bOK ? std::optional(v) : std::nullopt;
    }
};

}  // namespace

LocalPlanes::LocalPlanes(const std::vector<std::pair<uint64, Point3>>& vRCDPoint)
    : vPoints(vRCDPoint), blocks(codesOf(vRCDPoint)) {}

std::optional<Vector3> LocalPlanes::normalAt(uint64 rcd) const {
    const Point3& centre = sampleOf(rcd);
    const auto forEachAround = [&](uint64 cell, const auto& fn) {
        blocks.forEachInMask(cell, blocks.mask27(cell), [&](std::uint32_t index, int) { fn(vPoints[index]); });
    };
    Moments moments;
    forEachAround(rcd, [&](const auto& between) {
        forEachAround(between.first, [&](const auto& pair) { moments.add(pair.second - centre); });
    });
    return moments.normal();
}

std::optional<double> LocalPlanes::steepness(uint64 rcd, uint64 other) const {
    const std::optional<Vector3> normal = normalAt(rcd);
    if (!normal) return std::nullopt;
    return std::abs(normalize(sampleOf(other) - sampleOf(rcd)) * *normal);
}

}  // namespace QUOR_ZEF
