#include "refine/isFinished.h"

#include <algorithm>

#include "flat/EdgeTable.h"
#include "parallel/parallelTransform.h"
#include "refine/triangleAngles.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t minChunk = 10'000;

// Whether test(begin, end) holds in all parts of 0 to n.
template <class Test>
bool holdsInAll(std::size_t n, const Test& test) {
    const auto vChunks = parallelChunkResults<char>(n, minChunk, test);
    return std::all_of(vChunks.begin(), vChunks.end(), [](char holds) { return holds; });
}

bool areSound(const TriangleMesh& mesh) {
    return holdsInAll(mesh.numTriangles(), [&](std::size_t begin, std::size_t end) {
        for (std::size_t side = 3 * begin; side < 3 * end; side += 3) {
            const std::uint32_t* const k = &mesh.indices[side];
            if (!hasSoundCorner(mesh.vertices[k[0]], mesh.vertices[k[1]], mesh.vertices[k[2]])) return false;
        }
        return true;
    });
}

}  // namespace

bool areOriented(const TriangleMesh& mesh, const EdgeTable& edges) {
    return holdsInAll(edges.numVertices(), [&](std::size_t begin, std::size_t end) {
        bool bOriented = true;
        edges.forEachEdge(begin, end, [&](const Edge& edge) {
            if (edge.size() == 2 && mesh.indices[edge[0]] == mesh.indices[edge[1]]) bOriented = false;
        });
        return bOriented;
    });
}

bool isFinished(const TriangleMesh& mesh) {
    if (!areSound(mesh)) return false;
    const EdgeTable edges(mesh.indices, mesh.vertices.size());
    return areOriented(mesh, edges) && findDuplicates(mesh.indices, edges).empty();
}

}  // namespace QUOR_ZEF
