#include "density/surroundings.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "parallel/parallelTransform.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t minAsked = 256;

double quantile(std::vector<double>& vValues, double share) {
    const auto at = static_cast<std::ptrdiff_t>(share * static_cast<double>(vValues.size() - 1));
    std::nth_element(vValues.begin(), vValues.begin() + at, vValues.end());
    return vValues[static_cast<std::size_t>(at)];
}

}  // namespace

std::array<double, 3> measureLocalSpacings(const PointGrid& grid, std::size_t maxSampled) {
    const std::size_t num = std::min<std::size_t>(grid.size(), maxSampled);
    std::vector<double> vSpacing(num, -1.0);
    parallelChunks(num, minAsked, [&](std::size_t begin, std::size_t end) {
        NeighbourSearch search(grid);
        for (std::size_t k = begin; k < end; ++k) {
            const auto& vNear = search.find(static_cast<std::uint32_t>(k * grid.size() / num), spacingRank);
            if (vNear.size() == spacingRank) vSpacing[k] = std::sqrt(vNear.back().sqDistance);
        }
    });
    std::erase_if(vSpacing, [](double value) { return value < 0.0; });
    if (vSpacing.empty()) return {-1.0, -1.0, -1.0};
    return {quantile(vSpacing, 0.05), quantile(vSpacing, 0.5), quantile(vSpacing, 0.95)};
}

}  // namespace QUOR_ZEF
