#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "flat/triangleSides.h"

namespace QUOR_ZEF {

// A side at an edge, with the edge's higher vertex.
struct EdgeSide {
    std::uint32_t high, side;
};

// An edge of triangles: its lower vertex, and its sides in ascending order.
struct Edge {
    std::uint32_t low = 0;
    std::span<const EdgeSide> sides;

    std::size_t size() const { return sides.size(); }
    std::uint32_t operator[](std::size_t i) const { return sides[i].side; }
    std::uint32_t high() const { return sides[0].high; }
    VertexPair ends() const { return {low, high()}; }
};

// The edges of triangles in plain arrays. "In order" is by lower, then by higher
// vertex. Triangles keep their numbers: some can die, and others come at the end.
//
// Borrows the triples. No triangle may repeat a vertex. Calls that change nothing
// may run on several threads. Memory: 8 bytes a side and 8 a vertex.
class EdgeTable {
public:
    // More than 2^32 / 3 triangles fail an ASSEX. O(n); uses the task pool.
    EdgeTable(const std::vector<std::uint32_t>& vTriples_, std::size_t numVertices);

    // vKilled: triangles that have died since, all of them marked in vDead, which
    // marks no others that live. From firstNew on triangles are new. Vertices stay.
    // Returns the ends of all their edges in order, also of those that are gone.
    // O(k log k), and the sizes of the fans that these are in.
    std::vector<VertexPair> follow(const std::vector<bool>& vDead, const std::vector<std::uint32_t>& vKilled,
                                   std::uint32_t firstNew);

    // No sides if there is no edge. O(log of the edges that have its lower vertex in
    // common). The view is valid until follow().
    Edge at(std::uint32_t a, std::uint32_t b) const;
    Edge at(const VertexPair& ends) const { return at(ends.first, ends.second); }

    std::size_t numVertices() const { return vBuckets.size(); }
    // Calls f(Edge) for each edge in order whose lower vertex is in the range.
    template <class F>
    void forEachEdge(std::size_t begin, std::size_t end, F&& f) const {
        for (std::size_t low = begin; low < end; ++low) {
            const std::span<const EdgeSide> sides = bucket(low);
            for (std::size_t i = 0, next = 0; i < sides.size(); i = next) {
                for (next = i + 1; next < sides.size() && sides[next].high == sides[i].high;) ++next;
                f(Edge{static_cast<std::uint32_t>(low), sides.subspan(i, next - i)});
            }
        }
    }
    template <class F>
    void forEachEdge(F&& f) const {
        forEachEdge(0, numVertices(), f);
    }
    // The ends of the edges of one, three or more triangles, in order.
    const std::vector<VertexPair>& oddEdges() const { return vOdd; }

private:
    struct Bucket {  // of the edges with one lower vertex
        std::uint32_t begin = 0, size = 0;
    };
    const std::vector<std::uint32_t>& vTriples;
    std::vector<Bucket> vBuckets;
    std::vector<EdgeSide> vEntries;  // by (high, side) in each bucket
    std::vector<VertexPair> vOdd;

    std::span<const EdgeSide> bucket(std::size_t low) const {
        return {vEntries.data() + vBuckets[low].begin, vBuckets[low].size};
    }
    void fillBuckets();
    void sortBuckets();
    void appendEndsOf(std::uint32_t triangle, std::vector<VertexPair>& vEnds) const;
    void renewBucket(std::uint32_t low, const std::vector<bool>& vDead, std::span<const EdgeSide> vNew);
    void renewOddEdges(const std::vector<VertexPair>& vTouched);
};

// Triangles that have the vertices of an earlier one, ascending. O(n).
std::vector<std::uint32_t> findDuplicates(const std::vector<std::uint32_t>& vTriples, const EdgeTable& edges);

}  // namespace QUOR_ZEF
