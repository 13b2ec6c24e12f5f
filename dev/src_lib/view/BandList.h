#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "view/Model.h"

namespace QUOR_ZEF {

// Samples whose middles lie between two places of Spot's unit, both included; none if
// first is above last.
struct SampleRange {
    std::int32_t first, last;

    SampleRange(std::int32_t low, std::int32_t high)
        : first(static_cast<std::int32_t>((std::int64_t{low} + Spot::unit / 2 - 1) >> 8)),
          last(static_cast<std::int32_t>((std::int64_t{high} - Spot::unit / 2) >> 8)) {}
};

// Which triangles, lines and points may show in which band of rows, each list ascending.
class BandList {
public:
    // O(n), on all threads; 4 bytes for each band that something is in.
    BandList(const Model& model, std::size_t numBands, std::int32_t bandRows);

    std::span<const std::uint32_t> in(std::size_t band) const {
        return std::span(vNumbers).subspan(vStarts[band], vStarts[band + 1] - vStarts[band]);
    }

private:
    std::vector<std::size_t> vStarts;  // by band, and the end
    std::vector<std::uint32_t> vNumbers;
};

}  // namespace QUOR_ZEF
