#include "handles/heldOpen.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include "geometry/freeFunctions.h"
#include "handles/shortLoops.h"

namespace QUOR_ZEF {

namespace {

// All in cells.
constexpr double nearVertex = 0.5;   // from a vertex of the loop to a point that it may be a sample of
constexpr double height = 1.0;       // of the space on either side of the loop that is looked at
constexpr double rim = 0.2;          // beside the loop, where its own points are
constexpr double leastInside = 0.7;  // area that a point would be found in, if there was a sheet
constexpr double fewPoints = 0.5;    // per square cell; a sheet has one at least

// The loop seen along its axis.
class FlatLoop {
public:
    explicit FlatLoop(const std::vector<Point3>& vLoop) : middle(middleOf(vLoop)) {
        Vector3 twice;
        for (std::size_t i = 0; i < vLoop.size(); ++i) {
            const Point3& next = vLoop[(i + 1) % vLoop.size()];
            twice += cross(vLoop[i] - middle, next - middle);
            length += (next - vLoop[i]).length();
        }
        area = 0.5 * twice.length();
        axis = normalize(twice);
        for (const Point3& p : vLoop) vFlat.push_back(flatten(p));
    }

    double heightOf(const Point3& p) const { return std::abs(axis * (p - middle)); }
    // From what is inside to the loop; 0 outside.
    double depthOf(const Point3& p) const {
        const Vector3 place = flatten(p);
        double nearest = std::numeric_limits<double>::infinity(), turn = 0.0;
        for (std::size_t i = 0; i < vFlat.size(); ++i) {
            const Vector3 a = vFlat[i] - place, b = vFlat[(i + 1) % vFlat.size()] - place, way = b - a;
            const double share = way.sqLength() > 0.0 ? std::clamp(-(a * way) / way.sqLength(), 0.0, 1.0) : 0.0;
            nearest = std::min(nearest, (a + way * share).length());
            turn += std::atan2(cross(a, b) * axis, a * b);
        }
        return std::abs(turn) > M_PI ? nearest : 0.0;
    }
    // Of what is deeper, about.
    double areaDeeperThan(double depth) const { return std::max(0.0, area - depth * length + M_PI * depth * depth); }

private:
    const Point3 middle;
    Vector3 axis;
    double length = 0.0, area = 0.0;
    std::vector<Vector3> vFlat;

    Vector3 flatten(const Point3& p) const {
        const Vector3 way = p - middle;
        return way - axis * (axis * way);
    }
};

bool arePointsAlong(const std::vector<Point3>& vLoop, std::span<const Point3> vPoints, double cellSize) {
    const auto isSample = [&](const Point3& vertex) {
        return std::ranges::any_of(vPoints,
                                   [&](const Point3& p) { return (p - vertex).length() <= nearVertex * cellSize; });
    };
    return 2 * std::ranges::count_if(vLoop, isSample) >= static_cast<std::ptrdiff_t>(vLoop.size());
}

}  // namespace

bool isHeldOpen(const std::vector<Point3>& vLoop, std::span<const Point3> vPoints, double cellSize) {
    const FlatLoop flat(vLoop);
    const double inside = flat.areaDeeperThan(rim * cellSize) / (cellSize * cellSize);
    if (inside < leastInside || !arePointsAlong(vLoop, vPoints, cellSize)) return false;
    const auto numInside = std::ranges::count_if(vPoints, [&](const Point3& p) {
        return flat.heightOf(p) <= height * cellSize && flat.depthOf(p) > rim * cellSize;
    });
    return static_cast<double>(numInside) <= fewPoints * inside;
}

}  // namespace QUOR_ZEF
