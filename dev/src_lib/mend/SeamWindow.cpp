#include "mend/SeamWindow.h"

#include <algorithm>
#include <cstddef>
#include <queue>
#include <utility>

#include "flat/triangleSides.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t maxTriangles = 60'000;
constexpr std::int64_t oneSide = std::int64_t{1} << 40;
constexpr double longestSide = 1 << 20;  // of that, so that lengths never outweigh a side

}  // namespace

SeamWindow::SeamWindow(const TriangleMesh& mesh_, const JoinedSides& sides_)
    : mesh(mesh_), sides(sides_), vPlace(mesh_.numTriangles(), none) {}

bool SeamWindow::improveAround(std::uint32_t side, const WindowSize& size) {
    gather(side, size);
    bool bBetter = isBetterWith(true);
    if (!bBetter && size.bInward) {
        orientInward();
        bBetter = isBetterWith(false);
    }
    for (const std::uint32_t t : vTriangles) vPlace[t] = none;
    return bBetter;
}

bool SeamWindow::isBetterWith(bool bHold) {
    const std::int64_t before = prepareFlow(bHold);
    std::int64_t cost = 0;
    while (cost < before && findLevels()) cost += pushFlow();
    if (cost >= before) return false;
    for (const auto& [slot, room] : vCrossed)
        if ((vLevel[slot / 3] == none) == (vLevel[placeAcross(slot)] == none)) cost += room;
    if (cost >= before) return false;
    turn();
    return true;
}

std::span<const std::uint32_t> SeamWindow::innerTriangles(std::uint32_t share) const {
    const auto end = std::upper_bound(vRing.begin(), vRing.end(), vRing.back() / share);
    return {vTriangles.data(), static_cast<std::size_t>(end - vRing.begin())};
}

void SeamWindow::gather(std::uint32_t side, const WindowSize& size) {
    vTriangles.clear();
    vLike.clear();
    vRing.clear();
    add(side / 3, sides.vFlip[side / 3], 0);
    std::size_t numClashes = 0;
    for (std::size_t i = 0; i < vTriangles.size(); ++i) {
        if (vRing[i] == size.numRings || vTriangles.size() >= maxTriangles || numClashes > 2 * size.maxClashes) return;
        for (std::uint32_t s = 3 * vTriangles[i]; s < 3 * vTriangles[i] + 3; ++s) {
            const std::uint32_t other = sides.vPartner[s];
            if (other == none) continue;
            if (sides.clash(s)) ++numClashes;  // and once more from there
            if (vPlace[other / 3] == none) add(other / 3, sides.likeAcross(s, vLike[i]), vRing[i] + 1);
        }
    }
}

void SeamWindow::add(std::uint32_t triangle, std::uint8_t like, std::uint32_t ring) {
    vPlace[triangle] = static_cast<std::uint32_t>(vTriangles.size());
    vTriangles.push_back(triangle);
    vLike.push_back(like);
    vRing.push_back(ring);
}

// From the outermost ring inward, so that the orientation meets itself near the middle.
void SeamWindow::orientInward() {
    std::vector<bool> vReached(vTriangles.size());
    std::priority_queue<std::pair<std::uint32_t, std::uint32_t>> queue;  // ring, triangle of the window
    const auto reach = [&](std::uint32_t i, std::uint8_t like) {
        if (vReached[i]) return;
        vReached[i] = true;
        vLike[i] = like;
        queue.emplace(vRing[i], i);
    };
    const auto last = static_cast<std::uint32_t>(vTriangles.size() - 1);
    reach(last, vLike[last]);
    while (!queue.empty()) {
        const std::uint32_t i = queue.top().second;
        queue.pop();
        for (std::uint32_t slot = 3 * i; slot < 3 * i + 3; ++slot)
            if (const std::uint32_t next = placeAcross(slot); next != none)
                reach(next, sides.likeAcross(sideAt(slot), vLike[i]));
    }
}

std::uint32_t SeamWindow::placeAcross(std::uint32_t slot) const {
    const std::uint32_t other = sides.vPartner[sideAt(slot)];
    return other == none ? none : vPlace[other / 3];
}

// Returns what those sides cost that clash now, but for those between two triangles that stay.
std::int64_t SeamWindow::prepareFlow(bool bHold) {
    const std::size_t num = vTriangles.size();
    vBound.assign(num, Bound::FREE);
    vBack.assign(3 * num, none);
    vRoom.assign(3 * num, 0);
    vCrossed.clear();
    double longest = 0.0;
    for (const std::uint32_t t : vTriangles)
        for (std::uint32_t s = 3 * t; s < 3 * t + 3; ++s) longest = std::max(longest, lengthOf(s));
    std::int64_t before = 0;
    for (std::uint32_t slot = 0; slot < vBack.size(); ++slot) {
        const std::uint32_t i = slot / 3, s = sideAt(slot), other = sides.vPartner[s], place = placeAcross(slot);
        if (other == none) continue;
        const bool bCrossed = place != none && sides.likeAcross(s, vLike[i]) != vLike[place];
        if (place == none || (bHold && bCrossed)) {
            vBound[i] = sides.vFlip[s / 3] == vLike[i] ? Bound::STAYS : Bound::TURNS;
            continue;
        }
        const std::int64_t cost = costOf(s, longest);
        if (s < other && sides.clash(s)) before += cost;
        if (bCrossed) {
            if (s < other) vCrossed.emplace_back(slot, cost);
            continue;
        }
        vBack[slot] = 3 * place + other % 3;
        vRoom[slot] = cost;
    }
    return before;
}

double SeamWindow::lengthOf(std::uint32_t side) const {
    return (mesh.vertices[mesh.indices[nextSide(side)]] - mesh.vertices[mesh.indices[side]]).length();
}

std::int64_t SeamWindow::costOf(std::uint32_t side, double longest) const {
    const double share = lengthOf(side) / longest;
    const bool bShare = share >= 0.0 && share <= 1.0;  // else something is not finite
    return oneSide + static_cast<std::int64_t>(bShare ? share * longestSide : longestSide);
}

// Breadth first, until one that stays is reached.
bool SeamWindow::findLevels() {
    vLevel.assign(vTriangles.size(), none);
    vNext.assign(vTriangles.size(), 0);
    vQueue.clear();
    for (std::uint32_t i = 0; i < vBound.size(); ++i) {
        if (vBound[i] != Bound::TURNS) continue;
        vLevel[i] = 0;
        vQueue.push_back(i);
    }
    std::uint32_t last = none;
    for (std::size_t k = 0; k < vQueue.size() && vLevel[vQueue[k]] < last; ++k) {
        const std::uint32_t i = vQueue[k];
        for (std::uint32_t slot = 3 * i; slot < 3 * i + 3; ++slot) {
            if (vRoom[slot] == 0 || vLevel[vBack[slot] / 3] != none) continue;
            const std::uint32_t next = vBack[slot] / 3;
            vLevel[next] = vLevel[i] + 1;
            if (vBound[next] == Bound::STAYS) last = vLevel[next];
            vQueue.push_back(next);
        }
    }
    return last != none;
}

std::int64_t SeamWindow::pushFlow() {
    std::int64_t flow = 0;
    for (std::uint32_t i = 0; i < vBound.size(); ++i)
        if (vBound[i] == Bound::TURNS) flow += pushFrom(i);
    return flow;
}

// All that can still flow from one triangle up the levels.
std::int64_t SeamWindow::pushFrom(std::uint32_t source) {
    std::int64_t flow = 0;
    vPath.clear();
    const auto top = [&] { return vPath.empty() ? source : vBack[vPath.back()] / 3; };
    while (true) {
        const std::uint32_t i = top();
        if (vBound[i] == Bound::STAYS) {
            flow += flowAlongPath();
            continue;
        }
        while (vNext[i] < 3 && !isAhead(3 * i + vNext[i], vLevel[i])) ++vNext[i];
        if (vNext[i] < 3) {
            vPath.push_back(3 * i + vNext[i]);
            continue;
        }
        if (vPath.empty()) return flow;
        vPath.pop_back();
        ++vNext[top()];
    }
}

bool SeamWindow::isAhead(std::uint32_t slot, std::uint32_t level) const {
    return vRoom[slot] > 0 && vLevel[vBack[slot] / 3] == level + 1;
}

// The path ends before the first slot that is full then.
std::int64_t SeamWindow::flowAlongPath() {
    std::int64_t least = vRoom[vPath[0]];
    for (const std::uint32_t slot : vPath) least = std::min(least, vRoom[slot]);
    std::size_t numLeft = vPath.size();
    for (std::size_t k = vPath.size(); k-- > 0;) {
        vRoom[vPath[k]] -= least;
        vRoom[vBack[vPath[k]]] += least;
        if (vRoom[vPath[k]] == 0) numLeft = k;
    }
    vPath.resize(numLeft);
    return least;
}

// What the flow has reached last.
void SeamWindow::turn() {
    for (std::size_t i = 0; i < vTriangles.size(); ++i)
        sides.vFlip[vTriangles[i]] = vLike[i] ^ static_cast<std::uint8_t>(vLevel[i] != none);
}

}  // namespace QUOR_ZEF
