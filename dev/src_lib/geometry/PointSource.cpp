#include "geometry/PointSource.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace QUOR_ZEF {

PointSource::PointSource(std::span<const Point3> points) : num(points.size()) {
    if (points.empty()) return;
    const Point3& first = points.front();
    pXYZ = &first.px;
    pColors = &first.r;
    pHasColor = &first.bHasColor;
    stride = sizeof(Point3) / sizeof(double);
    colorStride = sizeof(Point3);
}

PointSource::PointSource(const PointView& view)
    : pXYZ(view.xyz), pColors(view.colors), num(view.count), stride(view.stride), colorStride(view.colorStride) {}

bool PointSource::isFinite(std::size_t i) const {
    const double* const p = pXYZ + i * stride;
    return std::isfinite(p[0]) && std::isfinite(p[1]) && std::isfinite(p[2]);
}

std::size_t PointSource::keepFinite(std::size_t groupSize) {
    std::size_t numFinite = 0;
    while (numFinite < num && isFinite(numFinite)) ++numFinite;
    if (numFinite == num) return 0;
    bAll = false;
    vCounting.reserve(num);
    for (std::size_t i = 0; i < num; i += groupSize) {
        const std::size_t end = std::min(i + groupSize, num);
        bool bFinite = true;
        for (std::size_t k = i; k < end; ++k) bFinite = bFinite && isFinite(k);
        for (std::size_t k = i; k < end && bFinite; ++k) vCounting.push_back(k);
    }
    return num - vCounting.size();
}

void PointSource::leaveOut(std::span<const std::size_t> vPositions) {
    if (vPositions.empty()) return;
    if (bAll) {
        vCounting.resize(num);
        std::iota(vCounting.begin(), vCounting.end(), std::size_t{0});
        bAll = false;
    }
    std::size_t to = 0, next = 0;
    for (std::size_t i = 0; i < vCounting.size(); ++i) {
        if (next < vPositions.size() && vPositions[next] == i)
            ++next;
        else
            vCounting[to++] = vCounting[i];
    }
    vCounting.resize(to);
}

}  // namespace QUOR_ZEF
