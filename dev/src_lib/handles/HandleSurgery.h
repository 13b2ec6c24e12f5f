#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "flat/arrays.h"

namespace QUOR_ZEF {

// Cuts a manifold and oriented mesh along loops of edges that meet no vertex twice and no border, and closes both
// sides. Vertices and triangles keep their numbers; new ones come last, and without colour where they are in the
// middle of a loop.
class HandleSurgery {
public:
    // Borrows both, and changes both: the other side of each side's edge, or noSide.
    HandleSurgery(TriangleMesh& mesh_, std::vector<std::uint32_t>& vOpposite_) : mesh(mesh_), vOpposite(vOpposite_) {}

    // The sides that run along a loop, one after the other. The rims step back from each other by a share of the way to
    // their neighbours, and by maxStep at the most. O(length).
    void cut(const std::vector<std::uint32_t>& vLoop, double share, double maxStep);
    // Takes back what cut() has done last.
    void undo();

private:
    TriangleMesh& mesh;
    std::vector<std::uint32_t>& vOpposite;
    // Before the last cut.
    std::size_t numVertices = 0, numSides = 0;
    std::vector<std::pair<std::uint32_t, std::uint32_t>> vIndices, vOpposites;  // side, and what it had
    std::vector<std::pair<std::uint32_t, Point3>> vPlaces;

    std::vector<Point3> placesBehind(const std::vector<std::uint32_t>& vRim, const std::vector<std::uint32_t>& vLoop,
                                     double share, double maxStep) const;
    void partVertices(const std::vector<std::uint32_t>& vRim);
    void giveVertex(std::uint32_t side, std::uint32_t vertex);
    void move(const std::vector<std::uint32_t>& vRim, const std::vector<Point3>& vTo);
    void close(const std::vector<std::uint32_t>& vRim);
    std::uint32_t addTriangle(std::uint32_t a, std::uint32_t b, std::uint32_t c);
    void pairUp(std::uint32_t side, std::uint32_t other);
};

}  // namespace QUOR_ZEF
