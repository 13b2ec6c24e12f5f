#pragma once

#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "frame/tools.h"
#include "frame/types.h"
#include "zef/Point3.h"

// Codes of the grid, 64 bits wide. Two layouts carry the same three coordinates:
//
//   packed       x in bits 42 to 62, y in bits 21 to 41, z in bits 0 to 20
//   interleaved  bit k of x at 3k+2, bit k of y at 3k+1, bit k of z at 3k
//
// Bit 63 is 0 in both. Three adjacent interleaved bits are a tribit, one level of
// an octree, so that ascending codes follow the Z-order; axTriBit names an axis
// inside a tribit: 4 for x, 2 for y, 1 for z.
//
//   RCD  packed       a cell, addressed by its lower corner
//   RCC  packed       a grid corner, with the coordinates of the cell above it
//   CCD  interleaved  a cell
//   VCD  interleaved  a grid corner, as the meeting point of eight cells
//
// A Cb is a cube: one cell, named by its RCD or CCD, seen with its corners.

namespace QUOR_ZEF {

constexpr int MAXLEVELS = 21;  // bits of one coordinate in a code

// How two touching cells meet; see Calc::getNeigType.
enum NeigTyp { NT_FACE = 2, NT_EDGE = 3, NT_CORNER = 4 };

// The bits of an axis, 0 to 2 for x to z, in the interleaved layout.
constexpr uint64 axisMask[3] = {0x4924924924924924, 0x2492492492492492, 0x1249249249249249};
// axisMask of that axis; any other number fails an ASSEX.
uint64 getMask(int axis);

// One step along an axis in the packed layout.
constexpr uint64 stepX_RCD = uint64{1} << 42;
constexpr uint64 stepY_RCD = uint64{1} << 21;
constexpr uint64 stepZ_RCD = 1;
constexpr uint64 coordMask = (uint64{1} << MAXLEVELS) - 1;

// Grid coordinates, each below 2^21.
struct GridCoords {
    uint64 x, y, z;
    bool operator==(const GridCoords&) const = default;
};

// Bit k of n to bit 3k, for k from 0 to 20; higher bits are dropped.
constexpr uint64 spreadBits(uint64 n) {
    // Each step halves the groups of neighbours that have yet to part.
    n &= coordMask;
    n = (n | n << 32) & 0x001f00000000ffff;
    n = (n | n << 16) & 0x001f0000ff0000ff;
    n = (n | n << 8) & 0x100f00f00f00f00f;
    n = (n | n << 4) & 0x10c30c30c30c30c3;
    n = (n | n << 2) & 0x1249249249249249;
    return n;
}

// The way back: bit 3k of n to bit k, other bits are dropped.
constexpr uint64 gatherBits(uint64 n) {
    n &= 0x1249249249249249;
    n = (n | n >> 2) & 0x10c30c30c30c30c3;
    n = (n | n >> 4) & 0x100f00f00f00f00f;
    n = (n | n >> 8) & 0x001f0000ff0000ff;
    n = (n | n >> 16) & 0x001f00000000ffff;
    n = (n | n >> 32) & coordMask;
    return n;
}

// Coordinates to code: packed ones must be below 2^21, interleaved ones are cut there.
constexpr uint64 packRCD(uint64 x, uint64 y, uint64 z) {
    return x << 42 | y << 21 | z;
}
constexpr uint64 packCCD(uint64 x, uint64 y, uint64 z) {
    return spreadBits(x) << 2 | spreadBits(y) << 1 | spreadBits(z);
}
// Code to coordinates; bit 63 is dropped.
constexpr GridCoords unpackRCD(uint64 rcd) {
    return {rcd >> 42 & coordMask, rcd >> 21 & coordMask, rcd & coordMask};
}
constexpr GridCoords unpackCCD(uint64 ccd) {
    return {gatherBits(ccd >> 2), gatherBits(ccd >> 1), gatherBits(ccd)};
}

// The arithmetic of a run's grid: points to codes and back, steps from code to
// code, and neighbours in fixed orders that callers rely on.
//
// Coordinates outside the grid are not detected, except by the steps on
// interleaved codes: a point there gives a code that means nothing, and steps on
// packed codes run into the next field. Grids are therefore laid with a margin.
//
// Threads: immutable after construction, all members are const; one serves all.
// Cost: what is inline here is for inner loops and allocates nothing; mapping a
// point and converting a code take a few nanoseconds, an array of 27 about ten.
class Calc {
public:
    double x0, y0, z0;           // origin: lower corner of cell (0,0,0), world units
    double sizeX, sizeY, sizeZ;  // extent of the grid, world units
    int numLevels;               // depth of the octree, 0 to MAXLEVELS
    uint64 numCells;             // per axis, 2 to the power numLevels
    double cellX, cellY, cellZ;  // extent of a cell, world units
    double invCellX, invCellY, invCellZ;
    uint64 levelMask;  // the z bits of all levels in the interleaved layout

    // The extents may differ between axes. More than MAXLEVELS levels, or fewer
    // than 0, fail an ASSEX. Passes the licence gate "Calc", so it may throw
    // ZefLicenseException.
    Calc(double x0, double y0, double z0, double sizeX, double sizeY, double sizeZ, int numLevels);

    // ---- points and codes

    // The cell that holds p. For a p outside the grid, infinite or NaN: some code
    // below 2^63.
    uint64 getRCD(const Point3& p) const { return packRCD(gridX(p), gridY(p), gridZ(p)); }
    uint64 getCCD(const Point3& p) const { return packCCD(gridX(p), gridY(p), gridZ(p)); }

    // The same cell in the other layout. Coordinate bits from numLevels on are dropped.
    uint64 ccdToRcd(uint64 ccd) const {
        const uint64 levels = numCells - 1;
        return packRCD(gatherBits(ccd >> 2) & levels, gatherBits(ccd >> 1) & levels, gatherBits(ccd) & levels);
    }
    uint64 rcdToCcd(uint64 rcd) const { return packCCD(rcd >> 42, rcd >> 21, rcd) & levelMask * 7; }

    // number spread to the axis bits of the interleaved layout; bits from numLevels
    // on are dropped. axTriBit of 8 or more fails an ASSEX; one of several bits
    // spreads to several axes.
    uint64 numberToSparse(uint64 number, uint64 axTriBit) const;

    // The lower corner of a cell, without colour: the sum, over the set bits from
    // the lowest on, of the cell sizes, which double from level to level. It can
    // differ from the multiplied coordinate in the last bits.
    Point3 getLowerCorner(uint64 ccd) const;
    // The lower corner plus half a cell, without colour.
    Point3 getCellCenter(uint64 ccd) const;
    // Appends the centres, in the order of vCCD.
    void getCellCenters(const std::vector<uint64>& vCCD, std::vector<Point3>& vOut) const;

    // For looking at cells: writes them as cubes to a Geomview LIST. A warning if the file
    // cannot be written.
    void writeCb(uint64 ccd, const std::string& name) const { writeCbs({ccd}, name); }
    void writeCbs(const std::vector<uint64>& vCCD, const std::string& name) const;

    // Moves p towards the centre of the cell until it lies inside, by 1/1024 of
    // the way, then twice that and so on; in the end p is the centre itself.
    // False if p lay inside. A moved p has lost its colour.
    // Fails an ASSEX if not even the centre maps to rcd.
    bool adaptPointToRCD(uint64 rcd, Point3& p) const;

    double getCellSize() const { return cellX; }

    // ---- steps on interleaved codes; axTriBit must be 1, 2 or 4

    // One step up or down an axis. Leaving the grid fails an ASSEX. Bits from
    // numLevels on pass through untouched, like those of the other axes.
    uint64 incSparse(uint64 code, uint64 axTriBit) const {
        const uint64 mask = levelMask * axTriBit;
        if ((code & mask) == mask) ASSEX(false);
        return stepUp(code, mask);
    }
    uint64 decSparse(uint64 code, uint64 axTriBit) const {
        const uint64 mask = levelMask * axTriBit;
        if ((code & mask) == 0) ASSEX(false);
        return stepDown(code, mask);
    }
    // The same in place. Leaving the grid prints a report, sets code to all ones
    // and returns false.
    bool manipOneAxis(uint64& code, bool bIncrease, uint64 axTribit) const;

    // ---- neighbourhoods

    // The 27 cells around and including a cell: (dx,dy,dz) at
    // (dz+1)*9 + (dy+1)*3 + (dx+1), so that x runs fastest and 13 is the cell.
    // A base at the border of the grid fails an ASSEX.
    void completeArray27(uint64 baseCCD, uint64 array[]) const;
    // The same order on packed codes, without any check.
    void completeArray27_RCD(uint64 rcd, uint64 array[]) const;
    // The 26 cells around a cell: dx is the outer loop, dz the inner one, so that
    // z runs fastest, unlike above. A coordinate of 0 fails an ASSEX; the upper
    // end is not checked.
    void completeArray26_RCD(uint64 rcd, uint64 array[]) const;

    // codes[0] is a cell; fills in the corners of its cube, offsets (x,y,z):
    // (0,0,0) (1,0,0) (1,0,1) (0,0,1) (0,1,0) (1,1,0) (1,1,1) (0,1,1).
    // Leaving the grid fails an ASSEX.
    void getVCDsOfCCD(uint64 codes[8]) const;
    // codes[5] is a corner; fills in the cells around it, offsets (x,y,z):
    // (-1,-1,0) (0,-1,0) (0,-1,-1) (-1,-1,-1) (-1,0,0) (0,0,0) (0,0,-1) (-1,0,-1).
    // Leaving the grid fails an ASSEX.
    void getCellsAroundVCD(uint64 codes[8]) const;

    // Appends the eight RCC of each cell, z fastest, which is ascending. bUnique
    // sorts vOut and makes it unique, whatever it held before, by a parallel sort.
    void getCorners_RCD(const std::vector<uint64>& vRCD, std::vector<uint64>& vOut, bool bUnique) const;
    // Appends the pairs (RCC, RCD) in the same order.
    void getCornerPairs_RCD(const std::vector<uint64>& vRCD, std::vector<std::pair<uint64, uint64>>& vOut) const;
    // Appends the face neighbours of each cell, in the order x-1, x+1, y-1, y+1,
    // z-1, z+1. bUnique as above. Parallel.
    void getNeigs6_RCD(const std::vector<uint64>& vRCD, std::vector<uint64>& vOut, bool bUnique) const;

    // Appends the RCD of the four cubes around the edge between two corners that
    // are neighbours along an axis, given in either order; other corners fail an
    // ASSEX. First the cube above the edge, then the one down the first of the
    // other two axes, down the second, down both.
    void getCbsAroundEdge(uint64 rcc0, uint64 rcc1, std::vector<uint64>& vOut) const;

    // By the number of axes in which two interleaved codes differ, by however
    // much: meant for cells that touch. Equal codes fail an ASSEX.
    NeigTyp getNeigType(uint64 code0, uint64 code1) const;
    // The axis, 0 to 2, in which two interleaved codes agree if they differ in
    // both others; otherwise -1.
    int getUniqueSameComponent(uint64 code0, uint64 code1) const;

    // The number of set bits of a value from 0 to 255; above fails an ASSEX.
    static int getNumSet8(int val);

private:
    // Fills in the cube of codes[first], in the order of getVCDsOfCCD from there on.
    template <int first, class Step>
    static void fillCube(uint64 codes[8], Step step);

    uint64 gridX(const Point3& p) const { return toGrid((p.px - x0) * invCellX); }
    uint64 gridY(const Point3& p) const { return toGrid((p.py - y0) * invCellY); }
    uint64 gridZ(const Point3& p) const { return toGrid((p.pz - z0) * invCellZ); }

    // Truncates towards zero and cuts to 21 bits. The bounds keep the conversion
    // defined for whatever comes in; the comparisons send a NaN to the lower one.
    static uint64 toGrid(double cells) {
        constexpr double bound = 0x1p62;
        cells = cells > -bound ? cells : -bound;
        cells = cells < bound ? cells : bound;
        return static_cast<uint64>(static_cast<int64>(cells)) & coordMask;
    }

    // Ones in all foreign bits carry an increment across them, zeros a decrement.
    static uint64 stepUp(uint64 code, uint64 mask) { return (code & ~mask) | (((code | ~mask) + 1) & mask); }
    static uint64 stepDown(uint64 code, uint64 mask) { return (code & ~mask) | (((code & mask) - 1) & mask); }
};

inline void Calc::completeArray27(uint64 baseCCD, uint64 array[]) const {
    const uint64 x = baseCCD & axisMask[0];
    const uint64 y = baseCCD & axisMask[1];
    const uint64 z = baseCCD & axisMask[2];
    const uint64 vX[3] = {decSparse(x, 4), x, incSparse(x, 4)};
    const uint64 vY[3] = {decSparse(y, 2), y, incSparse(y, 2)};
    const uint64 vZ[3] = {decSparse(z, 1), z, incSparse(z, 1)};
    for (int dz = 0; dz < 3; ++dz) {
        for (int dy = 0; dy < 3; ++dy) {
            const uint64 yz = vY[dy] | vZ[dz];
            for (int dx = 0; dx < 3; ++dx) array[dz * 9 + dy * 3 + dx] = vX[dx] | yz;
        }
    }
    // It assigns, and is meant so: it fails for a base of 0 only.
    ASSEX(array[13]=baseCCD);
}

inline void Calc::completeArray27_RCD(uint64 rcd, uint64 array[]) const {
    const uint64 first = rcd - stepX_RCD - stepY_RCD - stepZ_RCD;
    for (uint64 dz = 0; dz < 3; ++dz) {
        for (uint64 dy = 0; dy < 3; ++dy) {
            const uint64 yz = first + dy * stepY_RCD + dz * stepZ_RCD;
            for (uint64 dx = 0; dx < 3; ++dx) array[dz * 9 + dy * 3 + dx] = yz + dx * stepX_RCD;
        }
    }
}

inline void Calc::completeArray26_RCD(uint64 rcd, uint64 array[]) const {
    const auto [x, y, z] = unpackRCD(rcd);
    ASSEX(x>0 && y>0 && z>0);
    const uint64 first = rcd - stepX_RCD - stepY_RCD - stepZ_RCD;
    int next = 0;
    for (uint64 dx = 0; dx < 3; ++dx) {
        for (uint64 dy = 0; dy < 3; ++dy) {
            for (uint64 dz = 0; dz < 3; ++dz) {
                if (dx == 1 && dy == 1 && dz == 1) continue;
                array[next++] = first + dx * stepX_RCD + dy * stepY_RCD + dz * stepZ_RCD;
            }
        }
    }
}

template <int first, class Step>
void Calc::fillCube(uint64 codes[8], Step step) {
    codes[1 ^ first] = step(codes[first], 4);
    codes[2 ^ first] = step(codes[1 ^ first], 1);
    codes[3 ^ first] = step(codes[first], 1);
    for (const int i : {0, 1, 2, 3}) codes[(i + 4) ^ first] = step(codes[i ^ first], 2);
}

inline void Calc::getVCDsOfCCD(uint64 codes[8]) const {
    fillCube<0>(codes, [this](uint64 code, uint64 axis) { return incSparse(code, axis); });
}

inline void Calc::getCellsAroundVCD(uint64 codes[8]) const {
    fillCube<5>(codes, [this](uint64 code, uint64 axis) { return decSparse(code, axis); });
}

}  // namespace QUOR_ZEF
