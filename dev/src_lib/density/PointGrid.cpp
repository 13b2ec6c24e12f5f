#include "density/PointGrid.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "frame/tools.h"
#include "geometry/byPlace.h"
#include "parallel/parallelTransform.h"
#include "parallel/sortMT.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t minPoints = 4096;

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
    parallelChunks(vPairs.size(), minPoints, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) vPairs[i] = {calc.getCCD(points[i]), i};
    });
    sortStableByFirstMT(vPairs.begin(), vPairs.end());
    vPoints.resize(vPairs.size());
    vCodes.resize(vPairs.size());
    parallelChunks(vPairs.size(), minPoints, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            vPoints[i] = points[vPairs[i].second];
            vCodes[i] = vPairs[i].first;
        }
    });
    parallelChunks(vPairs.size(), minPoints, [&](std::size_t begin, std::size_t end) {
        while (begin > 0 && begin < end && vCodes[begin] == vCodes[begin - 1]) ++begin;
        while (begin < end) {
            std::size_t last = begin + 1;
            while (last < vCodes.size() && vCodes[last] == vCodes[begin]) ++last;
            std::sort(vPoints.begin() + static_cast<std::ptrdiff_t>(begin),
                      vPoints.begin() + static_cast<std::ptrdiff_t>(last), comesBefore);
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

const NeighbourSearch::Around& NeighbourSearch::lookAround(int level, uint64 cell) {
    const uint64 block = cell >> (3 * level);
    Around& around = aAround[static_cast<std::size_t>(level)];
    if (around.bKnown && around.block == block) return around;
    around.bKnown = true;
    around.block = block;
    around.numRanges = around.numPoints = 0;
    forEachBlockAround(block, [&](uint64 code) {
        const PointGrid::Range range = grid.getBlock(level, code);
        if (range.first == range.second) return;
        around.aRanges[around.numRanges++] = range;
        around.numPoints += range.second - range.first;
    });
    return around;
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

// As many points lie that near: those nearest to the point asked for last, and that one itself.
double NeighbourSearch::getSqBound(std::uint32_t i, std::size_t num) const {
    constexpr double margin = 1.0 + 1e-9;  // of rounding
    if (vNear.size() < num) return std::numeric_limits<double>::infinity();
    const double bound = std::sqrt(vNear[num - 1].sqDistance) + (grid[i] - grid[asked]).length();
    return margin * bound * bound;
}

// Writes without a jump, as it would be guessed wrong half the time.
std::size_t NeighbourSearch::collect(std::uint32_t i, const Around& around, double sqBound) {
    if (vFound.size() < around.numPoints) vFound.resize(around.numPoints);
    const Point3& p = grid[i];
    std::size_t num = 0;
    for (std::size_t r = 0; r < around.numRanges; ++r) {
        for (std::uint32_t k = around.aRanges[r].first; k < around.aRanges[r].second; ++k) {
            vFound[num] = {(grid[k] - p).sqLength(), k};
            num += static_cast<std::size_t>(vFound[num].sqDistance <= sqBound) & static_cast<std::size_t>(k != i);
        }
    }
    return num;
}

// Points of a surface have squared distances that are spread evenly, and so over the buckets.
void NeighbourSearch::keepNearest(std::size_t numFound, std::size_t num) {
    constexpr std::size_t numBuckets = 64;
    double most = 1e-300;
    for (std::size_t i = 0; i < numFound; ++i) most = std::max(most, vFound[i].sqDistance);
    const double scale = static_cast<double>(numBuckets - 1) / most;
    const auto bucketOf = [=](double sqDistance) {
        return sqDistance < most ? static_cast<std::size_t>(sqDistance * scale) : numBuckets - 1;
    };
    std::array<std::size_t, numBuckets + 1> aEnd{};
    for (std::size_t i = 0; i < numFound; ++i) ++aEnd[bucketOf(vFound[i].sqDistance) + 1];
    for (std::size_t i = 1; i <= numBuckets; ++i) aEnd[i] += aEnd[i - 1];
    vNear.resize(numFound);
    for (std::size_t i = 0; i < numFound; ++i) vNear[aEnd[bucketOf(vFound[i].sqDistance)]++] = vFound[i];
    const auto at = [this](std::size_t i) { return vNear.begin() + static_cast<std::ptrdiff_t>(i); };
    for (std::size_t i = 0, begin = 0; i < numBuckets && begin < num; begin = aEnd[i++])
        std::sort(at(begin), at(aEnd[i]));
    vNear.resize(std::min(num, numFound));
}

const std::vector<NeighbourSearch::Neighbour>& NeighbourSearch::find(std::uint32_t i, std::size_t num) {
    constexpr int coarsest = PointGrid::numLevels - 1;
    const std::size_t many = 12 * num;
    const uint64 cell = grid.getCell(i);
    double sqBound = getSqBound(i, num);
    int level = startLevel;
    while (level > 0 && lookAround(level, cell).numPoints > many) --level;
    for (;; ++level) {
        const Around& around = lookAround(level, cell);
        if (around.numPoints <= num && level < coarsest) continue;
        std::size_t numFound = collect(i, around, sqBound);
        if (numFound < num && level < coarsest) continue;
        // Those that gave the bound may lie beyond the blocks.
        if (numFound < num) numFound = collect(i, around, std::numeric_limits<double>::infinity());
        keepNearest(numFound, num);
        const double reach = getReach(grid[i], level, cell);
        if (level == coarsest || vNear.back().sqDistance < reach * reach) break;
    }
    startLevel = level;
    asked = i;
    return vNear;
}

bool NeighbourSearch::hasWithin(std::uint32_t i, std::size_t num, double distance) {
    const Around& around = lookAround(0, grid.getCell(i));
    if (around.numPoints <= num) return false;
    const double sqDistance = distance * distance;
    const Point3& p = grid[i];
    std::size_t numFound = 0;
    for (std::size_t r = 0; r < around.numRanges; ++r)
        for (std::uint32_t k = around.aRanges[r].first; k < around.aRanges[r].second; ++k)
            if (k != i && (grid[k] - p).sqLength() <= sqDistance && ++numFound == num) return true;
    return false;
}

}  // namespace QUOR_ZEF
