#include "refit/CoordinateSteps.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

#include "frame/tools.h"
#include "geometry/byPlace.h"

namespace QUOR_ZEF {

CoordinateSteps::CoordinateSteps(const PointSource& points, double spacing) : least(spacing) {
    constexpr std::size_t maxSampled = 20'000;
    constexpr std::size_t fewest = 16;  // values: less are a few planes
    constexpr std::size_t pointsPerValue = 20, timesOfOthers = 10;
    std::array<std::vector<double>, 3> aValues;
    const std::vector<std::size_t> vSampled = drawByPlace(points, maxSampled);
    for (const std::size_t position : vSampled) {
        const Point3 p = points[position];
        aValues[0].push_back(p.px);
        aValues[1].push_back(p.py);
        aValues[2].push_back(p.pz);
    }
    for (std::vector<double>& v : aValues) {
        std::sort(v.begin(), v.end());
        v.erase(std::unique(v.begin(), v.end()), v.end());
    }
    for (std::size_t i = 0; i < 3; ++i) {
        const std::size_t numOthers = std::min(aValues[(i + 1) % 3].size(), aValues[(i + 2) % 3].size());
        const std::size_t numValues = aValues[i].size();
        if (numValues < fewest || pointsPerValue * numValues > vSampled.size() || timesOfOthers * numValues > numOthers)
            continue;
        axis = static_cast<int>(i);
        vValues = std::move(aValues[i]);
        return;
    }
}

CoordinateSteps::CoordinateSteps(int axis_, std::vector<double> vValues_, double spacing)
    : axis(axis_), vValues(std::move(vValues_)), least(spacing) {
    ASSEX(axis<3 && (axis<0 || vValues.size()>2));
}

double CoordinateSteps::deviationAt(const Vector3& place, const FaceNormal& normal) const {
    if (!isFound()) return 0.0;
    const double value = axis == 0 ? place.vx : axis == 1 ? place.vy : place.vz;
    const double share = std::abs(axis == 0 ? normal.x : axis == 1 ? normal.y : normal.z);
    const auto above = std::upper_bound(vValues.begin() + 1, vValues.end() - 1, value);
    const double step = *above - *(above - 1);
    // A value is anywhere within its step with the same probability.
    return step < least ? 0.0 : share * step / std::sqrt(12.0);
}

}  // namespace QUOR_ZEF
