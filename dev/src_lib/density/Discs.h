#pragma once

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "frame/types.h"
#include "grid/Calc.h"
#include "zef/Point3.h"
#include "zef/Vector3.h"

namespace QUOR_ZEF {

// A piece of a plane around a point, which reaches differently far in eight directions.
struct Disc {
    static constexpr std::size_t numSectors = 8, maxCuts = 20;

    // Where the next point in a sector is: how far, world units, and in which direction.
    struct Reach {
        double length = 0.0;
        double right = 0.0, up = 0.0;  // of unit length, or 0 where there is none

        bool hasNeighbour() const { return right != 0.0 || up != 0.0; }
    };

    // Where the disc ends, whatever its reach: only what is at least as far along the normal,
    // seen from the centre, belongs to it.
    struct Cut {
        Vector3 normal;
        double least = 0.0;
    };

    Point3 centre;
    Vector3 normal, right, up;  // an orthonormal frame
    double spacing;             // of the points there, world units
    std::array<Reach, numSectors> aReach{};
    std::array<Cut, maxCuts> aCuts{};
    std::size_t numCuts = 0;

    // normal_: of unit length.
    Disc(const Point3& centre_, const Vector3& normal_, double spacing_);

    // The eighth part of the plane in which a direction of the frame lies.
    static std::size_t getSector(double right, double up) {
        const std::size_t steep = std::abs(up) > std::abs(right) ? 1 : 0;
        return steep + (right < 0.0 ? 2 : 0) + (up < 0.0 ? 4 : 0);
    }
    void addCut(const Cut& cut) { aCuts[numCuts++] = cut; }
    double getLongestReach() const;
    // The share of the way to the rim, seen from the centre; above 1 outside, and beyond a cut.
    // The way to a neighbour that is far away is no wider than the points are apart.
    double getShare(const Vector3& away) const;
};

// A cell that discs pass.
struct DrawnCell {
    uint64 ccd;
    Point3 place;        // without colour
    std::uint32_t disc;  // whose centre is nearest, in its reaches
};

// The cells that the discs pass, each with the place where they do: their mean, where the
// nearer a disc's centre the more it counts. Ascending by the cells' CCDs. getDisc makes a
// disc by its number, once, on any thread. vCells: a cell of each disc, as CCD. Those that follow each other in one
// block of cells are added up before others, so that the same discs around give the same sums, whatever lies elsewhere.
// O(n log n) in the area of the discs in cells, some 70 bytes each, on all threads.
std::vector<DrawnCell> drawDiscs(const std::vector<uint64>& vCells, const std::function<Disc(std::size_t)>& getDisc,
                                 const Calc& calc);

}  // namespace QUOR_ZEF
