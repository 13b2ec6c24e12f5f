#include "check/TriangleGrid.h"

#include <numeric>

#include "frame/Run.h"
#include "parallel/parallelTransform.h"
#include "parallel/sortMT.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t minBoxes = 4096;

}  // namespace

CoordBox boxOf(const std::vector<Coords>& vPlaces, const CrossingTest::Corners& t) {
    CoordBox box{vPlaces[t[0]], vPlaces[t[0]]};
    box.include({vPlaces[t[1]], vPlaces[t[1]]});
    box.include({vPlaces[t[2]], vPlaces[t[2]]});
    return box;
}

TriangleGrid::TriangleGrid(const std::vector<Coords>& vPlaces, const std::vector<CrossingTest::Corners>& vTriangles)
    : vBoxes(vTriangles.size()) {
    parallelChunks(vBoxes.size(), minBoxes, [&](std::size_t begin, std::size_t end) {
        for (std::size_t t = begin; t < end; ++t) vBoxes[t] = boxOf(vPlaces, vTriangles[t]);
    });
    settleCells();
    enterTriangles();
}

// Cells of twice the mean triangle, larger if triangles would then be in more than eight cells on
// average. An axis has at most 2^20 + 1 cells.
void TriangleGrid::settleCells() {
    all = vBoxes.front();
    double sumExtent = 0.0, span = 0.0;
    for (std::size_t t = 0; t < vBoxes.size(); ++t) {
        pollRun(t);
        const CoordBox& box = vBoxes[t];
        double extent = 0.0;
        for (std::size_t i = 0; i < 3; ++i) extent = std::max(extent, box.high[i] - box.low[i]);
        sumExtent += extent;
        all.include(box);
    }
    for (std::size_t i = 0; i < 3; ++i) span = std::max(span, all.high[i] - all.low[i]);
    cellEdge = std::max(2.0 * sumExtent / static_cast<double>(vBoxes.size()), span / 0x1p20);
    while (countAllEntries() > 8.0 * static_cast<double>(vBoxes.size())) cellEdge *= 2.0;
}

double TriangleGrid::countAllEntries() const {
    double numEntries = 0.0;
    for (const double num :
         parallelChunkResults<double>(vBoxes.size(), minBoxes, [&](std::size_t begin, std::size_t end) {
             double numHere = 0.0;
             for (std::size_t t = begin; t < end; ++t) {
                 const Cell first = cellAt(vBoxes[t].low), last = cellAt(vBoxes[t].high);
                 double numCells = 1.0;
                 for (std::size_t i = 0; i < 3; ++i) numCells *= static_cast<double>(last[i] - first[i] + 1);
                 numHere += numCells;
             }
             return numHere;
         }))
        numEntries += num;
    return numEntries;
}

void TriangleGrid::enterTriangles() {
    const auto vParts =
        parallelChunkResults<std::vector<Entry>>(vBoxes.size(), minBoxes, [&](std::size_t begin, std::size_t end) {
            std::vector<Entry> vPart;
            vPart.reserve(3 * (end - begin));
            for (std::size_t t = begin; t < end; ++t) {
                const Cell first = cellAt(vBoxes[t].low), last = cellAt(vBoxes[t].high);
                for (uint64 z = first[2]; z <= last[2]; ++z)
                    for (uint64 y = first[1]; y <= last[1]; ++y)
                        for (uint64 x = first[0]; x <= last[0]; ++x)
                            vPart.emplace_back(codeOf({x, y, z}), static_cast<std::uint32_t>(t));
            }
            return vPart;
        });
    std::size_t num = 0;
    for (const std::vector<Entry>& vPart : vParts) num += vPart.size();
    vEntries.reserve(num);
    for (const std::vector<Entry>& vPart : vParts) {
        pollRun(0);
        vEntries.insert(vEntries.end(), vPart.begin(), vPart.end());
    }
    sortByFirstMT(vEntries.begin(), vEntries.end());
}

double TriangleGrid::countPairs() const {
    double numPairs = 0.0;
    for (std::size_t begin = 0, end = 0; begin < vEntries.size(); begin = end) {
        while (end < vEntries.size() && vEntries[end].first == vEntries[begin].first) ++end;
        const auto num = static_cast<double>(end - begin);
        numPairs += 0.5 * num * (num - 1.0);
    }
    return numPairs;
}

void TriangleGrid::findNear(const CoordBox& box, std::vector<std::uint32_t>& vFound) const {
    if (!box.meets(all)) return;
    CoordBox inside = box;
    for (std::size_t i = 0; i < 3; ++i) {
        inside.low[i] = std::max(box.low[i], all.low[i]);
        inside.high[i] = std::min(box.high[i], all.high[i]);
        if (!(inside.low[i] <= inside.high[i])) return;  // places that are no numbers meet nothing
    }
    const Cell first = cellAt(inside.low), last = cellAt(inside.high);
    const auto numBefore = static_cast<std::ptrdiff_t>(vFound.size());
    for (uint64 z = first[2]; z <= last[2]; ++z) {
        for (uint64 y = first[1]; y <= last[1]; ++y) {
            auto it = std::lower_bound(vEntries.begin(), vEntries.end(), Entry{codeOf({first[0], y, z}), 0});
            for (const uint64 end = codeOf({last[0], y, z}); it != vEntries.end() && it->first <= end; ++it)
                if (vBoxes[it->second].meets(box)) vFound.push_back(it->second);
        }
    }
    std::sort(vFound.begin() + numBefore, vFound.end());
    vFound.erase(std::unique(vFound.begin() + numBefore, vFound.end()), vFound.end());
}

}  // namespace QUOR_ZEF
