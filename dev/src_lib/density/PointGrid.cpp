#include "density/PointGrid.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <tuple>

#include "frame/tools.h"
#include "parallel/blockSort.h"
#include "parallel/parallelTransform.h"
#include "parallel/sortMT.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t minChunk = 4096;

bool isBefore(const Point3& a, const Point3& b) {
    return std::tie(a.px, a.py, a.pz) < std::tie(b.px, b.py, b.pz);
}

// The codes of the blocks around one, by the tribits of its coordinates; none that would
// lie beyond the grid.
template <class Fn>
void forEachBlockAround(uint64 code, const Fn& fn) {
    const GridCoords at = unpackCCD(code);
    for (uint64 x = at.x - 1; x != at.x + 2; ++x)
        for (uint64 y = at.y - 1; y != at.y + 2; ++y)
            for (uint64 z = at.z - 1; z != at.z + 2; ++z)
                if (x <= coordMask && y <= coordMask && z <= coordMask) fn(packCCD(x, y, z));
}

}  // namespace

PointGrid::PointGrid(const PointSource& points, const Calc& grid) : calc(grid) {
    ASSEX(points.size()<std::numeric_limits<std::uint32_t>::max());
    sortCells(points);
    for (int level = 0; level < numLevels; ++level) findBlocks(level);
}

void PointGrid::sortCells(const PointSource& points) {
    std::vector<std::pair<uint64, uint64>> vPairs(points.size());
    parallelChunks(vPairs.size(), minChunk, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) vPairs[i] = {calc.getCCD(points[i]), i};
    });
    sortStableByFirstMT(vPairs.begin(), vPairs.end());
    vPoints.resize(vPairs.size());
    vCodes.resize(vPairs.size());
    parallelChunks(vPairs.size(), minChunk, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            vPoints[i] = points[vPairs[i].second];
            vCodes[i] = vPairs[i].first;
        }
    });
    parallelChunks(vPairs.size(), minChunk, [&](std::size_t begin, std::size_t end) {
        while (begin > 0 && begin < end && vCodes[begin] == vCodes[begin - 1]) ++begin;
        while (begin < end) {
            std::size_t last = begin + 1;
            while (last < vCodes.size() && vCodes[last] == vCodes[begin]) ++last;
            std::stable_sort(vPoints.begin() + static_cast<std::ptrdiff_t>(begin),
                             vPoints.begin() + static_cast<std::ptrdiff_t>(last), isBefore);
            begin = last;
        }
    });
}

void PointGrid::findBlocks(int level) {
    Blocks& blocks = aBlocks[static_cast<std::size_t>(level)];
    const int shift = 3 * level;
    // The blocks of a level begin where some of the level below do.
    const std::vector<std::uint32_t>* const pBelow =
        level == 0 ? nullptr : &aBlocks[static_cast<std::size_t>(level - 1)].vFirst;
    const std::size_t num = pBelow ? pBelow->size() - 1 : vCodes.size();
    for (std::size_t i = 0; i < num; ++i) {
        const std::uint32_t first = pBelow ? (*pBelow)[i] : static_cast<std::uint32_t>(i);
        if (first == 0 || vCodes[first] >> shift != vCodes[first - 1] >> shift) blocks.vFirst.push_back(first);
    }
    blocks.numbers = CodeMap(blocks.vFirst.size());
    for (std::size_t i = 0; i < blocks.vFirst.size(); ++i)
        blocks.numbers.insert(vCodes[blocks.vFirst[i]] >> shift, static_cast<std::uint32_t>(i));
    blocks.vFirst.push_back(size());
}

PointGrid::Range PointGrid::getBlock(int level, uint64 code) const {
    const Blocks& blocks = aBlocks[static_cast<std::size_t>(level)];
    const std::uint32_t number = blocks.numbers.find(code);
    if (number == CodeMap::npos) return {0, 0};
    return {blocks.vFirst[number], blocks.vFirst[number + 1]};
}

void NeighbourSearch::lookAround(int level, uint64 cell) {
    const uint64 block = cell >> (3 * level);
    if (level == levelAround && block == blockAround) return;
    levelAround = level;
    blockAround = block;
    numRanges = numAround = 0;
    forEachBlockAround(block, [&](uint64 code) {
        const PointGrid::Range range = grid.getBlock(level, code);
        if (range.first == range.second) return;
        aRanges[numRanges++] = range;
        numAround += range.second - range.first;
    });
}

// Every point nearer than that lies in the blocks around, also where coordinates are rounded
// to a sixteenth of a cell.
double NeighbourSearch::getReach(const Point3& p, int level, uint64 cell) const {
    const Calc& calc = grid.getCalc();
    const double side = std::ldexp(calc.getCellSize(), level);
    const GridCoords at = unpackCCD(cell >> (3 * level));
    const auto inside = [side](double coord, double origin, uint64 block) {
        const double beyond = coord - (origin + side * static_cast<double>(block));
        return std::min(beyond, side - beyond);
    };
    const double nearest =
        std::min({inside(p.px, calc.x0, at.x), inside(p.py, calc.y0, at.y), inside(p.pz, calc.z0, at.z)});
    return side + nearest - 0.125 * calc.getCellSize();
}

void NeighbourSearch::collect(std::uint32_t i, std::size_t num) {
    vNear.clear();
    const Point3& p = grid[i];
    for (std::size_t r = 0; r < numRanges; ++r)
        for (std::uint32_t k = aRanges[r].first; k < aRanges[r].second; ++k)
            if (k != i) vNear.push_back({(grid[k] - p).sqLength(), k});
    if (vNear.size() > num) keepNearest(num);
}

// Parts by distance first, where the outcome of a comparison is no jump: as a jump it would be guessed wrong half the
// time.
void NeighbourSearch::keepNearest(std::size_t num) {
    constexpr std::ptrdiff_t small = 160;
    const auto byDistance = [](const Neighbour& a, const Neighbour& b) { return a.sqDistance < b.sqDistance; };
    const auto end = vNear.begin() + static_cast<std::ptrdiff_t>(num);
    auto first = vNear.begin(), last = vNear.end();
    while (last - first > small) {
        const double pivot = choosePivot(first, last, byDistance)->sqDistance;
        const auto mid = blockPartition(first, last, [pivot](const Neighbour& n) { return n.sqDistance < pivot; });
        if (mid == first) break;
        (mid > end ? last : first) = mid;
        if (mid == end) break;
    }
    if (first != end) std::nth_element(first, end, last);
    vNear.resize(num);
}

const std::vector<NeighbourSearch::Neighbour>& NeighbourSearch::find(std::uint32_t i, std::size_t num) {
    constexpr int coarsest = PointGrid::numLevels - 1;
    const std::size_t many = 12 * num;
    const uint64 cell = grid.getCell(i);
    int level = startLevel;
    lookAround(level, cell);
    while (level > 0 && numAround > many) lookAround(--level, cell);
    for (;; lookAround(++level, cell)) {
        if (numAround <= num && level < coarsest) continue;
        collect(i, num);
        const double reach = getReach(grid[i], level, cell);
        const auto farthest = std::max_element(vNear.begin(), vNear.end());
        const bool bAll = vNear.size() == num && farthest->sqDistance < reach * reach;
        if (bAll || level == coarsest) break;
    }
    startLevel = level;
    std::sort(vNear.begin(), vNear.end());
    return vNear;
}

bool NeighbourSearch::hasWithin(std::uint32_t i, std::size_t num, double distance) {
    lookAround(0, grid.getCell(i));
    if (numAround <= num) return false;
    const double sqDistance = distance * distance;
    const Point3& p = grid[i];
    std::size_t numFound = 0;
    for (std::size_t r = 0; r < numRanges; ++r)
        for (std::uint32_t k = aRanges[r].first; k < aRanges[r].second; ++k)
            if (k != i && (grid[k] - p).sqLength() <= sqDistance && ++numFound == num) return true;
    return false;
}

}  // namespace QUOR_ZEF
