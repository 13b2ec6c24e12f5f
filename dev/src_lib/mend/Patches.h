#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "flat/EdgeTable.h"
#include "flat/arrays.h"
#include "flat/triangleSides.h"
#include "mend/JoinedSides.h"

namespace QUOR_ZEF {

// Patches are triangles connected across edges of two triangles, "pairs" below.
// Each triangle has a flip, so that those of one patch are oriented alike, but for
// seams, where the pair is cut. Edges of more than two triangles are edges of many.
//
// Borrows the triples and the table, and follows their changes when told. O(n).
class Patches {
public:
    static constexpr std::uint32_t none = 0xffffffffu;

    std::vector<std::uint32_t> vPatch;    // of each triangle, none for a dead one; by lowest triangle
    std::vector<std::uint32_t> vSize;     // triangles of each patch
    std::vector<std::uint32_t> vPartner;  // of each side: the one it is joined to, or none
    std::vector<VertexPair> vMany;        // ends of each edge of many, in order
    std::vector<VertexPair> vSeams;       // of each edge that is a seam

    // vDead_: by triangle.
    Patches(const TriangleMesh& mesh_, const std::vector<bool>& vDead_, const EdgeTable& edges_);
    // After a change, as if made anew, but that seams stay where nothing has changed. vTouched: the ends of all edges
    // of triangles that have died or come since, as the table has given them.
    void follow(const std::vector<std::uint32_t>& vKilled, const std::vector<VertexPair>& vTouched);

    void join(std::uint32_t side, std::uint32_t other) {
        vPartner[side] = other;
        vPartner[other] = side;
        vSame[side] = vSame[other] = haveSameDirection(side, other) ? JoinedSides::isSame : 0;
    }
    void cut(std::uint32_t side);
    // Whether the triangle, as it stands in the input, is to be reversed.
    bool isFlipped(std::uint32_t triangle) const { return (vFlip[triangle] ^ vTurned[vPatch[triangle]]) != 0; }
    void turn(std::uint32_t patch) { vTurned[patch] ^= 1; }
    // Whether the triangles of the two sides of one edge run through it in one
    // direction as they stand in the input.
    bool haveSameDirection(std::uint32_t side, std::uint32_t other) const { return vTriples[side] == vTriples[other]; }
    // The same with the flips.
    bool clash(std::uint32_t side, std::uint32_t other) const {
        return haveSameDirection(side, other) != (isFlipped(side / 3) != isFlipped(other / 3));
    }
    std::uint32_t patchAt(std::uint32_t side) const { return vPatch[side / 3]; }

private:
    static constexpr std::uint8_t isSettled = 2;
    const TriangleMesh& mesh;
    const std::vector<std::uint32_t>& vTriples;
    const std::vector<bool>& vDead;
    const EdgeTable& edges;
    std::vector<std::uint8_t> vSame;      // of each joined side: see JoinedSides, and isSettled if it has been a seam
    std::vector<std::uint8_t> vFlip;      // of each triangle
    std::vector<std::uint8_t> vTurned;    // of each patch: all its flips are to be reversed
    std::vector<std::uint32_t> vSettled;  // one side of each joined pair
    std::vector<std::uint32_t> vQueue, vLater;
    std::vector<std::uint32_t> vClashes;  // sides where a flood has met itself the wrong way round

    void joinIfPair(const Edge& edge) {
        if (edge.size() == 2) join(edge[0], edge[1]);
    }
    void findPatches();
    void flood(std::uint32_t seed, std::uint32_t patch);
    void cross(std::uint32_t side, std::uint32_t patch);
    void settle(std::uint32_t side);
    void unsettleAll();
    void shortenSeams();
    std::vector<Edge> edgesOfClashes() const;
};

}  // namespace QUOR_ZEF
