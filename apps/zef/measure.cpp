#include "measure.h"

#include <algorithm>
#include <cmath>

#include "cloud/Cloud.h"
#include "frame/Progress.h"
#include "grid/Calc.h"
#include "parallel/parallelTransform.h"
#include "parallel/sortMT.h"

using zef::Point3;

namespace {

bool isFinite(const Point3& p) {
    return std::isfinite(p.px) && std::isfinite(p.py) && std::isfinite(p.pz);
}

void widen(Box& box, const Point3& p) {
    if (!isFinite(p)) return;
    const std::array<double, 3> coords{p.px, p.py, p.pz};
    if (box.numFinite++ == 0) box.min = box.max = coords;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        box.min[axis] = std::min(box.min[axis], coords[axis]);
        box.max[axis] = std::max(box.max[axis], coords[axis]);
    }
}

void estimate(zef::Cloud& cloud, const std::vector<Point3>& vPoints) {
    zef::planProgress("measuring", {{"CL_eres", 1.0}});
    cloud.setPoints(vPoints);
    cloud.estimateResolution();
    zef::getProgress()->finish(true);
    zef::getProgress()->reset();
}

std::uint64_t countCells(const zef::Cloud& cloud) {
    std::vector<zef::uint64> vCodes;
    zef::parallelTransform(cloud.vPoints, vCodes, [&](const Point3& p) { return cloud.pCalc->getCCD(p); });
    zef::sortMT(vCodes.begin(), vCodes.end());
    return static_cast<std::uint64_t>(std::unique(vCodes.begin(), vCodes.end()) - vCodes.begin());
}

}  // namespace

double Box::longestSide() const {
    return std::max({size(0), size(1), size(2)});
}

Box measureBox(const std::vector<Point3>& vPoints) {
    Box box;
    for (const Point3& p : vPoints) widen(box, p);
    return box;
}

Box measureBox(const std::vector<Point3*>& vPoints) {
    Box box;
    for (const Point3* pPoint : vPoints) widen(box, *pPoint);
    return box;
}

void reportBox(Report& report, const Box& box) {
    const auto text = [](const std::array<double, 3>& v) {
        return numberText(v[0]) + "  " + numberText(v[1]) + "  " + numberText(v[2]);
    };
    const std::array<double, 3> size{box.size(0), box.size(1), box.size(2)};
    report.add("box_min", "lower corner", box.min, text(box.min));
    report.add("box_max", "upper corner", box.max, text(box.max));
    report.add("box_size", "size", size, text(size));
}

std::uint64_t countDuplicates(const std::vector<Point3>& vPoints) {
    std::vector<std::array<double, 3>> vCoords;
    vCoords.reserve(vPoints.size());
    for (const Point3& p : vPoints) {
        if (isFinite(p)) vCoords.push_back({p.px, p.py, p.pz});
    }
    zef::sortMT(vCoords.begin(), vCoords.end(),
                [](const std::array<double, 3>& a, const std::array<double, 3>& b) { return a < b; });
    const auto end = std::unique(vCoords.begin(), vCoords.end());
    return static_cast<std::uint64_t>(vCoords.end() - end);
}

double measureSpacing(const std::vector<Point3>& vPoints) {
    zef::Cloud cloud("input", -1.0, 1.0, false, -1);
    estimate(cloud, vPoints);
    return cloud.usedSpacing;
}

Spacing measureCells(const std::vector<Point3>& vPoints) {
    zef::Cloud cloud("input", -1.0, 1.0, false, -1);
    estimate(cloud, vPoints);
    cloud.createCalc();
    return {cloud.usedSpacing, countCells(cloud)};
}
