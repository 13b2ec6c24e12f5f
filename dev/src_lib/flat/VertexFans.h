#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace QUOR_ZEF {

// The triangles at each vertex, in one array.
struct VertexFans {
    std::vector<std::uint32_t> vStart;      // by vertex, and the end
    std::vector<std::uint32_t> vTriangles;  // numbers of triangles

    VertexFans() = default;
    // Ascending at each vertex. More than 2^32 / 3 triangles fail an ASSEX. O(n).
    VertexFans(const std::vector<std::uint32_t>& vTriples, std::size_t numVertices);

    std::span<const std::uint32_t> operator[](std::size_t vertex) const {
        return {vTriangles.data() + vStart[vertex], vStart[vertex + 1] - vStart[vertex]};
    }
};

}  // namespace QUOR_ZEF
