#include "refine/triangleSides.h"

#include <algorithm>

#include "frame/tools.h"
#include "parallel/sortMT.h"

namespace QUOR_ZEF {

std::vector<EdgeSide> sortSides(const std::vector<std::uint32_t>& vTriples) {
    ASSEX(vTriples.size() < 0xffffffffu);
    std::vector<EdgeSide> vSides(vTriples.size());
    for (std::uint32_t side = 0; side < vSides.size(); ++side) {
        const auto [a, b] = std::minmax(vTriples[side], vTriples[nextSide(side)]);
        vSides[side] = {uint64{a} << 32 | b, side};
    }
    sortStableByFirstMT(vSides.begin(), vSides.end());
    return vSides;
}

std::span<const EdgeSide> sidesAt(const std::vector<EdgeSide>& vSides, std::uint32_t a, std::uint32_t b) {
    const uint64 key = uint64{std::min(a, b)} << 32 | std::max(a, b);
    const auto first = std::lower_bound(vSides.begin(), vSides.end(), EdgeSide(key, 0));
    return {first, std::lower_bound(first, vSides.end(), EdgeSide(key + 1, 0))};
}

// Each triangle is looked at once, at the edge of its two lower vertices.
std::vector<std::uint32_t> findDuplicates(const std::vector<std::uint32_t>& vTriples,
                                          const std::vector<EdgeSide>& vSides) {
    std::vector<std::uint32_t> vDuplicates;
    std::vector<std::pair<std::uint32_t, std::uint32_t>> vThirds;  // highest vertex, triangle
    forEachEdge(vSides, [&](std::span<const EdgeSide> edge) {
        if (edge.size() < 2) return;
        vThirds.clear();
        for (const auto& [key, side] : edge) {
            const std::uint32_t third = vTriples[previousSide(side)];
            if (third > (key & 0xffffffffu)) vThirds.emplace_back(third, side / 3);
        }
        std::sort(vThirds.begin(), vThirds.end());
        for (std::size_t i = 1; i < vThirds.size(); ++i)
            if (vThirds[i].first == vThirds[i - 1].first) vDuplicates.push_back(vThirds[i].second);
    });
    std::sort(vDuplicates.begin(), vDuplicates.end());
    return vDuplicates;
}

void removeTriangles(std::vector<std::uint32_t>& vTriples, const std::vector<bool>& vDead) {
    std::size_t to = 0;
    for (std::size_t side = 0; side < vTriples.size(); ++side)
        if (!vDead[side / 3]) vTriples[to++] = vTriples[side];
    vTriples.resize(to);
}

}  // namespace QUOR_ZEF
