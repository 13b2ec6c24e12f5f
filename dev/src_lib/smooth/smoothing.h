#pragma once

#include <cstdint>
#include <vector>

#include "flat/VertexFans.h"
#include "zef/TriangleMesh.h"

namespace QUOR_ZEF {

struct SmoothingOptions;

// Who meets whom in a mesh, in the orders that decide about the last digits.
struct SmoothingLinks {
    struct Edge {
        std::uint32_t low, high, numTriangles;
    };
    std::vector<Edge> vEdges;  // each once; neighbours are summed in this order
    VertexFans fans;           // triangles that a vertex stays for are looked at anew in this order
};

// Edges as the triangles bring them, fans ascending. No triangle may repeat a
// vertex. O(n); uses the task pool.
SmoothingLinks linksOf(const TriangleMesh& mesh);

// Moves vertices: see smooth() in zef/refinement.h. Vertices of no
// triangle stay, and nobody moves onto them. Progress child "RM_smooth".
// Parallel; about 120 bytes a vertex while it runs, and the links.
void laplacianSmoothing(TriangleMesh& mesh, const SmoothingLinks& links, const SmoothingOptions& options);
// With linksOf(mesh).
void laplacianSmoothing(TriangleMesh& mesh, const SmoothingOptions& options);

}  // namespace QUOR_ZEF
