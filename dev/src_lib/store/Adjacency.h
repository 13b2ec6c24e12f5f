#pragma once

#include <cstdint>
#include <span>
#include <utility>

#include "store/ListPool.h"

namespace QUOR_ZEF {

// Who meets whom in a triangle mesh whose vertices, edges and triangles have
// 32-bit numbers of their owner's choice: for each vertex its edges and its fan
// of triangles. It stands for an ordered map from a pair of vertices to an edge
// and an ordered multimap from a vertex to its triangles, and gives their orders.
//
// An edge is entered once, at the end that its owner calls the first (the one
// that is lower in the owner's order). The map's order of all edges is then:
// vertices ascending, and within edges(v) the other ends ascending; the list
// itself stands in order of entry, so sort it where order counts.
// A fan stands in order of entry; an erased triangle leaves the others in order.
//
// Nothing is checked against the meshes' records: an edge without triangles
// stays entered until it is removed. A view is valid until the next change at
// its vertex. One thread at a time. All operations take time in the length of
// one list; reset() takes 16 bytes of writing a vertex and keeps the memory.
// Memory: 16 bytes a vertex, about 10 an edge and 14 a triangle.
class Adjacency {
public:
    static constexpr std::uint32_t none = 0xffffffffu;

    struct Link {
        std::uint32_t other;  // the vertex at the other end
        std::uint32_t edge;
    };

    // Forgets everything; vertices 0 to numVertices - 1 stand alone.
    void reset(std::size_t numVertices) {
        links.reset(numVertices);
        fans.reset(numVertices);
    }
    // Adds vertices at the end, up to this count.
    void grow(std::size_t numVertices) {
        links.grow(numVertices);
        fans.grow(numVertices);
    }
    std::size_t getNumVertices() const { return links.size(); }

    // The pair must not be entered yet.
    void addEdge(std::uint32_t first, std::uint32_t other, std::uint32_t edge) { links.push(first, Link{other, edge}); }
    // none if the pair is not entered.
    std::uint32_t findEdge(std::uint32_t first, std::uint32_t other) const {
        for (const Link& link : links[first])
            if (link.other == other) return link.edge;
        return none;
    }
    // Returns the edge that was entered, none if there was none.
    std::uint32_t removeEdge(std::uint32_t first, std::uint32_t other) {
        const std::span<const Link> view = std::as_const(links)[first];
        for (std::size_t i = 0; i < view.size(); ++i) {
            if (view[i].other != other) continue;
            const std::uint32_t edge = view[i].edge;
            links.erase(first, i);
            return edge;
        }
        return none;
    }
    // Makes room for this many edges, or triangles, at a vertex without any; the
    // owner writes them through the views, before anything else.
    void fillEdges(std::uint32_t first, std::uint32_t num) { links.fill(first, num); }
    void fillFan(std::uint32_t vertex, std::uint32_t num) { fans.fill(vertex, num); }
    std::span<Link> edgesToFill(std::uint32_t first) { return links[first]; }
    std::span<std::uint32_t> fanToFill(std::uint32_t vertex) { return fans[vertex]; }

    // The edges entered at this vertex as their first end, in order of entry.
    std::span<const Link> edges(std::uint32_t first) const { return links[first]; }

    // A triangle may be entered more than once.
    void addToFan(std::uint32_t vertex, std::uint32_t triangle) { fans.push(vertex, triangle); }
    // Takes out the triangle's first entry; false if there is none.
    bool removeFromFan(std::uint32_t vertex, std::uint32_t triangle) {
        const std::span<const std::uint32_t> view = std::as_const(fans)[vertex];
        for (std::size_t i = 0; i < view.size(); ++i) {
            if (view[i] != triangle) continue;
            fans.erase(vertex, i);
            return true;
        }
        return false;
    }
    void clearFan(std::uint32_t vertex) { fans.clear(vertex); }
    // The triangles at this vertex in order of entry.
    std::span<const std::uint32_t> fan(std::uint32_t vertex) const { return fans[vertex]; }

private:
    ListPool<Link> links;
    ListPool<std::uint32_t> fans;
};

}  // namespace QUOR_ZEF
