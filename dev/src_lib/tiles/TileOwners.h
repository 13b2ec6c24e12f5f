#pragma once

#include <cstdint>
#include <limits>
#include <vector>

#include "frame/types.h"
#include "grid/Calc.h"
#include "zef/tiles.h"

namespace QUOR_ZEF {

// By so many cells on each side, but not below 0.
TileBox widened(TileBox box, uint64 numCells);

// Whose the cells around one tile are.
class TileOwners {
public:
    static constexpr std::uint32_t nobody = std::numeric_limits<std::uint32_t>::max();  // near this tile

    TileOwners(const TilePlan& plan, std::uint32_t tile);

    std::uint32_t getTile() const { return own.tile; }
    std::uint32_t ownerOf(const GridCoords& cell) const;
    std::uint32_t ownerOf(uint64 ccd) const { return ownerOf(unpackCCD(ccd)); }
    // The band of a tile are the cells of its box, and around it, that are nearer than so many to a seam.
    static constexpr uint64 bandWidth = 12;
    // Tiles that have the cell in their boxes or bands, ascending; of those around this one.
    void listViewers(const GridCoords& cell, std::vector<std::uint32_t>& vViewers) const;
    // Whether there are several of them.
    bool isShared(const GridCoords& cell) const;
    // Whether this one is among them.
    bool isViewed(const GridCoords& cell) const;

private:
    struct Owned {
        std::uint32_t tile = 0;
        TileBox box;
    };
    Owned own;
    std::vector<Owned> vAround;  // those that the halo, or what grew beyond it, can reach

    bool isDeepInside(const GridCoords& cell) const;
};

}  // namespace QUOR_ZEF
