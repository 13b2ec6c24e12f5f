#pragma once

#include <cstdint>
#include <numeric>
#include <utility>
#include <vector>

namespace QUOR_ZEF {

// Which patches go together, and whether one must be turned for that.
class PatchJoiner {
public:
    explicit PatchJoiner(const std::vector<std::uint32_t>& vSize_)
        : vSize(vSize_), vParent(vSize.size()), vTurned(vSize.size()) {
        std::iota(vParent.begin(), vParent.end(), 0u);
    }
    // All that go together with a patch have its root.
    std::uint32_t rootOf(std::uint32_t patch) const {
        while (vParent[patch] != patch) patch = vParent[patch];
        return patch;
    }
    // Triangles of all these.
    std::uint32_t sizeAt(std::uint32_t patch) const { return vSize[rootOf(patch)]; }
    // Relative to the orientation that the patch had at first.
    bool isTurned(std::uint32_t patch) const {
        bool bTurned = false;
        for (; vParent[patch] != patch; patch = vParent[patch]) bTurned ^= vTurned[patch];
        return bTurned;
    }
    // Orients a and b alike or, with bOpposite, against each other, relative to their
    // first orientation. False if they are bound otherwise already. The smaller one
    // turns, and chains stay short since it is hung below the larger one.
    bool join(std::uint32_t a, std::uint32_t b, bool bOpposite) {
        const bool bTurn = isTurned(a) ^ isTurned(b) ^ bOpposite;
        a = rootOf(a);
        b = rootOf(b);
        if (a == b) return !bTurn;
        if (vSize[a] < vSize[b]) std::swap(a, b);
        vParent[b] = a;
        vTurned[b] = bTurn;
        vSize[a] += vSize[b];
        return true;
    }

private:
    std::vector<std::uint32_t> vSize;    // of roots
    std::vector<std::uint32_t> vParent;  // the patch itself for a root
    std::vector<bool> vTurned;           // against the parent
};

}  // namespace QUOR_ZEF
