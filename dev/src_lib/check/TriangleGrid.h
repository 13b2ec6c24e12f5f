#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "check/CrossingTest.h"
#include "check/exactSigns.h"
#include "frame/types.h"

namespace QUOR_ZEF {

struct CoordBox {
    Coords low, high;

    bool meets(const CoordBox& other) const {
        for (std::size_t i = 0; i < 3; ++i)
            if (other.low[i] > high[i] || low[i] > other.high[i]) return false;
        return true;
    }
    void include(const CoordBox& other) {
        for (std::size_t i = 0; i < 3; ++i) {
            low[i] = std::min(low[i], other.low[i]);
            high[i] = std::max(high[i], other.high[i]);
        }
    }
};

CoordBox boxOf(const std::vector<Coords>& vPlaces, const CrossingTest::Corners& t);

// Which triangles are where, by cells of about twice a triangle.
class TriangleGrid {
public:
    using Entry = std::pair<uint64, std::uint32_t>;  // code of a cell, triangle

    // At least one triangle. Parallel; O(n log n). Some 100 bytes a triangle.
    TriangleGrid(const std::vector<Coords>& vPlaces, const std::vector<CrossingTest::Corners>& vTriangles);

    // Every triangle in every cell that its box meets, ascending by cells.
    const std::vector<Entry>& entries() const { return vEntries; }
    const CoordBox& box(std::uint32_t triangle) const { return vBoxes[triangle]; }
    uint64 codeAt(const Coords& p) const { return codeOf(cellAt(p)); }

    // The pairs of triangles that lie in one cell, counted in each cell: far more than ten a triangle where many
    // triangles lie in one place.
    double countPairs() const;

    // Appends those whose boxes meet this one, each once, ascending. O(log n) a row of cells.
    void findNear(const CoordBox& box, std::vector<std::uint32_t>& vFound) const;

private:
    using Cell = std::array<uint64, 3>;

    CoordBox all{};
    double cellEdge = 0.0;
    std::vector<CoordBox> vBoxes;
    std::vector<Entry> vEntries;

    Cell cellAt(const Coords& p) const {
        Cell cell;
        for (std::size_t i = 0; i < 3; ++i) cell[i] = static_cast<uint64>((p[i] - all.low[i]) / cellEdge);
        return cell;
    }
    static uint64 codeOf(const Cell& cell) { return cell[2] << 42 | cell[1] << 21 | cell[0]; }
    void settleCells();
    double countAllEntries() const;
    void enterTriangles();
};

}  // namespace QUOR_ZEF
