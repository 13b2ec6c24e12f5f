#include "flat/triangleSides.h"

#include "parallel/parallelTransform.h"

namespace QUOR_ZEF {

std::vector<std::uint32_t> trianglesAt(const std::vector<std::uint32_t>& vTriples, const std::vector<bool>& vDead,
                                       const std::vector<bool>& vMarked) {
    constexpr std::size_t minChunk = 10'000;
    const auto vChunks = parallelChunkResults<std::vector<std::uint32_t>>(
        vTriples.size() / 3, minChunk, [&](std::size_t begin, std::size_t end) {
            std::vector<std::uint32_t> vHere;
            for (std::size_t t = begin; t < end; ++t) {
                const std::uint32_t* const corners = vTriples.data() + 3 * t;
                if ((vMarked[corners[0]] || vMarked[corners[1]] || vMarked[corners[2]]) && !vDead[t])
                    vHere.push_back(static_cast<std::uint32_t>(t));
            }
            return vHere;
        });
    std::vector<std::uint32_t> vThere;
    for (const std::vector<std::uint32_t>& vHere : vChunks) vThere.insert(vThere.end(), vHere.begin(), vHere.end());
    return vThere;
}

void removeTriangles(std::vector<std::uint32_t>& vTriples, const std::vector<bool>& vDead) {
    std::size_t to = 0;
    for (std::size_t side = 0; side < vTriples.size(); ++side)
        if (!vDead[side / 3]) vTriples[to++] = vTriples[side];
    vTriples.resize(to);
}

}  // namespace QUOR_ZEF
