#pragma once

#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "frame/types.h"
#include "grid/CellBlocks.h"
#include "zef/Point3.h"
#include "zef/Vector3.h"

namespace QUOR_ZEF {

// Where the surface around a cell lies, by the samples of the cells that hang together with it.
// Threads: const.
class LocalPlanes {
public:
    // Cells with their samples, sorted; borrowed. 30 ns a cell.
    explicit LocalPlanes(const std::vector<std::pair<uint64, Point3>>& vRCDPoint);

    // Of cells of the list.
    const Point3& sampleOf(uint64 rcd) const { return vPoints[blocks.indexOf(rcd)].second; }
    // The unit normal of the samples up to two cells away, each as often as a cell between leads
    // to it; its sign is left open. None if they have no plane. About a microsecond.
    std::optional<Vector3> normalAt(uint64 rcd) const;
    // The sine of the angle between the surface at a cell and the link to another cell; none
    // without a plane.
    std::optional<double> steepness(uint64 rcd, uint64 other) const;

private:
    const std::vector<std::pair<uint64, Point3>>& vPoints;
    CellBlocks_RCD blocks;
};

}  // namespace QUOR_ZEF
