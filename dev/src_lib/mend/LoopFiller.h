#pragma once

#include <array>
#include <cstdint>
#include <set>
#include <vector>

#include "flat/EdgeTable.h"
#include "flat/arrays.h"

namespace QUOR_ZEF {

// Fills loops of vertices with triangles among them, of the smallest area and, where
// that is possible, across no edge that is there already. Triangles that exist, or
// that it has made before, are not made again.
//
// Borrows all; vDead marks triangles that count as gone.
class LoopFiller {
public:
    static constexpr std::size_t maxLoop = 256;  // vertices

    LoopFiller(const TriangleMesh& mesh_, const EdgeTable& edges_, const std::vector<bool>& vDead_)
        : mesh(mesh_), edges(edges_), vDead(vDead_) {}

    // Appends the corners of the triangles, which run along the loop; false, with
    // nothing appended, if there is no filling. O(n^3 + n^2 log N).
    bool fill(const std::vector<std::uint32_t>& vLoop_, std::vector<std::uint32_t>& vNew);

private:
    const TriangleMesh& mesh;
    const EdgeTable& edges;
    const std::vector<bool>& vDead;
    std::vector<std::uint32_t> vLoop;
    // Of the part of the loop between two of its vertices, row by row.
    std::vector<double> vCost;
    std::vector<std::size_t> vThird;
    std::vector<Edge> vThere;                      // sides between the two vertices
    std::vector<bool> vMet;                        // by place in the loop: a corner of something made
    std::set<std::array<std::uint32_t, 3>> sMade;  // sorted corners
    std::set<std::uint32_t> sMet;                  // the same, one by one

    std::size_t at(std::size_t i, std::size_t k) const { return i * vLoop.size() + k; }
    void solve(std::size_t i, std::size_t k);
    double crossingCost() const;
    double costOf(std::size_t i, std::size_t j, std::size_t k) const;
    void lookUp();
    void add(std::size_t i, std::size_t k, std::vector<std::uint32_t>& vNew);
};

}  // namespace QUOR_ZEF
