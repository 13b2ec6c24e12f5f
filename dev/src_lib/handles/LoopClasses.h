#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "flat/arrays.h"
#include "frame/types.h"

namespace QUOR_ZEF {

constexpr std::uint32_t noSide = 0xffffffffU;

// By side, the other one at its edge, or noSide at borders. The mesh is manifold. O(n).
std::vector<std::uint32_t> findOpposites(const TriangleMesh& mesh);

// Tells loops of edges that part a manifold and oriented mesh from those that do not, as around a handle or through
// it: the classes of the edges of a loop, joined by exclusive or, are 0 if the loop parts the mesh, and only then but
// for a chance of 2^-64. Two loops have the same class if they part the mesh together. Borders count as if they were
// filled. O(n), some 11 bytes a triangle meanwhile, and 8 more where there are handles.
class LoopClasses {
public:
    LoopClasses(const TriangleMesh& mesh, const std::vector<std::uint32_t>& vOpposite);

    // Of the whole mesh.
    std::size_t numHandles() const { return numLeftOver / 2; }
    // Of the edge; both its sides have the same.
    uint64 of(std::uint32_t side) const { return vBears[side] ? find(side) : 0; }
    // Vertices such that all loops that part nothing go through one of them, ascending.
    std::vector<std::uint32_t> verticesToMeet(const TriangleMesh& mesh) const;

private:
    std::vector<bool> vBears;                              // by side: its class is not 0
    std::vector<std::pair<std::uint32_t, uint64>> vSides;  // those with their classes, ascending
    std::size_t numLeftOver = 0;                           // edges: two for each handle

    uint64 find(std::uint32_t side) const;
};

}  // namespace QUOR_ZEF
