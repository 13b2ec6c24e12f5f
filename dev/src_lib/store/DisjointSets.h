#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <vector>

namespace QUOR_ZEF {

// Disjoint sets of the numbers below num; the root of a set is its lowest number.
// Both calls shorten the ways on, so they are nearly constant. One thread at a time.
class DisjointSets {
public:
    explicit DisjointSets(std::size_t num) : vParent(num) { std::iota(vParent.begin(), vParent.end(), 0u); }

    std::uint32_t find(std::uint32_t a) {
        while (vParent[a] != a) {
            vParent[a] = vParent[vParent[a]];
            a = vParent[a];
        }
        return a;
    }
    void join(std::uint32_t a, std::uint32_t b) {
        a = find(a);
        b = find(b);
        vParent[std::max(a, b)] = std::min(a, b);
    }

private:
    std::vector<std::uint32_t> vParent;
};

}  // namespace QUOR_ZEF
