#pragma once

#include <cstddef>
#include <cstdint>
#include <queue>
#include <span>
#include <vector>

#include "zef/Point3.h"
#include "zef/Vector3.h"

namespace QUOR_ZEF {

// Makes a loop shorter, triangle by triangle between three of its vertices that follow one another: the
// shortest new edge first, as long as the triangle neither folds back nor covers another vertex.
class LoopCutter {
public:
    // One place for each vertex, in order; and beside each of its edges, the third corner of the triangle there.
    LoopCutter(std::span<const Point3> vPlaces_, std::span<const Point3> vBeside_);

    // Cuts until so many vertices are left, three at least, or none can go. Appends corners to the triangles,
    // numbered as the loop is; returns what is left of the loop. O(n^2) at worst, mostly O(n log n).
    std::vector<std::uint32_t> cut(std::size_t numLeft, std::vector<std::uint32_t>& vTriangles);

private:
    struct Ear {
        double cost;
        std::uint32_t vertex, version;
        bool bSearched;  // whether the cost minds vertices that it covers
        bool operator>(const Ear& o) const { return cost != o.cost ? cost > o.cost : vertex > o.vertex; }
    };
    std::span<const Point3> vPlaces;
    std::vector<Point3> vThird;  // beside the edge that begins at the vertex
    std::vector<std::uint32_t> vNext, vBefore, vVersion;
    std::priority_queue<Ear, std::vector<Ear>, std::greater<>> queue;
    Vector3 face;  // sum of the loop's area

    void push(std::uint32_t vertex);
    double costOf(std::uint32_t vertex) const;
    bool covers(std::uint32_t vertex) const;
};

}  // namespace QUOR_ZEF
