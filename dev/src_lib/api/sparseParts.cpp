#include "api/sparseParts.h"

#include <cstdint>

#include "parallel/parallelTransform.h"
#include "simplify/reduceSparse.h"
#include "store/CodeMap.h"

namespace QUOR_ZEF {

std::size_t mergeSparseParts(TriangleMesh& mesh, const SparseParts& parts) {
    constexpr double minSpacing = 1.5;    // cells: below there is nothing to gain
    constexpr float longestEdge = 1.25F;  // distances of the points
    constexpr double errorShare = 0.05;
    constexpr std::size_t minChunk = 4096;
    if (!parts.calc) return 0;
    CodeMap numbers(parts.vCells.size());
    for (std::size_t i = 0; i < parts.vCells.size(); ++i)
        if (parts.vCells[i].second > minSpacing * parts.calc->getCellSize())
            numbers.insert(parts.vCells[i].first, static_cast<std::uint32_t>(i));
    std::vector<float> vLongest(mesh.vertices.size());
    parallelChunks(vLongest.size(), minChunk, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            const std::uint32_t number = numbers.find(parts.calc->getCCD(mesh.vertices[i]));
            if (number != CodeMap::npos) vLongest[i] = longestEdge * parts.vCells[number].second;
        }
    });
    return reduceSparse(mesh, vLongest, errorShare);
}

}  // namespace QUOR_ZEF
