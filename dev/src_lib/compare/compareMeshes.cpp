#include "compare/compareMeshes.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numeric>
#include <string>

#include "compare/Samples.h"
#include "frame/Progress.h"
#include "frame/tools.h"
#include "simplify/NearestFeet.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t batchSize = 100'000;  // points between two reports of progress

bool isFinite(const Point3& p) {
    return std::isfinite(p.px) && std::isfinite(p.py) && std::isfinite(p.pz);
}

std::vector<Point3> finiteVertices(const TriangleMesh& mesh) {
    std::vector<Point3> vFinite;
    vFinite.reserve(mesh.vertices.size());
    std::copy_if(mesh.vertices.begin(), mesh.vertices.end(), std::back_inserter(vFinite), isFinite);
    return vFinite;
}

// One of the two, and what is asked of it.
struct Side {
    const TriangleMesh& mesh;
    const char* const name;
    const bool bCloud;
    const std::vector<Point3> vFinite;  // its finite vertices

    Side(const TriangleMesh& mesh_, const char* name_)
        : mesh(mesh_), name(name_), bCloud(mesh.indices.empty()), vFinite(finiteVertices(mesh)) {
        if (vFinite.empty())
            throw NoSurfaceError(std::string(name) + ": there is nothing to compare; it has no finite points");
        if (bCloud && vFinite.size() < mesh.vertices.size())
            showWarning("compare", std::to_string(mesh.vertices.size() - vFinite.size()) + " points of " + name +
                                       " are not finite and left out");
    }

    // A point is a triangle whose corners are one.
    FanSurface surface() const {
        if (!bCloud) return FanSurface(mesh);
        std::vector<Vector3> vPos;
        std::vector<std::uint32_t> indices(3 * vFinite.size());
        for (const Point3& p : vFinite) vPos.emplace_back(p.px, p.py, p.pz);
        for (std::size_t i = 0; i < indices.size(); ++i) indices[i] = static_cast<std::uint32_t>(i / 3);
        return {std::move(vPos), std::move(indices)};
    }
};

std::vector<Foot> findFeet(const NearestFeet& nearest, const std::vector<Point3>& vPoints, Progress& progress) {
    std::vector<Foot> vFeet(vPoints.size());
    const std::span<const Point3> points = vPoints;
    for (std::size_t at = 0; at < points.size(); at += batchSize) {
        const std::size_t num = std::min(batchSize, points.size() - at);
        nearest.find(points.subspan(at, num), std::span(vFeet).subspan(at, num));
        progress.tick(num);
    }
    return vFeet;
}

std::vector<double> distancesOf(const std::vector<Foot>& vFeet) {
    std::vector<double> vDistances;
    vDistances.reserve(vFeet.size());
    for (const Foot& foot : vFeet) vDistances.push_back(std::sqrt(foot.sqDistance));
    return vDistances;
}

// How far one side is from the other, at its samples and at its finite vertices.
struct Found {
    std::vector<double> vSamples, vVertices;
    std::vector<double> vAngles;  // of samples, in degrees; empty unless both sides are meshes
};

std::vector<double> anglesOf(const Side& side, const Side& other, const Samples& samples,
                             const std::vector<Foot>& vFeet) {
    constexpr double degrees = 57.29577951308232;
    std::vector<double> vAngles;
    vAngles.reserve(vFeet.size());
    for (std::size_t i = 0; i < vFeet.size(); ++i) {
        const Vector3 own = crossOf(side.mesh, samples.vTriangles[i]), its = crossOf(other.mesh, vFeet[i].triangle);
        const double length = own.length() * its.length();
        if (length > 0.0) vAngles.push_back(degrees * std::acos(std::clamp(own * its / length, -1.0, 1.0)));
    }
    return vAngles;
}

Found lookFrom(const Side& side, const Side& other, const std::string& stage, std::size_t numSamples) {
    const Samples samples = side.bCloud ? Samples{} : strewSamples(side.mesh, numSamples);
    Progress& progress = *getProgress()->getChildProgressSetTodo(stage, side.vFinite.size() + samples.vPoints.size());
    const FanSurface surface = other.surface();
    const NearestFeet nearest(surface);
    Found found;
    found.vVertices = distancesOf(findFeet(nearest, side.vFinite, progress));
    const std::vector<Foot> vFeet = findFeet(nearest, samples.vPoints, progress);
    found.vSamples = side.bCloud ? found.vVertices : distancesOf(vFeet);
    if (!other.bCloud) found.vAngles = anglesOf(side, other, samples, vFeet);
    progress.finish(true);
    return found;
}

// For all vertices; -1 where one is not finite.
std::vector<double> expanded(const Side& side, const std::vector<double>& vOfFinite) {
    std::vector<double> vDistances(side.mesh.vertices.size(), -1.0);
    std::size_t at = 0;
    for (std::size_t i = 0; i < vDistances.size(); ++i)
        if (isFinite(side.mesh.vertices[i])) vDistances[i] = vOfFinite[at++];
    return vDistances;
}

double meanOf(const std::vector<double>& v) {
    return std::accumulate(v.begin(), v.end(), 0.0) / static_cast<double>(v.size());
}

void takeSamples(std::vector<double> vDistances, Deviation& deviation) {
    deviation.numSamples = vDistances.size();
    if (vDistances.empty()) return;
    deviation.mean = meanOf(vDistances);
    double sqSum = 0.0;
    for (const double d : vDistances) sqSum += d * d;
    deviation.rms = std::sqrt(sqSum / static_cast<double>(vDistances.size()));
    std::sort(vDistances.begin(), vDistances.end());
    constexpr std::array<std::size_t, 3> shares = {50, 95, 99};
    for (std::size_t i = 0; i < shares.size(); ++i)
        deviation.percentiles[i] = vDistances[(vDistances.size() - 1) * shares[i] / 100];
    deviation.max = vDistances.back();
}

void takeAngles(const std::vector<double>& vAngles, Deviation& deviation) {
    constexpr double turned = 90.0;
    if (vAngles.empty()) return;
    deviation.meanAngle = meanOf(vAngles);
    const auto num = std::count_if(vAngles.begin(), vAngles.end(), [](double angle) { return angle > turned; });
    deviation.turnedShare = static_cast<double>(num) / static_cast<double>(vAngles.size());
}

Deviation deviationOf(const Side& side, const Found& found, const std::vector<double>& vOfVertices) {
    Deviation deviation;
    takeSamples(found.vSamples, deviation);
    takeAngles(found.vAngles, deviation);
    for (const std::uint32_t index : side.mesh.indices) deviation.max = std::max(deviation.max, vOfVertices[index]);
    return deviation;
}

std::vector<std::uint64_t> histogramOf(const std::vector<double>& vDistances, double limit, std::uint32_t numBins) {
    std::vector<std::uint64_t> vCounts(std::size_t{numBins} + 1);
    for (const double d : vDistances) {
        const double at = limit > 0.0 ? d / limit * numBins : 0.0;
        // The limit itself still belongs to the last bin, and infinite distances, whose squares are beyond doubles,
        // too.
        ++vCounts[d > limit ? numBins : at < numBins ? static_cast<std::size_t>(at) : numBins - 1];
    }
    return vCounts;
}

}  // namespace

Comparison compareMeshes(const TriangleMesh& mesh, const TriangleMesh& reference, const CompareOptions& options) {
    const Side own(mesh, "mesh"), its(reference, "reference");
    const Found there = lookFrom(own, its, "CP_there", options.samples);
    const Found back = lookFrom(its, own, "CP_back", options.samples);
    Comparison made;
    made.distances = expanded(own, there.vVertices);
    made.there = deviationOf(own, there, made.distances);
    made.back = deviationOf(its, back, expanded(its, back.vVertices));
    made.limit = options.limit;
    if (made.limit == 0.0) made.limit = std::max(made.there.percentiles.back(), made.back.percentiles.back());
    made.there.histogram = histogramOf(there.vSamples, made.limit, options.bins);
    made.back.histogram = histogramOf(back.vSamples, made.limit, options.bins);
    return made;
}

}  // namespace QUOR_ZEF
