#include "page/packPoints.h"

#include <meshoptimizer.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "frame/Run.h"
#include "frame/tools.h"
#include "page/Rounding.h"
#include "page/nearness.h"

namespace QUOR_ZEF {

namespace {

std::vector<Point3> shownPoints(std::span<const Point3> points, std::size_t maxPoints) {
    std::vector<Point3> vShown;
    const auto numFinite = static_cast<std::size_t>(std::count_if(points.begin(), points.end(), isFinite));
    const std::size_t numShown = std::min(numFinite, maxPoints);
    vShown.reserve(numShown);
    std::size_t number = 0;
    for (const Point3& p : points) {
        if (!isFinite(p)) continue;
        // The shares of both counts that are behind differ by less than one point.
        if (static_cast<double>(number++) * static_cast<double>(numShown) >=
            static_cast<double>(vShown.size()) * static_cast<double>(numFinite))
            vShown.push_back(p);
    }
    if (vShown.size() < numFinite)
        showWarning("makePage",
                    "of " + std::to_string(numFinite) + " points " + std::to_string(vShown.size()) + " are shown");
    return vShown;
}

// Neighbours in space become neighbours in the list, which packs well.
std::vector<Point3> sortedInSpace(const std::vector<Point3>& vPoints, const PageBox& box) {
    std::vector<float> vPositions;
    vPositions.reserve(3 * vPoints.size());
    for (const Point3& p : vPoints)
        for (const double coord : {p.px - box.low[0], p.py - box.low[1], p.pz - box.low[2]})
            vPositions.push_back(static_cast<float>(coord / std::max(box.extent(), 1e-300)));
    std::vector<std::uint32_t> vPlaces(vPoints.size());
    pollRun(0);
    meshopt_spatialSortRemap(vPlaces.data(), vPositions.data(), vPoints.size(), 3 * sizeof(float));
    pollRun(0);
    std::vector<Point3> vSorted(vPoints.size());
    for (std::size_t i = 0; i < vPoints.size(); ++i) vSorted[vPlaces[i]] = vPoints[i];
    return vSorted;
}

// As 16 bits of the largest; empty where coordinates are too large for distances.
std::string packDistances(const TriangleMesh& mesh, std::size_t number, const std::vector<Point3>& vPoints,
                          PageData& data) {
    const std::vector<float> vDistances = distancesTo(mesh, vPoints);
    constexpr double most = 65535.0;
    const double largest = *std::max_element(vDistances.begin(), vDistances.end());
    if (!std::isfinite(largest)) return "";
    std::vector<std::uint32_t> vSteps(vDistances.size());
    double sum = 0.0;
    for (std::size_t i = 0; i < vSteps.size(); ++i) {
        sum += vDistances[i];
        vSteps[i] = largest > 0.0 ? static_cast<std::uint32_t>(vDistances[i] / largest * most + 0.5) : 0;
    }
    const std::string place = data.addElements(vSteps.data(), vSteps.size(), sizeof(std::uint32_t));
    std::vector<float> vSorted = vDistances;
    const auto nth = vSorted.begin() + static_cast<std::ptrdiff_t>(vSorted.size() * 95 / 100);
    std::nth_element(vSorted.begin(), nth, vSorted.end());
    return "{\"mesh\":" + std::to_string(number) + ",\"steps\":" + place + ",\"step\":" + jsonNumber(largest / most) +
           ",\"mean\":" + jsonNumber(sum / static_cast<double>(vDistances.size())) + ",\"of95\":" + jsonNumber(*nth) +
           ",\"largest\":" + jsonNumber(largest) + "}";
}

}  // namespace

std::string packPoints(const ViewScene& scene, std::size_t maxPoints, PageData& data) {
    constexpr std::size_t maxMeshes = 2;
    std::vector<Point3> vPoints = shownPoints(scene.points, maxPoints);
    if (vPoints.empty()) return "null";
    PageBox box;
    for (const Point3& p : vPoints) box.add(p);
    vPoints = sortedInSpace(vPoints, box);
    const Rounding rounding(box, box.extent() / std::sqrt(static_cast<double>(vPoints.size())));
    std::vector<PackedPoint> vPacked;
    vPacked.reserve(vPoints.size());
    for (const Point3& p : vPoints) vPacked.push_back(rounding(p));
    const std::string json = std::string("{") + rounding.json() + ",\"box\":" + box.json() +
                             ",\"all\":" + std::to_string(scene.points.size()) +
                             ",\"points\":" + data.addElements(vPacked.data(), vPacked.size(), sizeof(PackedPoint));
    JsonList distances;
    for (std::size_t i = 0; i < std::min(scene.meshes.size(), maxMeshes); ++i) {
        if (scene.meshes[i]->indices.empty()) continue;
        const std::string packed = packDistances(*scene.meshes[i], i, vPoints, data);
        if (!packed.empty()) distances.add(packed);
    }
    return json + ",\"distances\":" + distances.done() + "}";
}

}  // namespace QUOR_ZEF
