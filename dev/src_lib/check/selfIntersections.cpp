#include "check/selfIntersections.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <utility>

#include "check/exactSigns.h"
#include "frame/Progress.h"
#include "frame/tools.h"
#include "frame/types.h"
#include "parallel/parallelGroups.h"
#include "parallel/sortMT.h"

namespace QUOR_ZEF {

namespace {

using Corners = std::array<std::uint32_t, 3>;

constexpr std::size_t minChunk = 2'000;

// Smaller coordinates, in shares of the largest, count as 0: see exactSigns.h.
constexpr double leastCoord = 0x1p-300;

// Whether p of the line through a and b, seen along an axis, is of the segment.
bool isBetween(const Coords& a, const Coords& b, const Coords& p, int dropped) {
    for (const int axis : {(dropped + 1) % 3, (dropped + 2) % 3}) {
        const auto i = static_cast<std::size_t>(axis);
        const auto [low, high] = std::minmax(a[i], b[i]);
        if (p[i] < low || p[i] > high) return false;
    }
    return true;
}

// In one plane, ends included.
bool segmentsMeet(const Coords& p, const Coords& q, const Coords& a, const Coords& b, int dropped) {
    const int sideP = orientation2(a, b, p, dropped), sideQ = orientation2(a, b, q, dropped);
    const int sideA = orientation2(p, q, a, dropped), sideB = orientation2(p, q, b, dropped);
    if (sideP * sideQ < 0 && sideA * sideB < 0) return true;
    return (sideP == 0 && isBetween(a, b, p, dropped)) || (sideQ == 0 && isBetween(a, b, q, dropped)) ||
           (sideA == 0 && isBetween(p, q, a, dropped)) || (sideB == 0 && isBetween(p, q, b, dropped));
}

bool haveNoOpposites(int a, int b, int c) {
    return std::min({a, b, c}) >= 0 || std::max({a, b, c}) <= 0;
}

// An axis along which the triangle does not look like a line; 3 if there is none.
int axisAcross(const Coords& a, const Coords& b, const Coords& c) {
    int axis = 0;
    while (axis < 3 && orientation2(a, b, c, axis) == 0) ++axis;
    return axis;
}

// Borders included, all in one plane.
bool meetInPlane(const Coords& p, const Coords& q, const Coords& a, const Coords& b, const Coords& c) {
    const int axis = axisAcross(a, b, c);
    if (haveNoOpposites(orientation2(a, b, p, axis), orientation2(b, c, p, axis), orientation2(c, a, p, axis))) {
        return true;
    }
    return segmentsMeet(p, q, a, b, axis) || segmentsMeet(p, q, b, c, axis) || segmentsMeet(p, q, c, a, axis);
}

// Whether the segment from p to q meets the triangle, ends and borders included;
// the sides are those of p and q at its plane.
bool segmentMeets(const Coords& p, const Coords& q, int sideP, int sideQ, const Coords& a, const Coords& b,
                  const Coords& c) {
    if (sideP * sideQ > 0) return false;
    if (sideP == 0 && sideQ == 0) return meetInPlane(p, q, a, b, c);
    return haveNoOpposites(orientation3(p, q, a, b), orientation3(p, q, b, c), orientation3(p, q, c, a));
}

struct Box {
    Coords low, high;
};

class PairCounter {
public:
    explicit PairCounter(const TriangleMesh& mesh) {
        takeCoordinates(mesh);
        cells.tick();
        takeTriangles(mesh);
        cells.tick();
    }

    std::size_t count() {
        if (vTriangles.size() < 2) return 0;
        layGrid();
        cells.tick();
        enterTriangles();
        cells.finish();
        OptionalStage pairs("SI_pairs", vEntries.size());
        const auto vCounts = parallelGroupResults<std::size_t>(
            vEntries.size(), minChunk, [&](std::size_t begin, std::size_t end) { return countIn(begin, end); },
            [&](std::size_t num) { pairs.tick(num); });
        return std::accumulate(vCounts.begin(), vCounts.end(), std::size_t{0});
    }

private:
    struct Candidate {
        Box box;
        std::uint32_t triangle;
    };
    using Cell = std::array<uint64, 3>;

    OptionalStage cells{"SI_cells", 4};
    std::vector<Coords> vCoords;      // of the vertices, the largest between 1 and 2
    std::vector<Corners> vTriangles;  // those with an area; equal places have equal corners
    Coords origin{};
    double cellEdge = 0.0;
    std::vector<std::pair<uint64, std::uint32_t>> vEntries;  // cell code, triangle

    // Scaling by a power of two changes no bit of a significand.
    void takeCoordinates(const TriangleMesh& mesh) {
        double largest = 0.0;
        for (const Point3& p : mesh.vertices) {
            for (const double x : {p.px, p.py, p.pz})
                if (std::isfinite(x)) largest = std::max(largest, std::abs(x));
        }
        const int exponent = largest > 0.0 ? std::ilogb(largest) : 0;
        const auto scale = [&](double x) {
            const double scaled = std::scalbn(x, -exponent);
            return std::abs(scaled) < leastCoord ? 0.0 : scaled;
        };
        vCoords.reserve(mesh.vertices.size());
        for (const Point3& p : mesh.vertices) vCoords.push_back({scale(p.px), scale(p.py), scale(p.pz)});
    }

    bool isFinite(std::uint32_t vertex) const {
        return std::ranges::all_of(vCoords[vertex], [](double x) { return std::isfinite(x); });
    }

    // For each vertex the lowest one at its place. NaN has no order, so vertices
    // that are not finite stand for themselves.
    std::vector<std::uint32_t> findFirstAtPlace() const {
        std::vector<std::uint32_t> vFirst(vCoords.size()), vOrder;
        std::iota(vFirst.begin(), vFirst.end(), 0u);
        std::ranges::copy_if(vFirst, std::back_inserter(vOrder), [&](std::uint32_t i) { return isFinite(i); });
        sortMT(vOrder.begin(), vOrder.end(), [&](std::uint32_t i, std::uint32_t j) {
            return vCoords[i] != vCoords[j] ? vCoords[i] < vCoords[j] : i < j;
        });
        for (std::size_t i = 1; i < vOrder.size(); ++i)
            if (vCoords[vOrder[i]] == vCoords[vOrder[i - 1]]) vFirst[vOrder[i]] = vFirst[vOrder[i - 1]];
        return vFirst;
    }

    void takeTriangles(const TriangleMesh& mesh) {
        ASSEX(mesh.indices.size() < 0xffffffffu);
        const std::vector<std::uint32_t> vFirst = findFirstAtPlace();
        vTriangles.reserve(mesh.numTriangles());
        for (std::size_t i = 0; i + 2 < mesh.indices.size(); i += 3) {
            const Corners t = {vFirst[mesh.indices[i]], vFirst[mesh.indices[i + 1]], vFirst[mesh.indices[i + 2]]};
            if (!std::ranges::all_of(t, [&](std::uint32_t vertex) { return isFinite(vertex); })) continue;
            if (axisAcross(vCoords[t[0]], vCoords[t[1]], vCoords[t[2]]) < 3) vTriangles.push_back(t);
        }
    }

    Box boxOf(const Corners& t) const {
        Box box{vCoords[t[0]], vCoords[t[0]]};
        for (const std::uint32_t vertex : {t[1], t[2]}) {
            for (std::size_t i = 0; i < 3; ++i) {
                box.low[i] = std::min(box.low[i], vCoords[vertex][i]);
                box.high[i] = std::max(box.high[i], vCoords[vertex][i]);
            }
        }
        return box;
    }

    // Cells of twice the mean triangle, larger if triangles would then be in more
    // than eight cells on average. An axis has at most 2^20 + 1 cells.
    void layGrid() {
        Box all = boxOf(vTriangles[0]);
        double sumExtent = 0.0;
        for (const Corners& t : vTriangles) {
            const Box box = boxOf(t);
            double extent = 0.0;
            for (std::size_t i = 0; i < 3; ++i) {
                all.low[i] = std::min(all.low[i], box.low[i]);
                all.high[i] = std::max(all.high[i], box.high[i]);
                extent = std::max(extent, box.high[i] - box.low[i]);
            }
            sumExtent += extent;
        }
        origin = all.low;
        double span = 0.0;
        for (std::size_t i = 0; i < 3; ++i) span = std::max(span, all.high[i] - all.low[i]);
        cellEdge = std::max(2.0 * sumExtent / static_cast<double>(vTriangles.size()), span / 0x1p20);
        while (countEntries() > 8.0 * static_cast<double>(vTriangles.size())) cellEdge *= 2.0;
    }

    Cell cellAt(const Coords& p) const {
        Cell cell;
        for (std::size_t i = 0; i < 3; ++i) cell[i] = static_cast<uint64>((p[i] - origin[i]) / cellEdge);
        return cell;
    }

    static uint64 codeOf(const Cell& cell) { return cell[2] << 42 | cell[1] << 21 | cell[0]; }

    double countEntries() const {
        double numEntries = 0.0;
        for (const Corners& t : vTriangles) {
            const Box box = boxOf(t);
            const Cell first = cellAt(box.low), last = cellAt(box.high);
            double numCells = 1.0;
            for (std::size_t i = 0; i < 3; ++i) numCells *= static_cast<double>(last[i] - first[i] + 1);
            numEntries += numCells;
        }
        return numEntries;
    }

    void enterTriangles() {
        vEntries.reserve(static_cast<std::size_t>(countEntries()));
        for (std::uint32_t t = 0; t < vTriangles.size(); ++t) {
            const Box box = boxOf(vTriangles[t]);
            const Cell first = cellAt(box.low), last = cellAt(box.high);
            for (uint64 z = first[2]; z <= last[2]; ++z)
                for (uint64 y = first[1]; y <= last[1]; ++y)
                    for (uint64 x = first[0]; x <= last[0]; ++x) vEntries.emplace_back(codeOf({x, y, z}), t);
        }
        sortByFirstMT(vEntries.begin(), vEntries.end());
    }

    // A cell belongs to the range where its entries start.
    std::size_t countIn(std::size_t begin, std::size_t end) const {
        std::size_t numPairs = 0;
        std::vector<Candidate> vInCell;
        const auto code = [&](std::size_t i) { return vEntries[i].first; };
        while (begin != 0 && begin < end && code(begin) == code(begin - 1)) ++begin;
        while (begin < end) {
            const uint64 cell = code(begin);
            vInCell.clear();
            for (; begin < vEntries.size() && code(begin) == cell; ++begin) {
                const std::uint32_t t = vEntries[begin].second;
                vInCell.push_back({boxOf(vTriangles[t]), t});
            }
            numPairs += countInCell(vInCell, cell);
        }
        return numPairs;
    }

    // A pair counts in the cell with the low corner of what its boxes share.
    std::size_t countInCell(std::vector<Candidate>& vInCell, uint64 cell) const {
        std::ranges::sort(vInCell, {}, [](const Candidate& c) { return std::pair(c.box.low[0], c.triangle); });
        std::size_t numPairs = 0;
        for (std::size_t i = 0; i < vInCell.size(); ++i) {
            const Box& box = vInCell[i].box;
            for (std::size_t j = i + 1; j < vInCell.size() && vInCell[j].box.low[0] <= box.high[0]; ++j) {
                const Box& other = vInCell[j].box;
                if (other.low[1] > box.high[1] || box.low[1] > other.high[1]) continue;
                if (other.low[2] > box.high[2] || box.low[2] > other.high[2]) continue;
                const Coords corner = {other.low[0], std::max(box.low[1], other.low[1]),
                                       std::max(box.low[2], other.low[2])};
                if (codeOf(cellAt(corner)) != cell) continue;
                if (intersect(vTriangles[vInCell[i].triangle], vTriangles[vInCell[j].triangle])) ++numPairs;
            }
        }
        return numPairs;
    }

    // Common corners are turned to the front of both.
    bool intersect(Corners t, Corners u) const {
        std::size_t numCommon = 0;
        for (std::size_t i = 0; i < 3; ++i) {
            const auto it = std::find(u.begin() + std::ptrdiff_t(numCommon), u.end(), t[i]);
            if (it == u.end()) continue;
            std::swap(u[numCommon], *it);
            std::swap(t[numCommon++], t[i]);
        }
        if (numCommon == 3) return true;
        if (isBeside(t, u) || isBeside(u, t)) return false;
        if (numCommon == 2) return areFolded(t, u);
        if (numCommon == 1) return oppositeSideMeets(t, u) || oppositeSideMeets(u, t);
        return sideMeets(t, u) || sideMeets(u, t);
    }

    // Whether u, but for common corners, is beyond the line of a side of t, seen along
    // an axis: then they share nothing else. Settles most pairs of flat regions, where
    // the orientations in space are the slow ones.
    bool isBeside(const Corners& t, const Corners& u) const {
        const int axis = axisAcross(vCoords[t[0]], vCoords[t[1]], vCoords[t[2]]);
        const int inside = orientation2(vCoords[t[0]], vCoords[t[1]], vCoords[t[2]], axis);
        for (std::size_t i = 0; i < 3; ++i) {
            const std::uint32_t p = t[i], q = t[(i + 1) % 3];
            if (std::ranges::all_of(u, [&](std::uint32_t v) {
                    return v == p || v == q || orientation2(vCoords[p], vCoords[q], vCoords[v], axis) == -inside;
                })) {
                return true;
            }
        }
        return false;
    }

    // Both begin with the common edge: in one plane, and on the same side of it.
    bool areFolded(const Corners& t, const Corners& u) const {
        const Coords &a = vCoords[t[0]], &b = vCoords[t[1]], &c = vCoords[t[2]], &d = vCoords[u[2]];
        if (orientation3(a, b, c, d) != 0) return false;
        const int axis = axisAcross(a, b, c);
        return orientation2(a, b, c, axis) == orientation2(a, b, d, axis);
    }

    int sideOf(const Corners& t, std::uint32_t vertex) const {
        return orientation3(vCoords[t[0]], vCoords[t[1]], vCoords[t[2]], vCoords[vertex]);
    }

    bool segmentMeets(std::uint32_t p, std::uint32_t q, int sideP, int sideQ, const Corners& t) const {
        return QUOR_ZEF::segmentMeets(vCoords[p], vCoords[q], sideP, sideQ, vCoords[t[0]], vCoords[t[1]],
                                      vCoords[t[2]]);
    }

    // Both begin with the common corner. Triangles that share more lie along a common
    // ray from there, and on it the nearer opposite side is in the other triangle.
    bool oppositeSideMeets(const Corners& t, const Corners& u) const {
        return segmentMeets(t[1], t[2], sideOf(u, t[1]), sideOf(u, t[2]), u);
    }

    // Whether a side of t meets u.
    bool sideMeets(const Corners& t, const Corners& u) const {
        const std::array<int, 3> sides = {sideOf(u, t[0]), sideOf(u, t[1]), sideOf(u, t[2])};
        for (std::size_t i = 0; i < 3; ++i) {
            const std::size_t j = (i + 1) % 3;
            if (segmentMeets(t[i], t[j], sides[i], sides[j], u)) return true;
        }
        return false;
    }
};

}  // namespace

std::size_t countIntersectingPairs(const TriangleMesh& mesh) {
    return PairCounter(mesh).count();
}

}  // namespace QUOR_ZEF
