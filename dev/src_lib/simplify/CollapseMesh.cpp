#include "simplify/CollapseMesh.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "geometry/freeFunctions.h"
#include "parallel/parallelTransform.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t minChunk = 1'000;  // vertices
constexpr double minTurnCos = 0.2;       // of a triangle in one collapse: 78 degrees
constexpr double minShape = 0.01;        // twice the area, in squared longest sides; thinner only if it was so

// Of squares: whether the shape of a triangle is that of a needle.
bool isThin(double sqNormal, double sqLongest) {
    return sqNormal < minShape * minShape * sqLongest * sqLongest;
}

bool isDistorted(const Vector3& a, const Vector3& b, const Vector3& from, const Vector3& to) {
    const Vector3 side = difference(b, a), oldA = difference(from, a), newA = difference(to, a);
    const Vector3 oldN = cross(side, oldA), newN = cross(side, newA);
    const double oldSq = oldN.sqLength(), newSq = newN.sqLength(), dot = oldN * newN;
    if (!(newSq > 0.0)) return true;
    if (oldSq > 0.0 && !(dot > 0.0 && dot * dot >= minTurnCos * minTurnCos * oldSq * newSq)) return true;
    const double sqSide = side.sqLength();
    if (!isThin(newSq, std::max({sqSide, newA.sqLength(), difference(to, b).sqLength()}))) return false;
    const double sqLongestOld = std::max({sqSide, oldA.sqLength(), difference(from, b).sqLength()});
    return !isThin(oldSq, sqLongestOld);
}

}  // namespace

CollapseMesh::CollapseMesh(const FanSurface& surface)
    : vPos(surface.vPos),
      vTriples(surface.indices),
      vFanStart(surface.vStart.begin(), surface.vStart.end()),
      vFanSize(vPos.size()),
      vFans(surface.vFans),
      vNumAround(vPos.size()),
      vVersion(vPos.size()),
      vHeir(vPos.size()),
      vKind(vPos.size()),
      numLive(surface.numTriangles()),
      vMark(vPos.size()) {
    parallelChunks(vPos.size(), minChunk, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            vHeir[i] = static_cast<std::uint32_t>(i);
            vFanSize[i] = vNumAround[i] = surface.vStart[i + 1] - surface.vStart[i];
            vKind[i] = kindOf(surface, vHeir[i]);
        }
    });
    fixSeams();
}

// Manifold: one fan, closed, or open with two border edges.
CollapseMesh::Kind CollapseMesh::kindOf(const FanSurface& surface, std::uint32_t vertex) {
    struct Side {  // opposite of the vertex, once from each end
        std::uint32_t end, other, triangle;
    };
    std::vector<Side> vSides;
    for (const std::uint32_t triangle : surface.fan(vertex)) {
        const std::uint32_t* const k = &surface.indices[3 * std::size_t{triangle}];
        const int ici = k[0] == vertex ? 0 : k[1] == vertex ? 1 : 2;
        const std::uint32_t next = k[(ici + 1) % 3], previous = k[(ici + 2) % 3];
        vSides.insert(vSides.end(), {{next, previous, triangle}, {previous, next, triangle}});
    }
    std::sort(vSides.begin(), vSides.end(), [](const Side& a, const Side& b) { return a.end < b.end; });
    std::size_t numOpen = 0, largest = 0;
    std::uint32_t at = vSides.empty() ? vertex : vSides[0].end;
    for (std::size_t i = 0, end = 0; i < vSides.size(); i = end) {
        while (end < vSides.size() && vSides[end].end == vSides[i].end) ++end;
        largest = std::max(largest, end - i);
        if (end - i > 1) continue;
        ++numOpen;
        at = vSides[i].end;
    }
    const Kind border = numOpen > 0 ? BORDER : INNER;
    const Kind complex = numOpen > 0 ? Kind(BORDER | FIXED) : FIXED;
    if (largest > 2 || numOpen > 2) return complex;
    // At most two sides meet at an end: all are to be reached from an open one, or once around.
    const std::uint32_t start = at;
    std::uint32_t last = none;
    for (std::size_t numLeft = vSides.size() / 2; numLeft > 0; --numLeft) {
        auto side_it = std::lower_bound(vSides.begin(), vSides.end(), at,
                                        [](const Side& side, std::uint32_t end) { return side.end < end; });
        if (side_it->triangle == last) ++side_it;
        if (side_it == vSides.end() || side_it->end != at) return complex;
        last = side_it->triangle;
        at = side_it->other;
        if (at == start && numLeft > 1) return complex;
    }
    return border;
}

// Borders that lie on each other would part.
void CollapseMesh::fixSeams() {
    std::vector<std::uint32_t> vBorder;
    for (std::uint32_t i = 0; i < vKind.size(); ++i)
        if (vKind[i] & BORDER) vBorder.push_back(i);
    const auto key = [&](std::uint32_t i) { return std::tie(vPos[i].vx, vPos[i].vy, vPos[i].vz); };
    std::sort(vBorder.begin(), vBorder.end(), [&](std::uint32_t i, std::uint32_t j) { return key(i) < key(j); });
    for (std::size_t i = 1; i < vBorder.size(); ++i)
        if (key(vBorder[i]) == key(vBorder[i - 1]))
            for (const std::uint32_t vertex : {vBorder[i], vBorder[i - 1]}) vKind[vertex] = Kind(BORDER | FIXED);
}

std::uint32_t CollapseMesh::newMark() {
    if (newestMark > none - 3) {
        std::fill(vMark.begin(), vMark.end(), 0u);
        newestMark = 0;
    }
    return ++newestMark;
}

// Sorts the fan of a vertex into what moves and, for u, what dies. Takes dead
// triangles out on the way. Returns how many are left.
std::uint32_t CollapseMesh::gatherFan(std::uint32_t vertex, std::uint32_t other) {
    std::uint32_t* const pFan = vFans.data() + vFanStart[vertex];
    std::uint32_t num = 0;
    for (std::uint32_t i = 0; i < vFanSize[vertex]; ++i) {
        const std::uint32_t triangle = pFan[i];
        if (!isAlive(triangle)) continue;
        pFan[num++] = triangle;
        const std::uint32_t* const k = &vTriples[3 * std::size_t{triangle}];
        if (k[0] == other || k[1] == other || k[2] == other) {
            if (vertex == u) vDying.push_back(triangle);
        } else {
            vMoved.push_back({triangle, k[0] == vertex ? 0u : k[1] == vertex ? 1u : 2u});
        }
    }
    return num;
}

bool CollapseMesh::begin(std::uint32_t u_, std::uint32_t v_) {
    u = u_;
    v = v_;
    // Until what is around them has become less.
    if (vNumAround[u] > FanSurface::mostAround || vNumAround[v] > FanSurface::mostAround) return false;
    vMoved.clear();
    vDying.clear();
    vFanSize[u] = gatherFan(u, v);
    numMovedByU = static_cast<std::uint32_t>(vMoved.size());
    vFanSize[v] = gatherFan(v, u);
    if (vDying.empty() || vDying.size() > 2 || (vDying.size() == 2 && isBorder(u) && isBorder(v))) return false;
    std::size_t numCommon = 0;
    markNeighbours(u);
    const std::uint32_t markOfU = newestMark;
    for (std::size_t i = numMovedByU; i < vMoved.size() + vDying.size(); ++i) {
        const std::uint32_t triangle = i < vMoved.size() ? vMoved[i].triangle : vDying[i - vMoved.size()];
        for (std::uint32_t corner = 0; corner < 3; ++corner) {
            const std::uint32_t other = getCorner(triangle, corner);
            if (other == u || other == v || vMark[other] != markOfU) continue;
            ++numCommon;
            vMark[other] = markOfU + 1;  // of nobody else before the next newMark()
        }
    }
    newMark();
    return numCommon == vDying.size() && keepsLinks();
}

// The link condition beyond vertices: no side in common, and a piece does not
// vanish as a whole. T. Dey et al., Topology preserving edge contraction, 1999.
bool CollapseMesh::keepsLinks() const {
    const auto third = [&](std::uint32_t triangle) {
        for (std::uint32_t i = 0; i < 2; ++i)
            if (getCorner(triangle, i) != u && getCorner(triangle, i) != v) return getCorner(triangle, i);
        return getCorner(triangle, 2);
    };
    const std::uint32_t x = third(vDying.front()), y = third(vDying.back());
    const auto has = [&](const Moved& moved, std::uint32_t vertex) {
        const std::uint32_t* const k = &vTriples[3 * std::size_t{moved.triangle}];
        return k[0] == vertex || k[1] == vertex || k[2] == vertex;
    };
    const auto num =
        std::count_if(vMoved.begin(), vMoved.end(), [&](const Moved& moved) { return has(moved, x) && has(moved, y); });
    return vDying.size() == 1 ? num > 0 : num < 2;
}

bool CollapseMesh::distorts(const Vector3& p) const {
    return std::any_of(vMoved.begin(), vMoved.end(), [&](const Moved& moved) {
        const std::uint32_t* const k = &vTriples[3 * std::size_t{moved.triangle}];
        return isDistorted(vPos[k[(moved.corner + 1) % 3]], vPos[k[(moved.corner + 2) % 3]], vPos[k[moved.corner]], p);
    });
}

void CollapseMesh::collapse(const Vector3& p) {
    for (const std::uint32_t triangle : vDying) {
        const auto corners = vTriples.begin() + 3 * std::ptrdiff_t{triangle};
        for (auto it = corners; it != corners + 3; ++it) --vNumAround[*it];
        std::fill_n(corners, 3, none);
    }
    for (const Moved& moved : vMoved) vTriples[3 * std::size_t{moved.triangle} + moved.corner] = u;
    numLive -= vDying.size();
    if (vMoved.size() > vFanSize[u]) {
        vFanStart[u] = vFans.size();
        vFans.resize(vFans.size() + vMoved.size());
    }
    vFanSize[u] = vNumAround[u] = static_cast<std::uint32_t>(vMoved.size());
    for (std::size_t i = 0; i < vMoved.size(); ++i) vFans[vFanStart[u] + i] = vMoved[i].triangle;
    vFanSize[v] = vNumAround[v] = 0;
    vPos[u] = p;
    vKind[u] = Kind(vKind[u] | vKind[v]);
    vHeir[v] = u;
    ++vVersion[u];
    ++vVersion[v];
}

}  // namespace QUOR_ZEF
