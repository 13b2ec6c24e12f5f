#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "zef/Point3.h"
#include "zef/Vector3.h"

namespace QUOR_ZEF {

// A disc of triangles in a loop. Its first vertices are those of the loop, which stay; all others are
// inside.
class Patch {
public:
    static constexpr std::uint32_t none = 0xffffffffU;

    std::vector<Point3> vPlaces;
    std::vector<double> vSizes;           // by vertex: how long edges should be there
    std::vector<std::uint32_t> vCorners;  // three a triangle
    std::uint32_t numLoop = 0;

    // Of triangles among the vertices of the loop.
    Patch(std::vector<Point3> vLoop, std::vector<double> vLoopSizes, std::vector<std::uint32_t> vTriangles);

    bool isInside(std::uint32_t vertex) const { return vertex >= numLoop; }
    // Puts a vertex on each inner edge between these two vertices of the loop, as it has an edge elsewhere.
    template <class IsEdgeElsewhere>
    void splitChords(const IsEdgeElsewhere& isEdgeElsewhere) {
        for (std::uint32_t side = 0, end = static_cast<std::uint32_t>(vCorners.size()); side < end; ++side)
            if (isChord(side) && isEdgeElsewhere(startOf(side), endOf(side))) splitEdge(side);
    }
    // Splits edges that are longer than they should be, and turns edges until angles are good.
    void refine();
    // Moves inner vertices to the middle of their neighbours, unless a triangle would turn over.
    void smooth(int numRounds);
    // By vertex, those at the other ends of its edges.
    std::vector<std::vector<std::uint32_t>> neighbours() const;

private:
    std::vector<std::uint32_t> vOpposite;  // by side; none at the loop

    std::uint32_t startOf(std::uint32_t side) const { return vCorners[side]; }
    std::uint32_t endOf(std::uint32_t side) const;
    std::uint32_t apexOf(std::uint32_t side) const;
    bool isChord(std::uint32_t side) const;
    Vector3 normalOf(std::uint32_t a, std::uint32_t b, std::uint32_t c) const;
    void link(std::uint32_t side, std::uint32_t other);
    void pairSides();
    bool isTooLong(std::uint32_t side) const;
    void splitEdge(std::uint32_t side);
    void turnEdges();
    bool isTurnBetter(std::uint32_t side) const;
    bool areJoined(std::uint32_t sideAtInner, std::uint32_t other) const;
    void turnEdge(std::uint32_t side);
    bool turnsOver(std::uint32_t vertex, const std::vector<std::uint32_t>& vSides, const Point3& place) const;
};

}  // namespace QUOR_ZEF
