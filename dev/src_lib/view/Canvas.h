#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "view/Model.h"

namespace QUOR_ZEF {

// Samples from the first to the last column and row; none where they are the other way round.
struct SampleWindow {
    std::int32_t firstColumn, lastColumn, firstRow, lastRow;

    std::size_t area() const {
        if (firstColumn > lastColumn || firstRow > lastRow) return 0;
        return static_cast<std::size_t>(lastColumn - firstColumn + 1) *
               static_cast<std::size_t>(lastRow - firstRow + 1);
    }
};

// What shows at each sample of a band of rows: the number of a triangle, line or point, and
// its depth. Of two at the same depth the one with the lower number, so that the order in which
// they come does not show.
class Canvas {
public:
    static constexpr std::uint32_t nothing = UINT32_MAX;

    Canvas(std::int32_t width, std::int32_t numRows);

    // Empties it; it holds numRows rows from firstRow on.
    void start(std::int32_t firstRow);
    // What these of the model show in the rows. Where so much lies behind one another that it would
    // take long to look at each sample of all, the nearest come first, and blocks of samples
    // that are behind what is there are passed over.
    void draw(const Model& model, std::span<const std::uint32_t> numbers);

    // row: of the picture.
    std::uint32_t numberAt(std::int32_t column, std::int32_t row) const { return vNumbers[at(column, row)]; }
    float depthAt(std::int32_t column, std::int32_t row) const { return vDepths[at(column, row)]; }

private:
    static constexpr std::int32_t blockSize = 8;  // samples

    std::int32_t width, numRows, numBlocksAcross, firstRow = 0;
    std::vector<std::uint32_t> vNumbers;
    std::vector<float> vDepths;
    std::vector<float> vFarthest;  // by block, row by row: no sample of it is farther; while the nearest come first

    std::size_t at(std::int32_t column, std::int32_t row) const {
        return static_cast<std::size_t>(row - firstRow) * static_cast<std::size_t>(width) +
               static_cast<std::size_t>(column);
    }
    void put(std::int32_t column, std::int32_t row, float depth, std::uint32_t number);
    SampleWindow clipped(const SampleWindow& window) const;
    template <class Outline>
    void drawIn(const SampleWindow& window, std::uint32_t number, const Outline& outline);
    void drawNearestFirst(const Model& model, std::span<const std::uint32_t> numbers);
    template <class Outline>
    void drawInBlocks(std::uint32_t number, const Outline& outline);
    float farthestInBlock(std::int32_t x, std::int32_t y) const;
};

}  // namespace QUOR_ZEF
