#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "frame/types.h"
#include "zef/tiles.h"

namespace QUOR_ZEF {

// Points that lie together, in one cell as far as tiles go.
struct CellCount {
    std::array<std::uint32_t, 3> cell;
    uint64 num;
};

// About the bytes that the mesh of a tile takes, of so many points with those of its halo.
double bytesOfTile(double numPoints, const Grid& grid);

// Boxes that share out all cells of the grid, in Z-order of their lower corners. As the options want it, see
// TileOptions: of equal widths over data, the box of the cells of all points, or until each tile keeps to the memory,
// or is as narrow as its halo. ArgumentError for more cuts than there are cells.
std::vector<TileBox> cutBoxes(const Grid& grid, const TileBox& data, const std::vector<CellCount>& vCounts,
                              const TileOptions& options);

}  // namespace QUOR_ZEF
