#include "files/PointCollector.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "bytes/FileBytes.h"
#include "frame/Run.h"

namespace QUOR_ZEF {

namespace {

constexpr double cellsToEachSide = 1 << 20;  // three numbers of 21 bits make a code

template <class T>
void appendAll(std::vector<T>& vAll, std::vector<T>&& vPart) {
    if (vAll.empty() && vAll.capacity() <= vPart.capacity()) {  // else room was made for all
        vAll.swap(vPart);
    } else {
        vAll.insert(vAll.end(), vPart.begin(), vPart.end());
    }
    vPart.clear();
}

bool isFinite(const Point3& p) {
    return std::isfinite(p.px) && std::isfinite(p.py) && std::isfinite(p.pz);
}

// Of length 1; zero where there is none.
Vector3 directionTo(const Point3& place, const Point3& from) {
    const Vector3 way = place - from;
    const double length = way.length();
    return std::isfinite(length) && length > 0.0 ? way / length : Vector3();
}

std::uint8_t meanByte(uint64 sum, uint64 num) {
    return static_cast<std::uint8_t>((sum + num / 2) / num);
}

}  // namespace

PointCollector::PointCollector(const ReadOptions& readOptions) : options(readOptions) {
    bClassTaken.fill(options.keepClasses.empty());
    for (const std::uint8_t number : options.keepClasses) bClassTaken[number] = true;
    for (const std::uint8_t number : options.dropClasses) bClassTaken[number] = false;
}

void PointCollector::expect(uint64 numPoints) {
    if (options.grid > 0.0 || isChoosing()) return;
    reserveMore(all.points, static_cast<std::size_t>(numPoints));
}

void PointCollector::add(PointBlock& block) {
    const std::size_t num = block.points.size();
    if (num == 0) return;
    numOffered += num;
    bNormals = bNormals && block.normals.size() == num;
    bNoNormals = bNoNormals && block.normals.empty();
    bClasses = bClasses && block.classes.size() == num;
    bIntensities = bIntensities && block.intensities.size() == num;
    if (isChoosing()) keepChosen(block);
    if (options.grid > 0.0) {
        thin(block);
        block = {};
    } else {
        append(block);
    }
}

bool PointCollector::isChoosing() const {
    return options.box || options.every > 1 || !options.keepClasses.empty() || !options.dropClasses.empty();
}

bool PointCollector::isTaken(const PointBlock& block, std::size_t i) {
    if (!block.classes.empty() && !bClassTaken[block.classes[i]]) return false;
    if (options.box) {
        const auto& [low, high] = *options.box;
        const Point3& p = block.points[i];
        // Not so for nan.
        const bool bInside =
            p.px >= low.px && p.px <= high.px && p.py >= low.py && p.py <= high.py && p.pz >= low.pz && p.pz <= high.pz;
        if (!bInside) return false;
    }
    return numLeft++ % options.every == 0;
}

void PointCollector::keepChosen(PointBlock& block) {
    std::size_t end = 0;
    for (std::size_t i = 0; i < block.points.size(); ++i) {
        if (!isTaken(block, i)) continue;
        block.points[end] = block.points[i];
        if (!block.normals.empty()) block.normals[end] = block.normals[i];
        if (!block.classes.empty()) block.classes[end] = block.classes[i];
        if (!block.intensities.empty()) block.intensities[end] = block.intensities[i];
        ++end;
    }
    block.points.resize(end);
    if (!block.normals.empty()) block.normals.resize(end);
    if (!block.classes.empty()) block.classes.resize(end);
    if (!block.intensities.empty()) block.intensities.resize(end);
}

void PointCollector::append(PointBlock& block) {
    appendAll(all.points, std::move(block.points));
    if (bNormals) appendAll(all.normals, std::move(block.normals));
    if (bClasses) appendAll(all.classes, std::move(block.classes));
    if (bIntensities) appendAll(all.intensities, std::move(block.intensities));
    noteViewpoint(block.viewpoint);
}

// Points with one place of the scanner lie together, but for those of a grid.
void PointCollector::noteViewpoint(const std::optional<Point3>& viewpoint) {
    if (vViewpoints.empty() || vViewpoints.back() != viewpoint) {
        vViewpoints.push_back(viewpoint);
        vRunEnds.push_back(0);
    }
    vRunEnds.back() = all.points.size();
}

uint64 PointCollector::codeOf(const Point3& p) const {
    uint64 code = 0;
    for (const double offset : {p.px - origin.px, p.py - origin.py, p.pz - origin.pz}) {
        const double number = std::floor(offset / options.grid) + cellsToEachSide;
        if (!(number >= 0.0 && number < 2.0 * cellsToEachSide))
            throw LoadError("a grid of " + std::to_string(options.grid) +
                            " is too fine for the extent of the points; give a larger one, or a box");
        code = code << 21 | static_cast<uint64>(number);
    }
    return code;
}

// Cells begin at multiples of their side, so that the first point does not matter.
PointCollector::Cell& PointCollector::cellOf(const Point3& p) {
    if (vCells.empty()) {
        const auto corner = [&](double coord) { return std::floor(coord / options.grid) * options.grid; };
        origin = {corner(p.px), corner(p.py), corner(p.pz)};
    }
    const auto next = static_cast<std::uint32_t>(vCells.size());
    const std::uint32_t number = cells.insert(codeOf(p), next);
    if (number == next) pushSlowly(vCells, Cell());
    return vCells[number];
}

void PointCollector::Cell::add(const PointBlock& block, std::size_t i) {
    const Point3& p = block.points[i];
    if (num++ == 0) {
        first = p;
        if (!block.classes.empty()) pointClass = block.classes[i];
    }
    sum += p - first;
    if (!block.normals.empty()) normal += block.normals[i];
    if (block.normals.empty() && block.viewpoint) normal += directionTo(*block.viewpoint, p);
    if (!block.intensities.empty()) intensity += static_cast<double>(block.intensities[i]);
    if (!p.hasColor()) return;
    ++numColored;
    color[0] += p.r;
    color[1] += p.g;
    color[2] += p.b;
    color[3] += p.a;
}

Point3 PointCollector::Cell::mean() const {
    Point3 p;
    p.set(first + sum / static_cast<double>(num));
    if (numColored > 0)
        p.setColor(meanByte(color[0], numColored), meanByte(color[1], numColored), meanByte(color[2], numColored),
                   meanByte(color[3], numColored));
    return p;
}

void PointCollector::thin(const PointBlock& block) {
    if (!block.points.empty()) noteViewpoint(block.viewpoint);
    for (std::size_t i = 0; i < block.points.size(); ++i) {
        pollRun(i);
        if (isFinite(block.points[i])) cellOf(block.points[i]).add(block, i);
    }
}

// Of the cells, in their place.
void PointCollector::takeMeans() {
    all.points.reserve(vCells.size());
    for (const Cell& cell : vCells) {
        all.points.push_back(cell.mean());
        if (bNormals || bNoNormals) all.normals.push_back(cell.normal);
        if (bClasses) all.classes.push_back(cell.pointClass);
        if (bIntensities) all.intensities.push_back(static_cast<float>(cell.intensity / static_cast<double>(cell.num)));
    }
    vCells = {};
    cells = CodeMap();
}

void PointCollector::takeDirections(PointFile& out) const {
    out.normals.reserve(out.points.size());
    for (std::size_t run = 0; run < vRunEnds.size(); ++run)
        while (out.normals.size() < vRunEnds[run])
            out.normals.push_back(directionTo(*vViewpoints[run], out.points[out.normals.size()]));
}

// What tells the sides of pieces: one place of the scanner, or a direction for each point.
void PointCollector::settleViewpoints(PointFile& out) {
    bool bAllTold = true, bSeveral = false;
    for (const std::optional<Point3>& viewpoint : vViewpoints) {
        bAllTold = bAllTold && viewpoint;
        bSeveral = bSeveral || (viewpoint && out.viewpoint && *viewpoint != *out.viewpoint);
        if (viewpoint) out.viewpoint = viewpoint;
    }
    if (bSeveral) out.viewpoint.reset();
    const bool bDirections = bSeveral && bAllTold && bNoNormals;
    if (!bNormals && !bDirections) out.normals = {};
    if (bDirections && out.normals.empty()) takeDirections(out);
}

void PointCollector::finish(PointFile& out) {
    const bool bMeans = !vCells.empty();
    if (bMeans) takeMeans();
    out.points = std::move(all.points);
    if (bNormals || bMeans) out.normals = std::move(all.normals);
    if (bClasses) out.classes = std::move(all.classes);
    if (bIntensities) out.intensities = std::move(all.intensities);
    out.numNotTaken = numOffered - out.points.size();
    settleViewpoints(out);
}

}  // namespace QUOR_ZEF
