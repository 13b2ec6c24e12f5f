#include "view/Canvas.h"

#include <algorithm>
#include <limits>

#include "view/BandList.h"

namespace QUOR_ZEF {

namespace {

constexpr float farAway = -std::numeric_limits<float>::infinity();

std::int64_t middleOf(std::int32_t sample) {
    return std::int64_t{sample} * Spot::unit + Spot::unit / 2;
}

// The side of a triangle from a to b. Above or at 0 inside, whole numbers, so that a sample
// belongs to one of two triangles that share the side.
struct Side {
    std::int64_t stepX, stepY, start;

    Side(const Spot& a, const Spot& b)
        : stepX(std::int64_t{a.y} - b.y), stepY(std::int64_t{b.x} - a.x), start(-stepX * a.x - stepY * a.y) {
        const bool bTopLeft = stepX > 0 || (stepX == 0 && stepY > 0);
        if (!bTopLeft) --start;
    }
    std::int64_t at(std::int64_t x, std::int64_t y) const { return start + stepX * x + stepY * y; }
};

}  // namespace

Canvas::Canvas(std::int32_t width_, std::int32_t numRows_)
    : width(width_),
      numRows(numRows_),
      vNumbers(static_cast<std::size_t>(width) * static_cast<std::size_t>(numRows)),
      vDepths(vNumbers.size()) {}

void Canvas::start(std::int32_t firstRow_) {
    firstRow = firstRow_;
    std::fill(vNumbers.begin(), vNumbers.end(), nothing);
    std::fill(vDepths.begin(), vDepths.end(), farAway);
}

void Canvas::put(std::int32_t column, std::int32_t row, float depth, std::uint32_t number) {
    const std::size_t i = at(column, row);
    if (depth <= vDepths[i]) return;
    vDepths[i] = depth;
    vNumbers[i] = number;
}

void Canvas::drawTriangle(std::uint32_t number, const std::array<Spot, 3>& spots) {
    const Spot& a = spots[0];
    const std::int64_t area = (std::int64_t{spots[1].x} - a.x) * (std::int64_t{spots[2].y} - a.y) -
                              (std::int64_t{spots[1].y} - a.y) * (std::int64_t{spots[2].x} - a.x);
    if (area == 0) return;
    const Spot &b = spots[area > 0 ? 1 : 2], &c = spots[area > 0 ? 2 : 1];
    const SampleRange columns(std::max(std::min({a.x, b.x, c.x}), 0), std::max({a.x, b.x, c.x}));
    const SampleRange rows(std::min({a.y, b.y, c.y}), std::max({a.y, b.y, c.y}));
    const auto size = static_cast<double>(area > 0 ? area : -area);
    const double dzB = double{b.z} - a.z, dzC = double{c.z} - a.z;
    const double zPerX = (dzB * (c.y - a.y) - dzC * (b.y - a.y)) / size;
    const double zPerY = (dzC * (b.x - a.x) - dzB * (c.x - a.x)) / size;
    const float low = std::min({a.z, b.z, c.z}), high = std::max({a.z, b.z, c.z});
    const Side ab(a, b), bc(b, c), ca(c, a);
    const std::int32_t lastColumn = std::min(columns.last, width - 1);
    const std::int32_t lastRow = std::min(rows.last, firstRow + numRows - 1);
    for (std::int32_t row = std::max(rows.first, firstRow); row <= lastRow; ++row) {
        const std::int64_t x = middleOf(columns.first), y = middleOf(row);
        std::int64_t inAB = ab.at(x, y), inBC = bc.at(x, y), inCA = ca.at(x, y);
        for (std::int32_t column = columns.first; column <= lastColumn; ++column) {
            if ((inAB | inBC | inCA) >= 0) {
                const double z =
                    a.z + zPerX * static_cast<double>(middleOf(column) - a.x) + zPerY * static_cast<double>(y - a.y);
                put(column, row, std::clamp(static_cast<float>(z), low, high), number);
            }
            inAB += ab.stepX * Spot::unit;
            inBC += bc.stepX * Spot::unit;
            inCA += ca.stepX * Spot::unit;
        }
    }
}

void Canvas::drawStroke(std::uint32_t number, const Stroke& stroke) {
    const Spot &a = stroke.a, &b = stroke.b;
    const SampleRange columns(std::max(std::min(a.x, b.x) - stroke.radius, 0), std::max(a.x, b.x) + stroke.radius);
    const SampleRange rows(std::min(a.y, b.y) - stroke.radius, std::max(a.y, b.y) + stroke.radius);
    const double dx = b.x - a.x, dy = b.y - a.y, sqLength = dx * dx + dy * dy;
    const double sqRadius = static_cast<double>(stroke.radius) * stroke.radius;
    const std::int32_t lastColumn = std::min(columns.last, width - 1);
    const std::int32_t lastRow = std::min(rows.last, firstRow + numRows - 1);
    for (std::int32_t row = std::max(rows.first, firstRow); row <= lastRow; ++row) {
        for (std::int32_t column = columns.first; column <= lastColumn; ++column) {
            const auto x = static_cast<double>(middleOf(column) - a.x), y = static_cast<double>(middleOf(row) - a.y);
            const double along = sqLength > 0.0 ? std::clamp((x * dx + y * dy) / sqLength, 0.0, 1.0) : 0.0;
            const double offX = x - along * dx, offY = y - along * dy;
            if (offX * offX + offY * offY > sqRadius) continue;
            const double z = a.z + along * (double{b.z} - a.z);
            put(column, row, static_cast<float>(z) + stroke.nearer, number);
        }
    }
}

}  // namespace QUOR_ZEF
