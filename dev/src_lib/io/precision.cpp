#include "io/precision.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <vector>

namespace QUOR_ZEF {

namespace {

using Coords = std::array<double, 3>;

Coords coordsOf(const Point3& p) {
    return {p.px, p.py, p.pz};
}

// Of the finite points; zeros if there are none.
class Extent {
public:
    Coords low{}, high{};

    void add(const Point3& p) {
        if (!(std::isfinite(p.px) && std::isfinite(p.py) && std::isfinite(p.pz))) return;
        const Coords coords = coordsOf(p);
        if (bEmpty) low = high = coords;
        bEmpty = false;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            low[axis] = std::min(low[axis], coords[axis]);
            high[axis] = std::max(high[axis], coords[axis]);
        }
    }
    double longestSide() const { return std::max({high[0] - low[0], high[1] - low[1], high[2] - low[2]}); }
    double largestCoordinate(const Vector3& offset) const {
        const Coords less{offset.vx, offset.vy, offset.vz};
        double largest = 0.0;
        for (std::size_t axis = 0; axis < 3; ++axis)
            for (const double bound : {low[axis], high[axis]})
                largest = std::max(largest, std::abs(bound - less[axis]));
        return largest;
    }
    Vector3 middle() const {
        const double side = longestSide();
        const double power = side > 0.0 ? std::floor(std::log10(side)) : 0.0;
        // Tenths have no exact double, so that dividing gives rounder numbers than multiplying.
        const double step = std::pow(10.0, std::max(power, 0.0)), parts = std::pow(10.0, std::max(-power, 0.0));
        Coords offset{};
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const double half = (high[axis] - low[axis]) / 2;
            offset[axis] = std::round((low[axis] + half) / step * parts) * step / parts + 0.0;  // no -0
            if (!std::isfinite(offset[axis])) return {};
        }
        return {offset[0], offset[1], offset[2]};
    }

private:
    bool bEmpty = true;
};

// Half a unit in the last place of the float next to it.
double floatRounding(double coord) {
    using Float = std::numeric_limits<float>;
    if (!(coord > 0.0)) return 0.0;
    if (coord > static_cast<double>(Float::max())) return std::numeric_limits<double>::infinity();
    return std::ldexp(1.0, std::max(std::ilogb(coord), Float::min_exponent - 1) - Float::digits);
}

std::string roughText(double value) {
    constexpr int digits = 3;
    std::array<char, 40> chars{};
    char* const pEnd = chars.data() + chars.size();
    return {chars.data(), std::to_chars(chars.data(), pEnd, value, std::chars_format::general, digits).ptr};
}

std::string lossText(double rounding, double spacing) {
    return "up to " + roughText(rounding) + ", " + roughText(100.0 * rounding / spacing) + " % of the spacing";
}

constexpr double mostLost = 0.001;  // of the spacing, before something is done
constexpr double visible = 0.01;    // before that is told

}  // namespace

CoordinatePlan planCoordinates(std::span<const Point3> vPoints, double spacing, bool bHasDoubles,
                               const WriteOptions& options) {
    CoordinatePlan plan{options.precision == Precision::DOUBLE, options.offset, {}};
    if (plan.bDouble) return plan;
    Extent box;
    for (const Point3& p : vPoints) box.add(p);
    const double rounding = floatRounding(box.largestCoordinate(options.offset));
    // What is beyond floats is lost whatever the spacing, which is beyond doubles then, if it came from squares.
    if (std::isfinite(rounding) && (!(spacing > 0.0) || rounding <= mostLost * spacing)) return plan;
    if (options.precision == Precision::AUTO && bHasDoubles) {
        plan.bDouble = true;
        return plan;
    }
    const Vector3 middle = box.middle();
    const double shiftedRounding = floatRounding(box.largestCoordinate(middle));
    if (options.precision == Precision::AUTO && options.offset.isDegenerate() && shiftedRounding < rounding) {
        plan.offset = middle;
        plan.warning = "single precision would lose " + lossText(rounding, spacing) + ": the offset " +
                       offsetText(middle) + " is subtracted from all coordinates";
        if (shiftedRounding > visible * spacing) plan.warning += ", which leaves " + lossText(shiftedRounding, spacing);
    } else if (rounding > visible * spacing) {
        plan.warning = "single precision loses " + lossText(rounding, spacing) +
                       ": write doubles where the format has them, or subtract an offset";
    }
    return plan;
}

bool needsDoubles(const Point3& low, const Point3& high, double spacing) {
    const std::array corners = {low, high};
    return planCoordinates(corners, spacing, true, {}).bDouble;
}

// Some points may lie far off, such as those of lost echoes at the origin, so that a
// twentieth at either end of a sample does not count.
double roughSpacing(std::span<const Point3> vPoints) {
    constexpr std::size_t numSampled = 4000, endShare = 20;
    const std::size_t stride = vPoints.size() / numSampled + 1;
    double side = 0.0;
    std::vector<double> vCoords;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        vCoords.clear();
        for (std::size_t i = 0; i < vPoints.size(); i += stride) {
            const double coord = coordsOf(vPoints[i])[axis];
            if (std::isfinite(coord)) vCoords.push_back(coord);
        }
        if (vCoords.empty()) return 0.0;
        std::sort(vCoords.begin(), vCoords.end());
        const std::size_t numEnd = vCoords.size() / endShare;
        side = std::max(side, vCoords[vCoords.size() - 1 - numEnd] - vCoords[numEnd]);
    }
    return side / std::sqrt(static_cast<double>(vPoints.size()));
}

std::string offsetText(const Vector3& offset) {
    std::array<char, 100> text{};
    char* p = text.data();
    for (const double coord : {offset.vx, offset.vy, offset.vz}) {
        if (p != text.data()) *p++ = ' ';
        p = std::to_chars(p, text.data() + text.size(), coord).ptr;
    }
    return {text.data(), p};
}

WriteOptions settled(const WriteOptions& options, const CoordinatePlan& plan) {
    WriteOptions result = options;
    result.precision = plan.bDouble ? Precision::DOUBLE : Precision::SINGLE;
    result.offset = plan.offset;
    return result;
}

Vector3 middleOf(std::span<const Point3> points) {
    Extent box;
    for (const Point3& p : points) box.add(p);
    return box.middle();
}

Vector3 middleOf(const TriangleMesh& mesh) {
    Extent box;
    for (const std::uint32_t index : mesh.indices) box.add(mesh.vertices[index]);
    return box.middle();
}

}  // namespace QUOR_ZEF
