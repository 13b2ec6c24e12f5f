#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "frame/types.h"
#include "geometry/PointSource.h"
#include "grid/Calc.h"
#include "store/CodeMap.h"
#include "zef/Point3.h"

namespace QUOR_ZEF {

// The points of a cloud in Z-order, with the blocks of 1, 2, 4, ... cells that hold some.
// In that order each block is a stretch of points, so that neighbours at any distance are
// found by block codes alone.
//
// Points of one cell stand by coordinates, so that no result depends on the order of the
// input but where points coincide. Reading from several threads is safe.
// O(n log n); 70 bytes a point at most.
class PointGrid {
public:
    using Range = std::pair<std::uint32_t, std::uint32_t>;  // [first, last) of the points in Z-order

    static constexpr int numLevels = 12;  // blocks of up to 2^11 cells

    // grid lays points at least one block of the coarsest level inside, and outlives this. Fewer than
    // 2^32 points, else an ASSEX fails.
    PointGrid(const PointSource& points, const Calc& grid);

    std::uint32_t size() const { return static_cast<std::uint32_t>(vPoints.size()); }
    const Point3& operator[](std::uint32_t i) const { return vPoints[i]; }
    uint64 getCell(std::uint32_t i) const { return vCodes[i]; }  // CCD
    const Calc& getCalc() const { return calc; }

    // The points of a cell, given as CCD.
    Range getPointsOf(uint64 ccd) const { return getBlock(0, ccd); }
    // The points of a block, given by its code, which is the CCD of its cells without the
    // tribits of the levels below.
    Range getBlock(int level, uint64 code) const;

private:
    void sortCells(const PointSource& points);
    void findBlocks(int level);

    const Calc& calc;
    std::vector<Point3> vPoints;
    std::vector<uint64> vCodes;  // ascending
    struct Blocks {
        CodeMap numbers;                    // of the blocks' codes
        std::vector<std::uint32_t> vFirst;  // of their points, and the end of all
    };
    std::array<Blocks, numLevels> aBlocks;
};

// The distance of the nearest point of this rank is the local spacing.
inline constexpr std::size_t spacingRank = 6;

// Finds the points nearest to others. One for each thread; asking in Z-order is fast, since
// the blocks around are looked up once for all points of a block, and an answer bounds the next one.
class NeighbourSearch {
public:
    struct Neighbour {
        double sqDistance;
        std::uint32_t point;
        bool operator<(const Neighbour& other) const {
            return sqDistance != other.sqDistance ? sqDistance < other.sqDistance : point < other.point;
        }
    };

    explicit NeighbourSearch(const PointGrid& pointGrid) : grid(pointGrid) {}

    // The num points, at least one, nearest to point i but itself, nearest first, equally near ones in
    // the grid's order; fewer if the blocks of the coarsest level around hold no more. Good until
    // the next call. About 1 microsecond for 60.
    const std::vector<Neighbour>& find(std::uint32_t i, std::size_t num);

    // Whether num points but itself lie that near; distance at most one cell.
    bool hasWithin(std::uint32_t i, std::size_t num, double distance);

private:
    // The points around a block.
    struct Around {
        uint64 block = 0;
        std::array<PointGrid::Range, 27> aRanges{};
        std::size_t numRanges = 0, numPoints = 0;
        bool bKnown = false;
    };

    const Around& lookAround(int level, uint64 cell);
    double getSqBound(std::uint32_t i, std::size_t num) const;
    std::size_t collect(std::uint32_t i, const Around& around, double sqBound);
    void keepNearest(std::size_t numFound, std::size_t num);
    double getReach(const Point3& p, int level, uint64 cell) const;

    const PointGrid& grid;
    std::vector<Neighbour> vNear;
    std::uint32_t asked = 0;                           // the point to which they are near
    std::vector<Neighbour> vFound;                     // in any order; as long as was ever needed
    std::array<Around, PointGrid::numLevels> aAround;  // the blocks of the last questions, by level
    int startLevel = 0;
};

}  // namespace QUOR_ZEF
