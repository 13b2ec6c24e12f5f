#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "simplify/FanSurface.h"

namespace QUOR_ZEF {

// A triangle mesh in plain arrays that shrinks by collapses of edges to new
// positions and keeps its topology: no handle, hole or piece goes or comes, and
// what is manifold stays so. Vertices and triangles keep their numbers; dead ones
// leave gaps. One thread at a time, but for the const functions.
class CollapseMesh {
public:
    static constexpr std::uint32_t none = 0xffffffffu;

    // A triangle and its corner that a collapse moves.
    struct Moved {
        std::uint32_t triangle, corner;
    };

    std::vector<Vector3> vPos;  // by vertex

    // Parallel, O(n).
    explicit CollapseMesh(const FanSurface& surface);

    std::size_t getNumLive() const { return numLive; }
    bool isAlive(std::uint32_t triangle) const { return vTriples[3 * std::size_t{triangle}] != none; }
    std::uint32_t getCorner(std::uint32_t triangle, std::uint32_t i) const {
        return vTriples[3 * std::size_t{triangle} + i];
    }
    const std::vector<std::uint32_t>& getTriples() const { return vTriples; }

    // The vertex that this one was merged into, which may have gone the same way
    // since; itself if it is still there.
    std::uint32_t getHeir(std::uint32_t vertex) const { return vHeir[vertex]; }
    // Changes with every collapse at the vertex.
    std::uint32_t getVersion(std::uint32_t vertex) const { return vVersion[vertex]; }
    // At the border, and there for good.
    bool isBorder(std::uint32_t vertex) const { return vKind[vertex] & BORDER; }
    // Stays where it is: it is not manifold, or another border vertex of the same
    // position lies against it.
    bool isFixed(std::uint32_t vertex) const { return vKind[vertex] & FIXED; }

    // Whether the collapse of the edge may end there, as far as border and fixed
    // vertices are concerned. Neither: it cannot collapse.
    bool mayEndAt(std::uint32_t end, std::uint32_t other) const {
        return !isFixed(other) && (isBorder(end) || !isBorder(other));
    }

    // Makes the edge the one that the following functions are about. False if its
    // collapse would change the topology, if it is no edge, or if an end is crowded.
    bool begin(std::uint32_t u, std::uint32_t v);
    // The triangles that move and those that die: valid until
    // the next begin().
    const std::vector<Moved>& getMoved() const { return vMoved; }
    const std::vector<std::uint32_t>& getDying() const { return vDying; }
    // Whether a moved triangle would turn too far, or lose its shape.
    bool distorts(const Vector3& p) const;
    // u becomes the vertex of the whole, at p; v dies.
    void collapse(const Vector3& p);

    // Calls f(neighbour) once for each.
    template <class F>
    void forEachNeighbour(std::uint32_t vertex, F&& f) {
        const std::uint32_t mark = newMark();
        for (std::uint32_t i = 0; i < vFanSize[vertex]; ++i) {
            const std::uint32_t triangle = vFans[vFanStart[vertex] + i];
            if (!isAlive(triangle)) continue;
            for (std::uint32_t corner = 0; corner < 3; ++corner) {
                const std::uint32_t other = getCorner(triangle, corner);
                if (other == vertex || vMark[other] == mark) continue;
                vMark[other] = mark;
                f(other);
            }
        }
    }

private:
    void markNeighbours(std::uint32_t vertex) {
        forEachNeighbour(vertex, [](std::uint32_t) {});
    }
    enum Kind : std::uint8_t { INNER = 0, BORDER = 1, FIXED = 2 };

    static Kind kindOf(const FanSurface& surface, std::uint32_t vertex);
    void fixSeams();
    std::uint32_t newMark();
    std::uint32_t gatherFan(std::uint32_t vertex, std::uint32_t other);
    bool keepsLinks() const;

    std::vector<std::uint32_t> vTriples;         // three vertices a triangle, none for dead ones
    std::vector<std::size_t> vFanStart;          // by vertex: where its triangles start in vFans,
    std::vector<std::uint32_t> vFanSize, vFans;  // and their number, dead ones included
    std::vector<std::uint32_t> vNumAround;       // by vertex: its triangles that are not dead
    std::vector<std::uint32_t> vVersion, vHeir;  // by vertex
    std::vector<Kind> vKind;                     // by vertex
    std::size_t numLive = 0;

    std::uint32_t u = 0, v = 0;  // the edge of begin()
    std::vector<Moved> vMoved;
    std::vector<std::uint32_t> vDying;
    std::uint32_t numMovedByU = 0;
    std::vector<std::uint32_t> vMark;  // by vertex
    std::uint32_t newestMark = 0;
};

}  // namespace QUOR_ZEF
