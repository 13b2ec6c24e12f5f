#pragma once

#include <algorithm>

#include "frame/types.h"
#include "grid/Calc.h"
#include "zef/Vector3.h"

namespace QUOR_ZEF {

// The box of some cells, in grid coordinates, both corners included.
struct CellBox {
    explicit CellBox(uint64 rcd) : low(unpackRCD(rcd)), high(low) {}

    void add(uint64 rcd) {
        const GridCoords c = unpackRCD(rcd);
        low = {std::min(low.x, c.x), std::min(low.y, c.y), std::min(low.z, c.z)};
        high = {std::max(high.x, c.x), std::max(high.y, c.y), std::max(high.z, c.z)};
    }
    // From the lowest cell to the highest one.
    Vector3 diagonal() const {
        return {static_cast<double>(high.x - low.x), static_cast<double>(high.y - low.y),
                static_cast<double>(high.z - low.z)};
    }

    GridCoords low, high;
};

}  // namespace QUOR_ZEF
