#include "mend/ShortLoops.h"

#include <algorithm>

namespace QUOR_ZEF {

namespace {

constexpr std::ptrdiff_t maxWays = 16;  // at a vertex; no loop goes where there are more

}  // namespace

ShortLoops::ShortLoops(const std::vector<std::pair<std::uint32_t, std::uint32_t>>& vEdges_)
    : vEdges(vEdges_), vUsed(vEdges_.size()) {
    for (std::uint32_t i = 0; i < vEdges.size(); ++i) {
        vAt.push_back({vEdges[i].first, vEdges[i].second, i});
        vAt.push_back({vEdges[i].second, vEdges[i].first, i});
    }
    std::sort(vAt.begin(), vAt.end());
}

bool ShortLoops::find(std::uint32_t edge, std::size_t maxLength) {
    if (vUsed[edge]) return false;
    vReached.assign(1, {vEdges[edge].first, none, none, 0});
    bool bFound = false;
    for (std::uint32_t i = 0; i < vReached.size() && vReached[i].depth + 1 < maxLength && !bFound; ++i)
        bFound = stepFrom(i, edge);
    if (!bFound) return false;
    vLoop.clear();
    vLoopEdges.clear();
    for (auto i = static_cast<std::uint32_t>(vReached.size() - 1); i != none; i = vReached[i].from) {
        vLoop.push_back(vReached[i].vertex);
        vLoopEdges.push_back(vReached[i].edge == none ? edge : vReached[i].edge);
    }
    return true;
}

bool ShortLoops::stepFrom(std::uint32_t i, std::uint32_t edge) {
    const std::uint32_t vertex = vReached[i].vertex;
    auto it = std::lower_bound(vAt.begin(), vAt.end(), std::array<std::uint32_t, 3>{vertex, 0, 0});
    if (vAt.end() - it > maxWays && it[maxWays][0] == vertex) return false;
    for (; it != vAt.end() && (*it)[0] == vertex; ++it) {
        const std::uint32_t other = (*it)[1], next = (*it)[2];
        if (next == edge || vUsed[next]) continue;
        const auto same = [&](const Reached& r) { return r.vertex == other; };
        if (std::any_of(vReached.begin(), vReached.end(), same)) continue;
        vReached.push_back({other, i, next, vReached[i].depth + 1});
        if (other == vEdges[edge].second) return true;
    }
    return false;
}

void ShortLoops::useUp() {
    for (const std::uint32_t edge : vLoopEdges) vUsed[edge] = true;
}

}  // namespace QUOR_ZEF
