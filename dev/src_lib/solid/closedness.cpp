#include "solid/closedness.h"

#include <algorithm>
#include <span>

#include "check/ExactPlaces.h"
#include "flat/EdgeTable.h"

namespace QUOR_ZEF {

Closedness joinEqualPlaces(TriangleMesh& triangles) {
    const ExactPlaces places(triangles);
    for (std::uint32_t& vertex : triangles.indices) vertex = places.vSame[vertex];
    dropRepeating(triangles.indices);
    if (triangles.indices.empty()) return Closedness::OPEN;
    const EdgeTable edges(triangles.indices, triangles.vertices.size());
    auto closedness = Closedness::ORIENTED;
    edges.forEachEdge([&](const Edge& edge) {
        const auto numForward = static_cast<std::size_t>(std::ranges::count_if(
            edge.sides, [&](const EdgeSide& s) { return triangles.indices[s.side] == edge.low; }));
        Closedness here = Closedness::ORIENTED;
        if (edge.size() == 1)
            here = Closedness::OPEN;
        else if (edge.size() % 2 == 1)
            here = Closedness::WALLS;
        else if (2 * numForward != edge.size())
            here = Closedness::SIDES;
        closedness = std::min(closedness, here);
    });
    return closedness;
}

}  // namespace QUOR_ZEF
