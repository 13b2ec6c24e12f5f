#include "check/selfIntersections.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "check/CrossingTest.h"
#include "check/ExactPlaces.h"
#include "check/TriangleGrid.h"
#include "frame/Progress.h"
#include "frame/Run.h"
#include "frame/tools.h"
#include "parallel/parallelGroups.h"
#include "zef/errors.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t minChunk = 2'000;

using Entry = TriangleGrid::Entry;

class PairFinder {
public:
    PairFinder(const ExactTriangles& triangles_, const TriangleGrid& grid_, std::size_t most_)
        : triangles(triangles_), grid(grid_), vEntries(grid_.entries()), most(most_) {}

    // A cell belongs to the range where its entries start.
    std::vector<TrianglePair> findIn(std::size_t begin, std::size_t end) const {
        std::vector<TrianglePair> vPairs;
        std::vector<Candidate> vInCell;
        const auto code = [&](std::size_t i) { return vEntries[i].first; };
        while (begin != 0 && begin < end && code(begin) == code(begin - 1)) ++begin;
        while (begin < end && vPairs.size() <= most) {
            const uint64 cell = code(begin);
            vInCell.clear();
            for (; begin < vEntries.size() && code(begin) == cell; ++begin)
                vInCell.push_back({grid.box(vEntries[begin].second), vEntries[begin].second});
            findInCell(vInCell, cell, vPairs);
        }
        return vPairs;
    }

private:
    struct Candidate {
        CoordBox box;
        std::uint32_t triangle;
    };
    const ExactTriangles& triangles;
    const TriangleGrid& grid;
    const std::vector<Entry>& vEntries;
    const std::size_t most;

    // A pair counts in the cell with the low corner of what its boxes share.
    void findInCell(std::vector<Candidate>& vInCell, uint64 cell, std::vector<TrianglePair>& vPairs) const {
        std::ranges::sort(vInCell, {}, [](const Candidate& c) { return std::pair(c.box.low[0], c.triangle); });
        const CrossingTest test(triangles.places.v);
        for (std::size_t i = 0; i < vInCell.size() && vPairs.size() <= most; ++i) {
            const CoordBox& box = vInCell[i].box;
            for (std::size_t j = i + 1; j < vInCell.size() && vInCell[j].box.low[0] <= box.high[0]; ++j) {
                const CoordBox& other = vInCell[j].box;
                if (other.low[1] > box.high[1] || box.low[1] > other.high[1]) continue;
                if (other.low[2] > box.high[2] || box.low[2] > other.high[2]) continue;
                const Coords corner = {other.low[0], std::max(box.low[1], other.low[1]),
                                       std::max(box.low[2], other.low[2])};
                if (grid.codeAt(corner) != cell) continue;
                const std::uint32_t t = vInCell[i].triangle, u = vInCell[j].triangle;
                if (test.intersect(triangles.vCorners[t], triangles.vCorners[u]))
                    vPairs.push_back({triangles.vNumbers[std::min(t, u)], triangles.vNumbers[std::max(t, u)]});
            }
        }
    }
};

}  // namespace

ExactTriangles::ExactTriangles(const TriangleMesh& mesh) : places(mesh) {
    ASSEX(mesh.indices.size() < 0xffffffffu);
    const CrossingTest test(places.v);
    vCorners.reserve(mesh.numTriangles());
    vNumbers.reserve(mesh.numTriangles());
    for (std::size_t i = 0; i + 2 < mesh.indices.size(); i += 3) {
        pollRun(i);
        const CrossingTest::Corners t = {places.vSame[mesh.indices[i]], places.vSame[mesh.indices[i + 1]],
                                         places.vSame[mesh.indices[i + 2]]};
        if (!std::ranges::all_of(t, [&](std::uint32_t vertex) { return places.isFinite(vertex); })) continue;
        if (!test.hasArea(t)) continue;
        vCorners.push_back(t);
        vNumbers.push_back(static_cast<std::uint32_t>(i / 3));
    }
}

bool isTooCrowded(const TriangleGrid& grid) {
    constexpr double mostPairs = 2e9;  // a minute of one thread
    return grid.countPairs() > mostPairs;
}

std::vector<TrianglePair> findIntersectingPairs(const ExactTriangles& triangles, const TriangleGrid& grid,
                                                std::size_t most) {
    const std::size_t num = grid.entries().size(), groupSize = getGroupSize(num, minChunk);
    const PairFinder finder(triangles, grid, most);
    OptionalStage stage("SI_pairs", num);
    std::vector<TrianglePair> vPairs;
    for (std::size_t first = 0; first < num && vPairs.size() <= most; first += groupSize) {
        const std::size_t numHere = std::min(groupSize, num - first);
        for (const std::vector<TrianglePair>&vFound : parallelChunkResults<std::vector<TrianglePair>>(
                 numHere, minChunk,
                 [&](std::size_t begin, std::size_t end) { return finder.findIn(first + begin, first + end); }))
            vPairs.insert(vPairs.end(), vFound.begin(), vFound.end());
        stage.tick(numHere);
    }
    stage.finish();
    std::sort(vPairs.begin(), vPairs.end());
    return vPairs;
}

std::optional<std::vector<TrianglePair>> lookForIntersectingPairs(const TriangleMesh& mesh, std::size_t most) {
    OptionalStage cells("SI_cells", 2);
    const ExactTriangles triangles(mesh);
    if (triangles.vCorners.size() < 2) return std::vector<TrianglePair>();
    cells.tick();
    const TriangleGrid grid(triangles.places.v, triangles.vCorners);
    cells.finish();
    if (isTooCrowded(grid)) return std::nullopt;
    return findIntersectingPairs(triangles, grid, most);
}

std::vector<TrianglePair> findIntersectingPairs(const TriangleMesh& mesh) {
    if (auto pairs = lookForIntersectingPairs(mesh)) return std::move(*pairs);
    throw TooLargeError("too many triangles lie in one place, as around one vertex, to look for those that intersect");
}

}  // namespace QUOR_ZEF
