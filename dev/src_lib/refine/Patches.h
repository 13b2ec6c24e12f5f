#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "refine/triangleSides.h"

namespace QUOR_ZEF {

// Patches are triangles connected across edges of two triangles, "pairs" below.
// Each triangle has a flip, so that those of one patch are oriented alike, but for
// seams, where the pair is cut. Edges of more than two triangles are edges of many.
//
// Borrows the triples, which must not change meanwhile. No triangle may repeat a
// vertex. O(n).
class Patches {
public:
    static constexpr std::uint32_t none = 0xffffffffu;

    std::vector<std::uint32_t> vPatch;      // of each triangle
    std::vector<std::uint32_t> vSize;       // triangles of each patch
    std::vector<std::uint8_t> vFlip;        // of each triangle
    std::vector<std::uint32_t> vPartner;    // of each side: the one it is joined to, or none
    std::vector<std::uint32_t> vManySides;  // first entry, in the sorted sides, of each edge of many
    std::size_t numSeamEdges = 0;

    Patches(const std::vector<std::uint32_t>& vTriples_, const std::vector<EdgeSide>& vSides);

    void join(std::uint32_t side, std::uint32_t other) {
        vPartner[side] = other;
        vPartner[other] = side;
    }
    void cut(std::uint32_t side);
    // Whether the triangles of the two sides of one edge run through it in one
    // direction as they stand in the input.
    bool haveSameDirection(std::uint32_t side, std::uint32_t other) const { return vTriples[side] == vTriples[other]; }
    // The same with the flips.
    bool clash(std::uint32_t side, std::uint32_t other) const {
        return haveSameDirection(side, other) != (vFlip[side / 3] != vFlip[other / 3]);
    }
    std::uint32_t patchAt(std::uint32_t side) const { return vPatch[side / 3]; }

private:
    const std::vector<std::uint32_t>& vTriples;
    std::vector<std::uint32_t> vQueue;

    void flood(std::uint32_t seed, std::uint32_t patch);
    void floodOneSidedAgain(const std::vector<EdgeSide>& vSides);
    void cutSeams(const std::vector<EdgeSide>& vSides);
};

// The sides of the edge whose first entry stands there.
inline std::span<const EdgeSide> sidesFrom(const std::vector<EdgeSide>& vSides, std::size_t first) {
    std::size_t end = first + 1;
    while (end < vSides.size() && vSides[end].first == vSides[first].first) ++end;
    return {vSides.data() + first, end - first};
}

}  // namespace QUOR_ZEF
