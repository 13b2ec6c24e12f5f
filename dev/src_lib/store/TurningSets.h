#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace QUOR_ZEF {

// Disjoint sets of the numbers below num, up to 2^31, of which each knows whether it is turned against the root of its
// set, its lowest number. Both calls shorten the ways on, so they are nearly constant. One thread at a time.
class TurningSets {
public:
    explicit TurningSets(std::size_t num) : vLinks(num) {
        for (std::uint32_t i = 0; i < num; ++i) vLinks[i] = 2 * i;
    }

    // The root, and whether a is turned against it.
    std::pair<std::uint32_t, bool> find(std::uint32_t a) {
        std::uint32_t against = 0;
        while (vLinks[a] >> 1 != a) {
            vLinks[a] = vLinks[vLinks[a] >> 1] ^ (vLinks[a] & 1);
            against ^= vLinks[a] & 1;
            a = vLinks[a] >> 1;
        }
        return {a, against != 0};
    }
    // False, and without effect, if they are in one set that says otherwise.
    bool join(std::uint32_t a, std::uint32_t b, bool bAgainst) {
        const auto [rootA, againstA] = find(a);
        const auto [rootB, againstB] = find(b);
        const bool bRoots = (againstA != againstB) != bAgainst;
        if (rootA == rootB) return !bRoots;
        vLinks[std::max(rootA, rootB)] = 2 * std::min(rootA, rootB) + static_cast<std::uint32_t>(bRoots);
        return true;
    }

private:
    std::vector<std::uint32_t> vLinks;  // twice a number further ahead, and 1 if turned against that
};

}  // namespace QUOR_ZEF
