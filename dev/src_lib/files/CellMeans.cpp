#include "files/CellMeans.h"

#include <cmath>
#include <string>

#include "bytes/FileBytes.h"
#include "files/directions.h"

namespace QUOR_ZEF {

namespace {

constexpr unsigned codeBits = 21;  // of each of three numbers
constexpr double cellsToEachSide = 1 << (codeBits - 1);

std::uint8_t meanByte(uint64 sum, uint64 num) {
    return static_cast<std::uint8_t>((sum + num / 2) / num);
}

// The attribute of a cell that may be the first one to have it.
template <class T>
T& slotOf(std::vector<T>& v, std::size_t cell) {
    while (v.size() <= cell) pushSlowly(v, T());
    return v[cell];
}

}  // namespace

uint64 CellMeans::codeOf(const Point3& p) const {
    uint64 code = 0;
    for (const double offset : {p.px - origin.px, p.py - origin.py, p.pz - origin.pz}) {
        const double number = std::floor(offset / side) + cellsToEachSide;
        if (!(number >= 0.0 && number < 2.0 * cellsToEachSide))
            throw LoadError("a grid of " + std::to_string(side) +
                            " is too fine for the extent of the points; give a larger one, or a box");
        code = code << codeBits | static_cast<uint64>(number);
    }
    return code;
}

Point3 CellMeans::cornerOf(uint64 code) const {
    const auto offset = [&](unsigned axis) {
        const uint64 number = code >> (codeBits * (2 - axis)) & ((uint64{1} << codeBits) - 1);
        return (static_cast<double>(number) - cellsToEachSide) * side;
    };
    return origin + Vector3(offset(0), offset(1), offset(2));
}

// Cells begin at multiples of their side, so that the first point does not matter.
std::size_t CellMeans::cellOf(const Point3& p) {
    if (vNums.empty()) {
        const auto corner = [&](double coord) { return std::floor(coord / side) * side; };
        origin = {corner(p.px), corner(p.py), corner(p.pz)};
    }
    const auto next = static_cast<std::uint32_t>(vNums.size());
    const uint64 code = codeOf(p);
    const std::uint32_t number = cells.insert(code, next);
    if (number == next) {
        pushSlowly(vCodes, code);
        pushSlowly(vNums, uint64{0});
        pushSlowly(vSums, Vector3());
    }
    return number;
}

void CellMeans::add(const PointBlock& block, std::size_t i) {
    const Point3& p = block.points[i];
    const std::size_t cell = cellOf(p);
    vSums[cell] += p - cornerOf(vCodes[cell]);
    if (vNums[cell]++ == 0 && !block.classes.empty()) slotOf(vClasses, cell) = block.classes[i];
    if (!block.normals.empty()) slotOf(vNormals, cell) += block.normals[i];
    if (block.normals.empty() && block.viewpoint) slotOf(vNormals, cell) += directionTo(*block.viewpoint, p);
    if (!block.intensities.empty()) slotOf(vIntensities, cell) += static_cast<double>(block.intensities[i]);
    if (p.hasColor()) addColor(cell, p);
}

void CellMeans::addColor(std::size_t cell, const Point3& p) {
    ColorSum& color = slotOf(vColors, cell);
    ++color.num;
    color.channels[0] += p.r;
    color.channels[1] += p.g;
    color.channels[2] += p.b;
    color.channels[3] += p.a;
}

Point3 CellMeans::meanOf(std::size_t cell) const {
    Point3 p;
    p.set(cornerOf(vCodes[cell]) + vSums[cell] / static_cast<double>(vNums[cell]));
    if (cell >= vColors.size() || vColors[cell].num == 0) return p;
    const auto& [channels, num] = vColors[cell];
    p.setColor(meanByte(channels[0], num), meanByte(channels[1], num), meanByte(channels[2], num),
               meanByte(channels[3], num));
    return p;
}

void CellMeans::takeMeans(const Wanted& wanted, PointBlock& out) {
    cells = CodeMap();
    out.points.reserve(size());
    for (std::size_t cell = 0; cell < size(); ++cell) out.points.push_back(meanOf(cell));
    if (wanted.bNormals) {
        vNormals.resize(size());
        out.normals = std::move(vNormals);
    }
    if (wanted.bClasses) {
        vClasses.resize(size());
        out.classes = std::move(vClasses);
    }
    if (wanted.bIntensities) {
        vIntensities.resize(size());
        for (std::size_t cell = 0; cell < size(); ++cell)
            out.intensities.push_back(static_cast<float>(vIntensities[cell] / static_cast<double>(vNums[cell])));
    }
    *this = CellMeans(side);
}

}  // namespace QUOR_ZEF
