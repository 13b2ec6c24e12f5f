#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "mend/Patches.h"
#include "store/DisjointSets.h"

namespace QUOR_ZEF {

// The corners of some triangles at some vertices, and which of them hang together
// across joined sides. O(n log n) in these corners.
class CornerSets {
public:
    // vTriangles: all that have a marked vertex, ascending.
    CornerSets(const std::vector<std::uint32_t>& vTriples, const Patches& patches,
               const std::vector<std::uint32_t>& vTriangles, const std::vector<bool>& vMarked)
        : vCorners(cornersAt(vTriples, vTriangles, vMarked)), sets(vCorners.size()) {
        for (const std::uint32_t corner : vCorners) {
            for (const std::uint32_t side : {corner, previousSide(corner)}) {
                const std::uint32_t other = patches.vPartner[side];
                if (other != Patches::none)
                    sets.join(place(corner), place(cornerAt(vTriples, other, vTriples[corner])));
            }
        }
    }
    const std::vector<std::uint32_t>& corners() const { return vCorners; }  // ascending
    // The lowest corner of the set.
    std::uint32_t find(std::uint32_t corner) { return vCorners[sets.find(place(corner))]; }

private:
    std::vector<std::uint32_t> vCorners;
    DisjointSets sets;  // of places in vCorners

    std::uint32_t place(std::uint32_t corner) const {
        return static_cast<std::uint32_t>(std::lower_bound(vCorners.begin(), vCorners.end(), corner) -
                                          vCorners.begin());
    }
    static std::vector<std::uint32_t> cornersAt(const std::vector<std::uint32_t>& vTriples,
                                                const std::vector<std::uint32_t>& vTriangles,
                                                const std::vector<bool>& vMarked) {
        std::vector<std::uint32_t> vFound;
        for (const std::uint32_t t : vTriangles)
            for (std::uint32_t corner = 3 * t; corner < 3 * t + 3; ++corner)
                if (vMarked[vTriples[corner]]) vFound.push_back(corner);
        return vFound;
    }
};

}  // namespace QUOR_ZEF
