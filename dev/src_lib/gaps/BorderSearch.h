#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "frame/types.h"

namespace QUOR_ZEF {

// Finds, for cells of numbered components, the nearest cell of another component:
// a tree of boxes over the cells in Z-order, eight boxes or cells in each. A box
// knows whether all its cells are of one component, so that a component's own cells cost nothing.
//
// Threads: any number may ask one search.
// Cost: O(n log n) to make, about 25 bytes a cell; a question takes O(log n) as a rule.
class BorderSearch {
public:
    static constexpr std::uint32_t npos = std::numeric_limits<std::uint32_t>::max();

    struct Cell {
        uint64 rcd;
        std::uint32_t component;
        bool bSmall;  // its component is small: to be found only close by
    };
    struct Hit {
        std::uint32_t index = npos;  // in the given list; npos: nothing found
        std::int64_t dist2 = 0;      // squared, in cells
    };

    // Fewer than 2^32 - 1 cells, each code once. smallReach, in cells: small
    // components are found at less than this distance only.
    BorderSearch(const std::vector<Cell>& vGivenCells, double smallReach);

    // The nearest cell of another component than the cell's, up to maxDist cells
    // away; among several the one of the largest code.
    Hit nearestOfOther(const Cell& cell, int maxDist) const;

private:
    struct Box {
        std::int32_t lower[3], upper[3];
        std::uint32_t minComponent, maxComponent;
        void include(const Box& box);
    };
    struct Question;

    Box boxOf(const Cell& cell) const;
    void buildLevels();
    void visit(std::size_t level, std::size_t first, Question& question) const;
    void testCells(std::size_t leaf, Question& question) const;

    double smallReach;
    std::vector<Cell> vCells;               // in Z-order
    std::vector<std::uint32_t> vNumbers;    // beside vCells: the index in the given list
    std::vector<std::vector<Box>> vLevels;  // from the leaves up; the highest has at most 8
};

}  // namespace QUOR_ZEF
