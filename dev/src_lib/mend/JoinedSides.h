#pragma once

#include <cstdint>
#include <vector>

namespace QUOR_ZEF {

// Across which sides triangles are joined, and how these are turned, see Patches. Borrows all.
struct JoinedSides {
    static constexpr std::uint32_t none = 0xffffffffu;
    static constexpr std::uint8_t isSame = 1;

    const std::vector<std::uint32_t>& vPartner;  // of each side: the one it is joined to, or none
    const std::vector<std::uint8_t>& vSame;  // of each joined side, isSame if it and its partner run in one direction
    std::vector<std::uint8_t>& vFlip;        // of each triangle

    // The flip by which what is across a joined side is oriented alike.
    std::uint8_t likeAcross(std::uint32_t side, std::uint8_t flip) const { return flip ^ (vSame[side] & isSame); }
    bool clash(std::uint32_t side) const {
        return vPartner[side] != none && likeAcross(side, vFlip[side / 3]) != vFlip[vPartner[side] / 3];
    }
};

}  // namespace QUOR_ZEF
