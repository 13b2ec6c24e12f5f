#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

// Triangles in plain arrays, three vertex indices each. Side 3 t + i of triangle t
// runs from its corner i to the next one.

namespace QUOR_ZEF {

using VertexPair = std::pair<std::uint32_t, std::uint32_t>;

// Where more triangles meet at one edge, nothing says which of them are at fault; and
// to look at all of them for each would take forever.
constexpr std::size_t maxCrowd = 16;

inline std::uint32_t nextSide(std::uint32_t side) {
    return side % 3 == 2 ? side - 2 : side + 1;
}
inline std::uint32_t previousSide(std::uint32_t side) {
    return side % 3 == 0 ? side + 2 : side - 1;
}

// The corner (as a side that starts there) of the side's triangle at one of its ends.
inline std::uint32_t cornerAt(const std::vector<std::uint32_t>& vTriples, std::uint32_t side, std::uint32_t vertex) {
    return vTriples[side] == vertex ? side : nextSide(side);
}

// The triangles that have a marked vertex and are not dead, ascending. Uses the task pool.
std::vector<std::uint32_t> trianglesAt(const std::vector<std::uint32_t>& vTriples, const std::vector<bool>& vDead,
                                       const std::vector<bool>& vMarked);

// Removes the marked triangles; the others keep their order.
void removeTriangles(std::vector<std::uint32_t>& vTriples, const std::vector<bool>& vDead);

}  // namespace QUOR_ZEF
