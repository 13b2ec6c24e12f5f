#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "flat/arrays.h"

namespace QUOR_ZEF {

// Bends the filling of a loop to vertices that lie inside the loop: the farthest one
// is put into the triangle that is nearest to it, until all are near; edges between
// the triangles of the filling turn where that makes better triangles.
class FillRefiner {
public:
    using Triangle = std::array<std::uint32_t, 3>;

    // The mesh is only asked for positions, and borrowed.
    explicit FillRefiner(const TriangleMesh& mesh_) : mesh(mesh_) {}

    // vFilling: corners, three a triangle, without the candidates; replaced by a finer
    // filling, oriented alike, so that no candidate is farther off than maxDistance.
    // False, with nothing changed, if one is more than five times as far at first.
    // O(candidates (candidates + triangles)).
    bool refine(std::span<const std::uint32_t> vCandidates, double maxDistance, std::vector<std::uint32_t>& vFilling);

private:
    struct Candidate {
        std::uint32_t vertex;
        double distance;
        std::size_t triangle;
    };
    const TriangleMesh& mesh;
    std::vector<Triangle> vTriangles;
    std::vector<Candidate> vLeft;
    std::vector<std::size_t> vChanged;  // triangles

    double distance(std::uint32_t vertex, const Triangle& t) const;
    void lookAtAll(Candidate& candidate) const;
    void updateCandidates();
    void split(std::size_t triangle, std::uint32_t vertex);
    void turnEdgesAt(std::uint32_t vertex);
    bool turnEdge(std::size_t triangle, std::uint32_t vertex);
    double quality(std::uint32_t a, std::uint32_t b, std::uint32_t c, std::uint32_t d) const;
};

}  // namespace QUOR_ZEF
