#include "api/sparseParts.h"

#include <cstdint>

#include "parallel/parallelTransform.h"
#include "simplify/reduceSparse.h"
#include "store/CodeMap.h"

namespace QUOR_ZEF {

namespace {

// By vertex: the distance of the scan's points, in cells, if that is above minSpacing; else 0.
std::vector<float> getSpacings(const TriangleMesh& mesh, const SparseParts& parts, double minSpacing) {
    constexpr std::size_t minChunk = 4096;
    const double cell = parts.calc->getCellSize();
    CodeMap numbers(parts.vCells.size());
    for (std::size_t i = 0; i < parts.vCells.size(); ++i)
        if (parts.vCells[i].second > minSpacing * cell)
            numbers.insert(parts.vCells[i].first, static_cast<std::uint32_t>(i));
    std::vector<float> vSpacings(mesh.vertices.size());
    parallelChunks(vSpacings.size(), minChunk, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            const std::uint32_t number = numbers.find(parts.calc->getCCD(mesh.vertices[i]));
            if (number != CodeMap::npos) vSpacings[i] = static_cast<float>(parts.vCells[number].second / cell);
        }
    });
    return vSpacings;
}

}  // namespace

std::vector<float> getTriangleWeights(const TriangleMesh& mesh, const SparseParts& parts) {
    constexpr float fullSpacing = 2.0F;  // cells
    if (!parts.calc) return {};
    std::vector<float> vWeights = getSpacings(mesh, parts, fullSpacing);
    for (float& weight : vWeights) weight = weight > fullSpacing ? fullSpacing * fullSpacing / (weight * weight) : 1.0F;
    return vWeights;
}

std::size_t mergeSparseParts(TriangleMesh& mesh, const SparseParts& parts) {
    constexpr double minSpacing = 1.5;    // cells: below there is nothing to gain
    constexpr double longestEdge = 1.25;  // distances of the points
    constexpr double errorShare = 0.05;
    if (!parts.calc) return 0;
    std::vector<float> vLongest = getSpacings(mesh, parts, minSpacing);
    for (float& longest : vLongest) longest *= static_cast<float>(longestEdge * parts.calc->getCellSize());
    return reduceSparse(mesh, vLongest, errorShare);
}

}  // namespace QUOR_ZEF
