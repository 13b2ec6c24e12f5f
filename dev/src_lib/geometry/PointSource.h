#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "zef/Point3.h"
#include "zef/PointView.h"

namespace QUOR_ZEF {

// The points of an input where they lie, whatever their layout, and which of them
// count. A small value but for the list of those that count; borrows the points.
// Reading from several threads is safe.
class PointSource {
public:
    PointSource() = default;
    PointSource(std::span<const Point3> points);
    PointSource(const std::vector<Point3>& vPoints) : PointSource(std::span(vPoints)) {}
    PointSource(const PointView& view);

    std::size_t size() const { return bAll ? num : vCounting.size(); }
    bool empty() const { return size() == 0; }
    Point3 operator[](std::size_t i) const { return at(bAll ? i : vCounting[i]); }

    // Leaves out the points that are not finite, or the groups of so many of which one
    // is not. Returns how many points that are. O(n).
    std::size_t keepFinite(std::size_t groupSize);
    // Leaves out the points at these positions, which ascend. O(n).
    void leaveOut(std::span<const std::size_t> vPositions);

private:
    const double* pXYZ = nullptr;
    const std::uint8_t* pColors = nullptr;  // null: none has colour
    const bool* pHasColor = nullptr;        // null: all have, if there are colours
    std::size_t num = 0;
    std::size_t stride = 0, colorStride = 0;  // in doubles, in bytes
    bool bAll = true;
    std::vector<std::size_t> vCounting;  // indices of those that count, unless all do

    bool isFinite(std::size_t i) const;
    Point3 at(std::size_t i) const {
        const double* const p = pXYZ + i * stride;
        Point3 point(p[0], p[1], p[2]);
        if (pColors) setColor(point, i);
        return point;
    }
    void setColor(Point3& point, std::size_t i) const {
        const std::uint8_t* const c = pColors + i * colorStride;
        point.setColor(c[0], c[1], c[2], c[3]);
        if (pHasColor) point.bHasColor = pHasColor[i * colorStride];
    }
};

}  // namespace QUOR_ZEF
