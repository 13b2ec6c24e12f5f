#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "view/Model.h"

namespace QUOR_ZEF {

// What shows at each sample of a band of rows: the number of a triangle, line or point, and
// its depth. Of two at the same depth the one that was drawn first.
class Canvas {
public:
    static constexpr std::uint32_t nothing = UINT32_MAX;

    Canvas(std::int32_t width, std::int32_t numRows);

    // Empties it; it holds numRows rows from firstRow on.
    void start(std::int32_t firstRow);
    void drawTriangle(std::uint32_t number, const std::array<Spot, 3>& spots);
    void drawStroke(std::uint32_t number, const Stroke& stroke);

    // row: of the picture.
    std::uint32_t numberAt(std::int32_t column, std::int32_t row) const { return vNumbers[at(column, row)]; }
    float depthAt(std::int32_t column, std::int32_t row) const { return vDepths[at(column, row)]; }

private:
    std::int32_t width, numRows, firstRow = 0;
    std::vector<std::uint32_t> vNumbers;
    std::vector<float> vDepths;

    std::size_t at(std::int32_t column, std::int32_t row) const {
        return static_cast<std::size_t>(row - firstRow) * static_cast<std::size_t>(width) +
               static_cast<std::size_t>(column);
    }
    void put(std::int32_t column, std::int32_t row, float depth, std::uint32_t number);
};

}  // namespace QUOR_ZEF
