#include "flat/edgeLists.h"

#include "flat/EdgeTable.h"

namespace QUOR_ZEF {

std::vector<VertexPair> findBorderEdges(const TriangleMesh& mesh) {
    const EdgeTable edges(mesh.indices, mesh.vertices.size());
    std::vector<VertexPair> vBorder = edges.oddEdges();
    std::erase_if(vBorder, [&](const VertexPair& ends) { return edges.at(ends).size() != 1; });
    return vBorder;
}

double meanEdgeLength(const TriangleMesh& mesh) {
    if (mesh.indices.empty()) return 0.0;
    std::vector<bool> vFirst(mesh.indices.size());  // sides that bring their edge
    EdgeTable(mesh.indices, mesh.vertices.size()).forEachEdge([&](const Edge& edge) { vFirst[edge[0]] = true; });
    double sum = 0.0;
    std::size_t num = 0;
    for (std::uint32_t side = 0; side < mesh.indices.size(); ++side) {
        if (!vFirst[side]) continue;
        sum += (mesh.vertices[mesh.indices[nextSide(side)]] - mesh.vertices[mesh.indices[side]]).length();
        ++num;
    }
    return sum / static_cast<double>(num);
}

}  // namespace QUOR_ZEF
