#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace QUOR_ZEF {

// Shortest loops in a graph of edges between vertices, each edge used once.
class ShortLoops {
public:
    // An edge is known by its place here.
    explicit ShortLoops(const std::vector<std::pair<std::uint32_t, std::uint32_t>>& vEdges_);

    // The shortest loop of at most maxLength edges through an edge, over edges that
    // are not used up: its vertices in order and its edges, the last of which closes
    // it. False if there is none. Of loops of one length it is always the same.
    // O(what lies within maxLength / 2 edges or so).
    bool find(std::uint32_t edge, std::size_t maxLength);
    std::vector<std::uint32_t> vLoop;
    std::vector<std::uint32_t> vLoopEdges;

    // The edges of the loop found last belong to no other one.
    void useUp();
    bool isUsedUp(std::uint32_t edge) const { return vUsed[edge]; }

private:
    static constexpr std::uint32_t none = 0xffffffffu;
    struct Reached {
        std::uint32_t vertex, from, edge;  // from: entry of vReached
        std::size_t depth;
    };
    const std::vector<std::pair<std::uint32_t, std::uint32_t>>& vEdges;
    std::vector<bool> vUsed;
    std::vector<std::array<std::uint32_t, 3>> vAt;  // vertex, other vertex, edge
    std::vector<Reached> vReached;

    bool stepFrom(std::uint32_t i, std::uint32_t edge);
};

}  // namespace QUOR_ZEF
