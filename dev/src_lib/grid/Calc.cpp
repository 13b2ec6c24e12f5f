#include "grid/Calc.h"

#include <algorithm>
#include <bit>

#include "bytes/Visualizer3.h"
#include "frame/License.h"
#include "frame/tools.h"
#include "parallel/parallelTransform.h"
#include "parallel/sortMT.h"

namespace QUOR_ZEF {

namespace {

// The offsets of a cell's corners, ascending.
constexpr uint64 cornerOffsets[8] = {packRCD(0, 0, 0), packRCD(0, 0, 1), packRCD(0, 1, 0), packRCD(0, 1, 1),
                                     packRCD(1, 0, 0), packRCD(1, 0, 1), packRCD(1, 1, 0), packRCD(1, 1, 1)};

// Length where the bit is set, else 0, without a branch that random codes mispredict.
double ifSet(uint64 bit, double length) {
    return std::bit_cast<double>(std::bit_cast<uint64>(length) & (0 - bit));
}

int numDifferingAxes(uint64 result_xor) {
    int num = 0;
    for (const uint64 mask : axisMask) num += (result_xor & mask) != 0;
    return num;
}

}  // namespace

uint64 getMask(int axis) {
    if (axis < 0 || axis > 2) ASSEX(false);
    return axisMask[axis];
}

Calc::Calc(double x0_, double y0_, double z0_, double sizeX_, double sizeY_, double sizeZ_, int numLevels_)
    : x0(x0_), y0(y0_), z0(z0_), sizeX(sizeX_), sizeY(sizeY_), sizeZ(sizeZ_), numLevels(numLevels_) {
    ASSEX(numLevels<=MAXLEVELS);
    ASSEX(numLevels>=0);
    passLicenseGate("Calc", 0);
    numCells = uint64{1} << numLevels;
    levelMask = spreadBits(numCells - 1);
    const auto cells = static_cast<double>(numCells);
    cellX = sizeX / cells;
    cellY = sizeY / cells;
    cellZ = sizeZ / cells;
    invCellX = cells / sizeX;
    invCellY = cells / sizeY;
    invCellZ = cells / sizeZ;
}

uint64 Calc::numberToSparse(uint64 number, uint64 axTriBit) const {
    ASSEX(axTriBit<8);
    return (spreadBits(number) & levelMask) * axTriBit;
}

Point3 Calc::getLowerCorner(uint64 ccd) const {
    double x = x0, y = y0, z = z0;
    double stepX = cellX, stepY = cellY, stepZ = cellZ;
    for (int level = 0; level < numLevels; ++level) {
        x += ifSet(ccd >> 2 & 1, stepX);
        y += ifSet(ccd >> 1 & 1, stepY);
        z += ifSet(ccd & 1, stepZ);
        stepX += stepX;
        stepY += stepY;
        stepZ += stepZ;
        ccd >>= 3;
    }
    return {x, y, z};
}

Point3 Calc::getCellCenter(uint64 ccd) const {
    return getLowerCorner(ccd) + Vector3(cellX * 0.5, cellY * 0.5, cellZ * 0.5);
}

void Calc::writeCbs(const std::vector<uint64>& vCCD, const std::string& name) const {
    Visualizer3 visualizer;
    for (const uint64 ccd : vCCD) {
        const Point3 lower = getLowerCorner(ccd);
        visualizer.addCube(lower, {lower.px + cellX, lower.py + cellY, lower.pz + cellZ});
    }
    if (!visualizer.write(name)) showWarning(where(__PRETTY_FUNCTION__, __LINE__), "file not written");
}

void Calc::getCellCenters(const std::vector<uint64>& vCCD, std::vector<Point3>& vOut) const {
    vOut.reserve(vOut.size() + vCCD.size());
    for (const uint64 ccd : vCCD) vOut.push_back(getCellCenter(ccd));
}

bool Calc::adaptPointToRCD(uint64 rcd, Point3& p) const {
    if (getRCD(p) == rcd) return false;
    const GridCoords cell = unpackRCD(rcd);
    const Point3 centre((static_cast<double>(cell.x) + 0.5) * cellX + x0,
                        (static_cast<double>(cell.y) + 0.5) * cellY + y0,
                        (static_cast<double>(cell.z) + 0.5) * cellZ + z0);
    const Vector3 way = centre - p;
    for (double f = 0.0009765625; f < 1.0; f *= 2.0) {
        const Point3 q = p + way * f;
        if (getRCD(q) != rcd) continue;
        p = q;
        return true;
    }
    // p + way would miss the centre by rounding, and a p at infinity never gets there.
    if (getRCD(centre) != rcd) ASSEX(false);
    p = centre;
    return true;
}

bool Calc::manipOneAxis(uint64& code, bool bIncrease, uint64 axTribit) const {
    const uint64 mask = levelMask * axTribit;
    if ((code & mask) != (bIncrease ? mask : 0)) {
        code = bIncrease ? stepUp(code, mask) : stepDown(code, mask);
        return true;
    }
    showDetail("ERROR, out of range, bIncrease=", bIncrease, ", axTribit=", axTribit);
    showDetail("this is ", this, ", numLevels=", numLevels);
    showOddity(where(__PRETTY_FUNCTION__, __LINE__), "End not found");
    code = ~uint64{0};
    return false;
}

void Calc::getCorners_RCD(const std::vector<uint64>& vRCD, std::vector<uint64>& vOut, bool bUnique) const {
    vOut.reserve(vOut.size() + 8 * vRCD.size());
    for (const uint64 rcd : vRCD) {
        for (const uint64 offset : cornerOffsets) vOut.push_back(rcd + offset);
    }
    if (bUnique) sortUniqueMT(vOut);
}

void Calc::getCornerPairs_RCD(const std::vector<uint64>& vRCD, std::vector<std::pair<uint64, uint64>>& vOut) const {
    vOut.reserve(vOut.size() + 8 * vRCD.size());
    for (const uint64 rcd : vRCD) {
        for (const uint64 offset : cornerOffsets) vOut.emplace_back(rcd + offset, rcd);
    }
}

void Calc::getNeigs6_RCD(const std::vector<uint64>& vRCD, std::vector<uint64>& vOut, bool bUnique) const {
    parallelTransform_N(vRCD, vOut, 6, [](uint64 rcd, auto out) {
        for (const uint64 step : {stepX_RCD, stepY_RCD, stepZ_RCD}) {
            *out++ = rcd - step;
            *out++ = rcd + step;
        }
    });
    if (bUnique) sortUniqueMT(vOut);
}

void Calc::getCbsAroundEdge(uint64 rcc0, uint64 rcc1, std::vector<uint64>& vOut) const {
    const uint64 low = std::min(rcc0, rcc1);
    const GridCoords a = unpackRCD(low);
    const GridCoords b = unpackRCD(std::max(rcc0, rcc1));
    // Unsigned: a difference below 0 is a huge one, and refused as well.
    const uint64 xdiff = b.x - a.x;
    const uint64 ydiff = b.y - a.y;
    const uint64 zdiff = b.z - a.z;
    ASSEX(xdiff==0 || xdiff==1);
    ASSEX(ydiff==0 || ydiff==1);
    ASSEX(zdiff==0 || zdiff==1);
    ASSEX(xdiff+ydiff+zdiff==1);
    const uint64 first = xdiff ? stepY_RCD : stepX_RCD;
    const uint64 second = zdiff ? stepY_RCD : stepZ_RCD;
    vOut.insert(vOut.end(), {low, low - first, low - second, low - first - second});
}

NeigTyp Calc::getNeigType(uint64 code0, uint64 code1) const {
    const uint64 result_xor = code0 ^ code1;
    ASSEX(result_xor);
    return static_cast<NeigTyp>(1 + numDifferingAxes(result_xor));
}

int Calc::getUniqueSameComponent(uint64 code0, uint64 code1) const {
    const uint64 result_xor = code0 ^ code1;
    if (numDifferingAxes(result_xor) != 2) return -1;
    int axis = 0;
    while (result_xor & axisMask[axis]) ++axis;
    return axis;
}

int Calc::getNumSet8(int val) {
    ASSEX(val<256);
    constexpr int numSet4[16] = {0, 1, 1, 2, 1, 2, 2, 3, 1, 2, 2, 3, 2, 3, 3, 4};
    return numSet4[val & 15] + numSet4[val >> 4 & 15];
}

}  // namespace QUOR_ZEF
