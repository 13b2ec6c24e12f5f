#include "view/Canvas.h"

#include <algorithm>
#include <limits>
#include <utility>

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

// Columns that hold what lies within the radius of the convex hull of the spots in these rows, and
// maybe one more on each side.
SampleRange columnsIn(const SampleWindow& window, std::span<const Spot> spots, std::int32_t radius) {
    const auto low = static_cast<double>(middleOf(window.firstRow) - radius);
    const auto high = static_cast<double>(middleOf(window.lastRow) + radius);
    double left = std::numeric_limits<double>::infinity(), right = -left;
    for (std::size_t i = 0; i < spots.size(); ++i) {
        const Spot &a = spots[i], &b = spots[(i + 1) % spots.size()];
        if (std::max(a.y, b.y) < low || std::min(a.y, b.y) > high) continue;
        for (const Spot* const pEnd : {&a, &b}) {
            const double y = std::clamp(double(pEnd->y), low, high);
            const double x = a.y == b.y ? pEnd->x : a.x + (y - a.y) / (b.y - double(a.y)) * (b.x - double(a.x));
            left = std::min(left, x);
            right = std::max(right, x);
        }
    }
    if (left > right) return {1, 0};
    constexpr double rounding = Spot::unit;
    return {static_cast<std::int32_t>(left - radius - rounding), static_cast<std::int32_t>(right + radius + rounding)};
}

// Counter-clockwise in a picture with y down, and not without area.
class TriangleOutline {
public:
    TriangleOutline(const std::array<Spot, 3>& spots_, std::int64_t area)
        : spots(spots_), a(spots[0]), b(spots[1]), c(spots[2]), ab(a, b), bc(b, c), ca(c, a) {
        const double dzB = double{b.z} - a.z, dzC = double{c.z} - a.z;
        const auto size = static_cast<double>(area);
        zPerX = (dzB * (c.y - a.y) - dzC * (b.y - a.y)) / size;
        zPerY = (dzC * (b.x - a.x) - dzB * (c.x - a.x)) / size;
        low = std::min({a.z, b.z, c.z});
        high = std::max({a.z, b.z, c.z});
    }

    SampleWindow window() const {
        const SampleRange columns(std::min({a.x, b.x, c.x}), std::max({a.x, b.x, c.x}));
        const SampleRange rows(std::min({a.y, b.y, c.y}), std::max({a.y, b.y, c.y}));
        return {columns.first, columns.last, rows.first, rows.last};
    }
    SampleRange columnsIn(const SampleWindow& rows) const { return QUOR_ZEF::columnsIn(rows, spots, 0); }

    // No sample of the window is nearer: rounding keeps order.
    float nearestIn(const SampleWindow& window) const {
        return depthAt(middleOf(zPerX > 0.0 ? window.lastColumn : window.firstColumn),
                       middleOf(zPerY > 0.0 ? window.lastRow : window.firstRow));
    }

    // fn(column, row, depth)
    template <class Fn>
    void forEachSample(const SampleWindow& window, const Fn& fn) const {
        for (std::int32_t row = window.firstRow; row <= window.lastRow; ++row) {
            const std::int64_t x = middleOf(window.firstColumn), y = middleOf(row);
            std::int64_t inAB = ab.at(x, y), inBC = bc.at(x, y), inCA = ca.at(x, y);
            for (std::int32_t column = window.firstColumn; column <= window.lastColumn; ++column) {
                if ((inAB | inBC | inCA) >= 0) fn(column, row, depthAt(middleOf(column), y));
                inAB += ab.stepX * Spot::unit;
                inBC += bc.stepX * Spot::unit;
                inCA += ca.stepX * Spot::unit;
            }
        }
    }

private:
    const std::array<Spot, 3> spots;
    const Spot a, b, c;
    const Side ab, bc, ca;
    double zPerX, zPerY;
    float low, high;

    float depthAt(std::int64_t x, std::int64_t y) const {
        const double z = a.z + zPerX * static_cast<double>(x - a.x) + zPerY * static_cast<double>(y - a.y);
        return std::clamp(static_cast<float>(z), low, high);
    }
};

class StrokeOutline {
public:
    explicit StrokeOutline(const Stroke& stroke_)
        : stroke(stroke_),
          a(stroke.a),
          dx(stroke.b.x - a.x),
          dy(stroke.b.y - a.y),
          sqLength(dx * dx + dy * dy),
          sqRadius(static_cast<double>(stroke.radius) * stroke.radius) {}

    SampleWindow window() const {
        const auto [left, right] = std::minmax(a.x, stroke.b.x);
        const auto [top, bottom] = std::minmax(a.y, stroke.b.y);
        const SampleRange columns(left - stroke.radius, right + stroke.radius);
        const SampleRange rows(top - stroke.radius, bottom + stroke.radius);
        return {columns.first, columns.last, rows.first, rows.last};
    }
    SampleRange columnsIn(const SampleWindow& rows) const {
        return QUOR_ZEF::columnsIn(rows, std::array{a, stroke.b}, stroke.radius);
    }

    float nearestIn(const SampleWindow& window) const {
        const auto x = middleOf(dx * dz() > 0.0 ? window.lastColumn : window.firstColumn);
        const auto y = middleOf(dy * dz() > 0.0 ? window.lastRow : window.firstRow);
        return depthAt(alongAt(static_cast<double>(x - a.x), static_cast<double>(y - a.y)));
    }

    template <class Fn>
    void forEachSample(const SampleWindow& window, const Fn& fn) const {
        for (std::int32_t row = window.firstRow; row <= window.lastRow; ++row) {
            for (std::int32_t column = window.firstColumn; column <= window.lastColumn; ++column) {
                const auto x = static_cast<double>(middleOf(column) - a.x),
                           y = static_cast<double>(middleOf(row) - a.y);
                const double along = alongAt(x, y), offX = x - along * dx, offY = y - along * dy;
                if (offX * offX + offY * offY <= sqRadius) fn(column, row, depthAt(along));
            }
        }
    }

private:
    const Stroke stroke;
    const Spot a;
    const double dx, dy, sqLength, sqRadius;

    double dz() const { return double{stroke.b.z} - a.z; }
    double alongAt(double x, double y) const {
        return sqLength > 0.0 ? std::clamp((x * dx + y * dy) / sqLength, 0.0, 1.0) : 0.0;
    }
    float depthAt(double along) const { return static_cast<float>(a.z + along * dz()) + stroke.nearer; }
};

// fn(outline), unless there is nothing to be seen.
template <class Fn>
void withOutline(const Model& model, std::uint32_t number, const Fn& fn) {
    if (!model.isTriangle(number)) {
        fn(StrokeOutline(model.strokeOf(number)));
        return;
    }
    std::array<Spot, 3> s = model.spotsOf(number);
    const std::int64_t area = (std::int64_t{s[1].x} - s[0].x) * (std::int64_t{s[2].y} - s[0].y) -
                              (std::int64_t{s[1].y} - s[0].y) * (std::int64_t{s[2].x} - s[0].x);
    if (area < 0) std::swap(s[1], s[2]);
    if (area != 0) fn(TriangleOutline(s, area > 0 ? area : -area));
}

float nearestOf(const Model& model, std::uint32_t number) {
    if (model.isTriangle(number)) {
        const std::array<Spot, 3> s = model.spotsOf(number);
        return std::max({s[0].z, s[1].z, s[2].z});
    }
    const Stroke stroke = model.strokeOf(number);
    return std::max(stroke.a.z, stroke.b.z) + stroke.nearer;
}

}  // namespace

Canvas::Canvas(std::int32_t width_, std::int32_t numRows_)
    : width(width_),
      numRows(numRows_),
      numBlocksAcross((width + blockSize - 1) / blockSize),
      vNumbers(static_cast<std::size_t>(width) * static_cast<std::size_t>(numRows)),
      vDepths(vNumbers.size()) {}

void Canvas::start(std::int32_t firstRow_) {
    firstRow = firstRow_;
    std::fill(vNumbers.begin(), vNumbers.end(), nothing);
    std::fill(vDepths.begin(), vDepths.end(), farAway);
}

void Canvas::draw(const Model& model, std::span<const std::uint32_t> numbers) {
    constexpr std::size_t mostLooks = 32;  // at a sample, on average
    std::size_t numLooks = 0, i = 0;
    for (; i < numbers.size() && numLooks <= mostLooks * vDepths.size(); ++i) {
        const std::uint32_t number = numbers[i];
        withOutline(model, number, [&](const auto& outline) {
            const SampleWindow window = clipped(outline.window());
            numLooks += window.area();
            drawIn(window, number, outline);
        });
    }
    if (i < numbers.size()) drawNearestFirst(model, numbers.subspan(i));
}

void Canvas::drawNearestFirst(const Model& model, std::span<const std::uint32_t> numbers) {
    std::vector<std::pair<float, std::uint32_t>> vOrder;
    vOrder.reserve(numbers.size());
    for (const std::uint32_t number : numbers) vOrder.emplace_back(-nearestOf(model, number), number);
    std::sort(vOrder.begin(), vOrder.end());
    vFarthest.assign(static_cast<std::size_t>(numBlocksAcross) * static_cast<std::size_t>(numRows), farAway);
    for (const auto& [depth, number] : vOrder)
        withOutline(model, number, [&, n = number](const auto& outline) { drawInBlocks(n, outline); });
}

template <class Outline>
void Canvas::drawIn(const SampleWindow& window, std::uint32_t number, const Outline& outline) {
    outline.forEachSample(window,
                          [&](std::int32_t column, std::int32_t row, float depth) { put(column, row, depth, number); });
}

template <class Outline>
void Canvas::drawInBlocks(std::uint32_t number, const Outline& outline) {
    const SampleWindow window = clipped(outline.window());
    if (window.area() == 0) return;
    for (std::int32_t y = (window.firstRow - firstRow) / blockSize; firstRow + y * blockSize <= window.lastRow; ++y) {
        SampleWindow part = window;
        part.firstRow = std::max(window.firstRow, firstRow + y * blockSize);
        part.lastRow = std::min(window.lastRow, firstRow + y * blockSize + blockSize - 1);
        const SampleRange columns = outline.columnsIn(part);
        const std::int32_t first = std::max(window.firstColumn, columns.first);
        const std::int32_t last = std::min(window.lastColumn, columns.last);
        for (std::int32_t x = first / blockSize; x * blockSize <= last; ++x) {
            part.firstColumn = std::max(first, x * blockSize);
            part.lastColumn = std::min(last, x * blockSize + blockSize - 1);
            float& farthest = vFarthest[static_cast<std::size_t>(y * numBlocksAcross + x)];
            if (outline.nearestIn(part) < farthest) continue;
            drawIn(part, number, outline);
            farthest = farthestInBlock(x, y);
        }
    }
}

float Canvas::farthestInBlock(std::int32_t x, std::int32_t y) const {
    const SampleWindow block =
        clipped({x * blockSize, (x + 1) * blockSize - 1, firstRow + y * blockSize, firstRow + (y + 1) * blockSize - 1});
    float farthest = -farAway;
    for (std::int32_t row = block.firstRow; row <= block.lastRow; ++row)
        for (std::int32_t column = block.firstColumn; column <= block.lastColumn; ++column)
            farthest = std::min(farthest, depthAt(column, row));
    return farthest;
}

SampleWindow Canvas::clipped(const SampleWindow& window) const {
    return {std::max(window.firstColumn, 0), std::min(window.lastColumn, width - 1),
            std::max(window.firstRow, firstRow), std::min(window.lastRow, firstRow + numRows - 1)};
}

void Canvas::put(std::int32_t column, std::int32_t row, float depth, std::uint32_t number) {
    const std::size_t i = at(column, row);
    if (depth < vDepths[i] || (depth == vDepths[i] && number > vNumbers[i])) return;
    vDepths[i] = depth;
    vNumbers[i] = number;
}

}  // namespace QUOR_ZEF
