#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "field/Facet.h"
#include "frame/types.h"
#include "grid/CellBlocks.h"
#include "grid/cellTopology.h"

namespace QUOR_ZEF {

// Finds the facets of a set of cells without searching: a facet's number is its
// place among all facets in order, the number of its cell's first facet plus the
// rank of its dir.
//
// Memory: about 20 bytes a cell. Threads: const members may run side by side.
class FacetIndex {
public:
    static constexpr std::uint32_t npos = CellBlocks_RCD::npos;

    FacetIndex() : FacetIndex(std::span<const uint64>()) {}
    // vCells: sorted and unique, or an ASSEX fails; not kept. Fewer than 2^32 - 1
    // facets. About 60 ns a cell.
    explicit FacetIndex(std::span<const uint64> vCells);

    std::size_t numCells() const { return vFaces.size(); }
    std::uint32_t numFacets() const { return vFirst.back(); }

    // The cell's place in the list, npos for other cells.
    std::uint32_t cellOf(uint64 rcd) const { return blocks.indexOf(rcd); }
    // Which cells exist around a cell; bits as in cellTopology.h.
    std::uint32_t maskOf(std::uint32_t cell) const { return vMasks[cell]; }
    bool isExposed(std::uint32_t cell, int dir) const { return vFaces[cell] >> dir & 1; }

    // The facets of a cell are those from firstFacet(cell) up to firstFacet(cell + 1).
    std::uint32_t firstFacet(std::uint32_t cell) const { return vFirst[cell]; }
    // The face must be exposed.
    std::uint32_t facetOf(std::uint32_t cell, int dir) const {
        return vFirst[cell] + static_cast<std::uint32_t>(countCells(vFaces[cell] & ((1u << dir) - 1)));
    }

    // The number of the facet across an edge of an exposed face. About 50 ns.
    std::uint32_t neighbour(uint64 rcd, int dir, int edge) const;
    std::uint32_t neighbour(const Facet& f, int edge) const { return neighbour(f.rcd, f.dir, edge); }
    // The numbers of all facets' neighbours by edge, in facet order: 16 bytes a
    // facet. vCells: the cells of construction. Parallel.
    std::vector<std::array<std::uint32_t, 4>> getNeighbours(std::span<const uint64> vCells) const;

    // fn(cell) for the listed ones of the 26 cells around a cell, ascending by
    // block index; for the cell itself too if it is listed and bWithCentre.
    template <class Fn>
    void forEachAround(uint64 rcd, bool bWithCentre, const Fn& fn) const {
        const std::uint32_t around = bWithCentre ? blockAll : blockAll & ~blockCentreBit;
        blocks.forEachInMask(rcd, blocks.maskListed27(rcd) & around, [&](std::uint32_t cell, int) { fn(cell); });
    }

private:
    CellBlocks_RCD blocks;
    std::vector<std::uint32_t> vMasks;
    std::vector<std::uint8_t> vFaces;
    std::vector<std::uint32_t> vFirst;  // one more than cells
};

}  // namespace QUOR_ZEF
