#include "sides/Picture.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace QUOR_ZEF {

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

// Adds one from the first to the last that is filled, num of them at every step.
void markBetween(const std::uint8_t* pFilled, std::uint8_t* pBetween, std::size_t num, std::size_t step) {
    std::size_t first = num, last = 0;
    for (std::size_t i = 0; i < num; ++i) {
        if (!pFilled[i * step]) continue;
        first = std::min(first, i);
        last = i;
    }
    for (std::size_t i = first; i < last; ++i) ++pBetween[i * step];
}

}  // namespace

std::size_t Picture::add(const Vector3& way, double distance) {
    const auto axis = static_cast<std::size_t>(way.getMaxAbsIndex());
    const std::array<double, 3> c = {way.vx, way.vy, way.vz};
    const auto num = static_cast<double>(numPerFace);
    // The place itself may be seen, as where there is one triangle alone.
    const double scale = c[axis] != 0.0 ? 0.5 * num / std::abs(c[axis]) : 0.0;
    const auto indexOf = [&](double value) {
        return static_cast<std::size_t>(std::clamp(value * scale + 0.5 * num, 0.0, num - 1.0));
    };
    const std::size_t face = 2 * axis + (c[axis] < 0.0 ? 1 : 0);
    const std::size_t bin = indexOf(c[(axis + 1) % 3]) * numPerFace + indexOf(c[(axis + 2) % 3]);
    if (vNearest[face].empty()) vNearest[face].assign(numPerFace * numPerFace, infinity);
    double& nearest = vNearest[face][bin];
    nearest = std::min(nearest, distance);
    return face * numPerFace * numPerFace + bin;
}

bool Picture::isHidden(std::size_t bin, double before) const {
    const std::vector<double>& vFace = vNearest[bin / (numPerFace * numPerFace)];
    bin %= numPerFace * numPerFace;
    if (vFace[bin] >= before) return false;
    const auto isInSight = [&](std::size_t other) { return vFace[other] >= before && vFace[other] < infinity; };
    const std::size_t x = bin % numPerFace, y = bin / numPerFace;
    return !(x > 0 && isInSight(bin - 1)) && !(x + 1 < numPerFace && isInSight(bin + 1)) &&
           !(y > 0 && isInSight(bin - numPerFace)) && !(y + 1 < numPerFace && isInSight(bin + numPerFace));
}

double Picture::shareOfGaps() const {
    const std::size_t num = numPerFace / 2;  // sparse samples leave single bins empty
    double numFilled = 0.0, numGaps = 0.0;
    for (const std::vector<double>& vFace : vNearest) {
        if (vFace.empty()) continue;
        std::vector<std::uint8_t> vFilled(num * num), vBetween(num * num);
        for (std::size_t y = 0; y < 2 * num; ++y)
            for (std::size_t x = 0; x < 2 * num; ++x)
                if (vFace[y * numPerFace + x] < infinity) vFilled[y / 2 * num + x / 2] = 1;
        for (std::size_t i = 0; i < num; ++i) {
            markBetween(vFilled.data() + i * num, vBetween.data() + i * num, num, 1);
            markBetween(vFilled.data() + i, vBetween.data() + i, num, num);
        }
        for (std::size_t i = 0; i < vFilled.size(); ++i) {
            numFilled += vFilled[i];
            numGaps += !vFilled[i] && vBetween[i] == 2 ? 1.0 : 0.0;
        }
    }
    return numGaps > 0.0 ? numGaps / (numFilled + numGaps) : 0.0;
}

}  // namespace QUOR_ZEF
