#pragma once

#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "frame/types.h"

// Edges and sets of triangles in plain arrays, three vertex indices each. Side
// 3 t + i of triangle t runs from its corner i to the next one.

namespace QUOR_ZEF {

// The two vertices of an edge in one number (lower one above), and a side there.
using EdgeSide = std::pair<uint64, std::uint32_t>;

// Where more triangles meet at one edge, nothing says which of them are at fault; and
// to look at all of them for each would take forever.
constexpr std::size_t maxCrowd = 16;

inline std::uint32_t nextSide(std::uint32_t side) {
    return side % 3 == 2 ? side - 2 : side + 1;
}
inline std::uint32_t previousSide(std::uint32_t side) {
    return side % 3 == 0 ? side + 2 : side - 1;
}
inline std::uint32_t lowerVertex(const EdgeSide& edgeSide) {
    return static_cast<std::uint32_t>(edgeSide.first >> 32);
}

// All sides by (edge, side), so that the sides of one edge stand together. No
// triangle may repeat a vertex. More than 2^32 / 3 triangles fail an ASSEX.
std::vector<EdgeSide> sortSides(const std::vector<std::uint32_t>& vTriples);

// The sides between two vertices, none if there is no edge. O(log n).
std::span<const EdgeSide> sidesAt(const std::vector<EdgeSide>& vSides, std::uint32_t a, std::uint32_t b);

// Calls f(sides of one edge) for each edge in order.
template <class F>
void forEachEdge(const std::vector<EdgeSide>& vSides, F&& f) {
    for (std::size_t i = 0, end = 0; i < vSides.size(); i = end) {
        for (end = i + 1; end < vSides.size() && vSides[end].first == vSides[i].first;) ++end;
        f(std::span<const EdgeSide>(vSides.data() + i, end - i));
    }
}

// The corner (as a side that starts there) of the side's triangle at one of its ends.
inline std::uint32_t cornerAt(const std::vector<std::uint32_t>& vTriples, std::uint32_t side, std::uint32_t vertex) {
    return vTriples[side] == vertex ? side : nextSide(side);
}

// Triangles that have the vertices of an earlier one, ascending.
std::vector<std::uint32_t> findDuplicates(const std::vector<std::uint32_t>& vTriples,
                                          const std::vector<EdgeSide>& vSides);

// Removes the marked triangles; the others keep their order.
void removeTriangles(std::vector<std::uint32_t>& vTriples, const std::vector<bool>& vDead);

}  // namespace QUOR_ZEF
