#include "files/PointCollector.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "bytes/FileBytes.h"
#include "files/directions.h"
#include "frame/Run.h"

namespace QUOR_ZEF {

namespace {

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

}  // namespace

PointCollector::PointCollector(const ReadOptions& readOptions) : options(readOptions), means(readOptions.grid) {
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

void PointCollector::takePoints(std::vector<Point3>& out) {
    numGivenUp += all.points.size();
    out.clear();
    out.swap(all.points);
    all = {};
}

std::optional<Point3> PointCollector::oneViewpoint() const {
    const bool bOne =
        !vViewpoints.empty() && std::all_of(vViewpoints.begin(), vViewpoints.end(),
                                            [&](const auto& place) { return place && place == vViewpoints.front(); });
    return bOne ? vViewpoints.front() : std::nullopt;
}

void PointCollector::thin(const PointBlock& block) {
    if (!block.points.empty()) noteViewpoint(block.viewpoint);
    for (std::size_t i = 0; i < block.points.size(); ++i) {
        pollRun(i);
        if (isFinite(block.points[i])) means.add(block, i);
    }
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
    const bool bMeans = means.size() > 0;
    if (bMeans) means.takeMeans({bNormals || bNoNormals, bClasses, bIntensities}, all);
    out.points = std::move(all.points);
    if (bNormals || bMeans) out.normals = std::move(all.normals);
    if (bClasses) out.classes = std::move(all.classes);
    if (bIntensities) out.intensities = std::move(all.intensities);
    out.numNotTaken = numOffered - out.points.size();
    settleViewpoints(out);
}

}  // namespace QUOR_ZEF
