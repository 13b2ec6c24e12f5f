#include "density/surroundings.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "geometry/symmetricEigen.h"
#include "parallel/parallelTransform.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t minChunk = 256;
constexpr std::size_t numNeighbours = 24;
constexpr std::size_t spacingRank = 6;

double distanceToPlane(const PointGrid& grid, std::uint32_t point,
                       const std::vector<NeighbourSearch::Neighbour>& vNear) {
    const Point3& p = grid[point];
    Vector3 toMean;
    for (const auto& near : vNear) toMean += grid[near.point] - p;
    toMean /= static_cast<double>(vNear.size());
    ProductSums sums;
    for (const auto& near : vNear) sums.add(grid[near.point] - p - toMean);
    return std::abs(getEigen(sums).vectors[0] * toMean);
}

double quantile(std::vector<double>& vValues, double share) {
    const auto at = static_cast<std::ptrdiff_t>(share * static_cast<double>(vValues.size() - 1));
    std::nth_element(vValues.begin(), vValues.begin() + at, vValues.end());
    return vValues[static_cast<std::size_t>(at)];
}

}  // namespace

Surroundings measureSurroundings(const PointGrid& grid, std::size_t maxSampled) {
    const std::size_t num = std::min<std::size_t>(grid.size(), maxSampled);
    std::vector<double> vSpacing(num, -1.0), vStray(num, -1.0);
    parallelChunks(num, minChunk, [&](std::size_t begin, std::size_t end) {
        NeighbourSearch search(grid);
        for (std::size_t k = begin; k < end; ++k) {
            const auto point = static_cast<std::uint32_t>(k * grid.size() / num);
            const auto& vNear = search.find(point, numNeighbours);
            if (vNear.size() < numNeighbours) continue;
            vSpacing[k] = std::sqrt(vNear[spacingRank - 1].sqDistance);
            vStray[k] = distanceToPlane(grid, point, vNear);
        }
    });
    const auto isMissing = [](double value) { return value < 0.0; };
    std::erase_if(vSpacing, isMissing);
    std::erase_if(vStray, isMissing);
    if (vSpacing.empty()) return {{-1.0, -1.0, -1.0}, -1.0};
    return {{quantile(vSpacing, 0.05), quantile(vSpacing, 0.5), quantile(vSpacing, 0.95)}, quantile(vStray, 0.5)};
}

}  // namespace QUOR_ZEF
