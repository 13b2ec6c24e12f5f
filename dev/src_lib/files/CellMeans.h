#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "formats/PointStream.h"
#include "frame/types.h"
#include "store/CodeMap.h"

namespace QUOR_ZEF {

// One point a cell of a grid: the mean of those that lie in it. Takes memory by the cells, some
// 100 bytes each and 40 more with colours.
class CellMeans {
public:
    explicit CellMeans(double gridSide) : side(gridSide) {}

    // A LoadError if the grid is too fine for the point. Of its place, beside what the block has,
    // the direction to the scanner stands for a normal.
    void add(const PointBlock& block, std::size_t i);
    std::size_t size() const { return vNums.size(); }

    // Which attributes the points get: sums of normals, classes of the first points, means of the rest.
    struct Wanted {
        bool bNormals, bClasses, bIntensities;
    };
    // In the order in which the cells were first met; nothing is left here.
    void takeMeans(const Wanted& wanted, PointBlock& out);

private:
    struct ColorSum {
        std::array<uint64, 4> channels{};
        uint64 num = 0;
    };
    double side;
    Point3 origin;  // of the cells' numbers
    CodeMap cells;
    // Of each cell. Attributes end with the last cell that has one.
    std::vector<uint64> vCodes, vNums;
    std::vector<Vector3> vSums;  // relative to the corner of the cell
    std::vector<Vector3> vNormals;
    std::vector<ColorSum> vColors;
    std::vector<double> vIntensities;
    std::vector<std::uint8_t> vClasses;

    uint64 codeOf(const Point3& p) const;
    Point3 cornerOf(uint64 code) const;
    std::size_t cellOf(const Point3& p);
    void addColor(std::size_t cell, const Point3& p);
    Point3 meanOf(std::size_t cell) const;
};

}  // namespace QUOR_ZEF
