#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "density/PointGrid.h"
#include "frame/types.h"
#include "zef/Point3.h"
#include "zef/Vector3.h"

namespace QUOR_ZEF {

// Sheets of a surface that lie closer together than the grid can tell apart, such as the two faces of a thin wall. They
// are moved away from each other along their normals, until they are a few cells apart, and what lies around follows
// smoothly; the sample of a cell moves back.
//
// Two sheets lie closer than some three cells, and nothing lies between them: the points along the normal of one come
// in two groups, and most points around see the same. So points that scatter widely about one surface are one sheet.
// Does not depend on the number of threads. About 6 microseconds a point, on all threads.
class ThinSheets {
public:
    // The grid outlives this.
    explicit ThinSheets(const PointGrid& pointGrid);

    // How many points lie on a sheet that has another one near.
    std::size_t getNumThin() const { return numThin; }

    // The points in the grid's order, those near thin places moved.
    std::vector<Point3> spread();
    // Where a place among the moved points was before. Needs spread(), and no grid any more. 1 microsecond.
    Point3 moveBack(const Point3& place) const;

private:
    using Near = std::vector<std::pair<Vector3, std::uint32_t>>;  // ways in cells, and the points there
    struct Sheet {
        Vector3 normal;              // null: not known
        float height = 0;            // cells from the point to the middle of its sheet, along the normal
        float above = 0, below = 0;  // cells to the next sheets along the normal; 0: none near
    };
    class Gatherer;

    template <class Fn>
    void forEachPoint(const Fn& fn) const;
    Sheet findSheet(const Near& near) const;
    Sheet adoptSheet(const Sheet& own, const Near& near) const;
    static double misfit(const Near& near, const std::vector<double>& vWeights, const Sheet& sheet);
    static void refine(const Near& near, const std::vector<double>& vWeights, Sheet& sheet);
    void findSheets();
    void findPartners();
    bool findTube(Sheet& sheet, const Near& near) const;
    float findPartner(const Sheet& own, const Near& near, double side) const;
    void dropLonely();
    void dropSmall();
    void linkActive();
    void relax();
    bool isSameSheet(std::uint32_t i, std::uint32_t k, const Vector3& way) const;
    Vector3 wishOf(const Sheet& sheet) const;
    void indexMoved(const std::vector<Point3>& vMoved);

    const PointGrid& grid;
    const double cell;
    std::size_t numThin = 0;
    std::vector<Sheet> vSheets;   // by point
    std::vector<Vector3> vMoves;  // by point, in cells

    // Around thin places: points, and of each those of its sheet near it, one list after the other.
    std::vector<std::uint32_t> vActive, vFirstLink, vLinks;

    // What moveBack() asks.
    std::vector<std::pair<Point3, Vector3>> vMovedPoints;  // by block; with their moves, in cells
    std::vector<std::uint32_t> vFirst;
    CodeMap blocks;
    Calc calc;
};

}  // namespace QUOR_ZEF
