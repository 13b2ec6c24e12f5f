#include <algorithm>
#include <limits>
#include <memory>
#include <numeric>
#include <vector>

#include "api/Hal.h"
#include "api/MeshBody.h"
#include "api/calls.h"
#include "api/meltSize.h"
#include "api/plans.h"
#include "api/untangled.h"
#include "check/checkTriangles.h"
#include "cloud/CloudMgr.h"
#include "frame/License.h"
#include "frame/Progress.h"
#include "geometry/PointSource.h"
#include "grid/Calc.h"
#include "mend/Manifold.h"
#include "smooth/colors.h"
#include "solid/closedness.h"
#include "solid/solidSurface.h"
#include "zef/Mesh.h"
#include "zef/reconstruction.h"
#include "zef/zef_api_functions.h"

namespace QUOR_ZEF {

namespace {

constexpr double mostCells = 2147483648.0;

void inputTriangles(CloudMgr& cloudMgr, const PointSource& corners, double absSpacing, double featureAngle) {
    cloudMgr.inputPointsViaMemory(corners, absSpacing, -1.0, true, featureAngle, false, nullptr, -1);
}

void beginMelt(const PointSource& corners, const MeltOptions& options) {
    passLicenseGate("melt", corners.size());
    planMelt(options);
    passLicenseGate("license state", corners.size());
}

void sampleCorners(const PointSource& corners, double absSpacing, double featureAngle, std::vector<Point3>& vOut) {
    planToCloud();
    passLicenseGate("license state", corners.size());
    CloudMgr cloudMgr;
    inputTriangles(cloudMgr, corners, absSpacing, featureAngle);
    Hal hal(&cloudMgr);
    std::vector<Point3*> vSamples;
    hal.toCloud(vSamples);
    vOut.reserve(vOut.size() + vSamples.size());
    for (const Point3* pSample : vSamples) vOut.push_back(*pSample);
    finishProgress();
}

// The spacing that the options stand for.
double checkOptions(const PointSource& corners, const MeltOptions& options) {
    checkOption("spacing", options.spacing, 0.0, std::numeric_limits<double>::infinity());
    checkOption("featureAngle", options.featureAngle, 0.0, 361.0);
    if (options.outer && !options.mend) throw ArgumentError("outer: only with mend");
    if (corners.size() % 3 != 0)
        throw ArgumentError("corners: " + std::to_string(corners.size()) +
                            " corners are no multiple of three; a triangle is cut short");
    const double spacing = options.spacing > 0.0 ? options.spacing : defaultSpacing(corners);
    if (!(spacing > 0.0)) throw NoSurfaceError("the triangles have no size to take a spacing from; give one");
    if (estimateCells(corners, spacing) > mostCells)
        throw TooLargeError("the triangles touch more cells than can be numbered; give a larger spacing");
    return spacing;
}

// O(n), since a soup is taken corner by corner.
std::vector<Point3> cornersOf(const TriangleMesh& mesh) {
    checkIndices(mesh, "triangles");
    std::vector<Point3> vCorners;
    vCorners.reserve(mesh.indices.size());
    for (const std::uint32_t index : mesh.indices) vCorners.push_back(mesh.vertices[index]);
    return vCorners;
}

// The finite ones, which are what is melted.
TriangleMesh meshOf(PointSource corners) {
    corners.keepFinite(3);
    TriangleMesh mesh;
    mesh.vertices.reserve(corners.size());
    for (std::size_t i = 0; i < corners.size(); ++i) mesh.vertices.push_back(corners[i]);
    mesh.indices.resize(corners.size());
    std::iota(mesh.indices.begin(), mesh.indices.end(), 0U);
    return mesh;
}

// One vertex a sample, whatever sheets run through its cell.
TriangleMesh meltSamples(CloudMgr& cloudMgr) {
    const std::shared_ptr<Mesh> pMesh = Hal(&cloudMgr).oneMelt();
    return pMesh ? pMesh->releaseTriangles() : TriangleMesh();
}

SampleIndex indexSamples(CloudMgr& cloudMgr) {
    std::vector<Bundle*> vBundles;
    const Calc* pCalc = nullptr;
    cloudMgr.getBundles(vBundles, pCalc);
    if (!pCalc) return {{}, 1.0, {}};
    std::vector<SolidSample> vSamples;
    vSamples.reserve(vBundles.size());
    for (const Bundle* pBundle : vBundles) {
        const auto [x, y, z] = unpackCCD(pBundle->ccd);
        vSamples.push_back({{static_cast<std::int32_t>(x), static_cast<std::int32_t>(y), static_cast<std::int32_t>(z)},
                            *pBundle->pPoint});
    }
    return {Point3(pCalc->x0, pCalc->y0, pCalc->z0), pCalc->getCellSize(), vSamples};
}

// Whether it is closed then.
bool makeMeltManifold(TriangleMesh& mesh, bool bFillHoles) {
    ManifoldOptions mending;
    mending.exactVertices = true;
    mending.fillHoles = bFillHoles;
    ManifoldReport report;
    makeManifold(mesh, mending, report);
    return report.numComponents > 0 && report.numClosedComponents == report.numComponents;
}

// What fills holes tells none of the triangles from one between their samples, but by how far it is from these.
void mendOpen(TriangleMesh& mesh, const SampleIndex& samples) {
    TriangleMesh unmended = mesh;
    makeMeltManifold(mesh, true);
    if (isNearSamples(mesh, samples)) return;
    mesh = std::move(unmended);
    makeMeltManifold(mesh, false);
}

bool isTight(const TriangleMesh& mesh, const SampleIndex& samples) {
    const MeshReport state = checkTriangles(mesh);
    return state.closed && state.manifold && state.oriented && isNearSamples(mesh, samples);
}

// Whether that leaves it tight.
bool untangleTight(TriangleMesh& mesh, double spacing, const SampleIndex& samples) {
    const UntangleReport report = untangleForFiles(mesh, spacing);
    return report.numPairs == 0 || (report.numPairsLeft == 0 && isTight(mesh, samples));
}

// Samples follow sharp edges best. Where their mesh leaks or strays, as where several sheets run through one cell,
// what lies inside is meshed instead.
TriangleMesh meltMended(CloudMgr& cloudMgr, const PointSource& corners, double spacing, const MeltOptions& options) {
    OptionalStage stage("SO_solid", 1);
    TriangleMesh triangles = meshOf(corners);
    const Closedness closedness = joinEqualPlaces(triangles);
    stage.finish();
    const bool bOpen = closedness == Closedness::OPEN;
    if (options.outer && bOpen)
        throw ArgumentError("outer: the triangles have borders, so that they have no inside; leave out outer");
    const SampleIndex samples = indexSamples(cloudMgr);
    TriangleMesh mesh;
    if (!options.outer) {
        mesh = meltSamples(cloudMgr);
        if (bOpen && mesh.indices.empty()) return mesh;
        if (bOpen) {
            mendOpen(mesh, samples);
            if (options.untangle) untangleForFiles(mesh, spacing);
            return mesh;
        }
        const bool bTight = makeMeltManifold(mesh, true) && isNearSamples(mesh, samples);
        if (bTight && (!options.untangle || untangleTight(mesh, spacing, samples))) return mesh;
    }
    // Planned, and not run if the mesh leaks.
    for (const char* const tag : {"UT_find", "UT_part"}) OptionalStage(tag, 1).finish();
    mesh = makeSolidSurface(triangles, closedness, samples, {options.outer, isHeldByFloats(triangles, spacing)});
    if (mesh.hasColor()) completeColors(mesh);
    return mesh;
}

TriangleMesh meltSource(const PointSource& corners, const MeltOptions& options, const Context& context) {
    return runCall(context, [&] {
        const double spacing = checkOptions(corners, options);
        beginMelt(corners, options);
        CloudMgr cloudMgr;
        inputTriangles(cloudMgr, corners, spacing, options.featureAngle);
        TriangleMesh mesh = options.mend ? meltMended(cloudMgr, corners, spacing, options) : meltSamples(cloudMgr);
        if (mesh.indices.empty()) throw NoSurfaceError("no surface came out of the triangles; try a smaller spacing");
        finishProgress();
        return mesh;
    });
}

std::vector<Point3> resampleSource(const PointSource& corners, const MeltOptions& options, const Context& context) {
    return runCall(context, [&] {
        const double spacing = checkOptions(corners, options);
        std::vector<Point3> vPoints;
        sampleCorners(corners, spacing, options.featureAngle, vPoints);
        if (vPoints.empty()) throw NoSurfaceError("no points came out of the triangles; try a smaller spacing");
        return vPoints;
    });
}

}  // namespace

std::shared_ptr<Mesh> melt(std::vector<Point3>& vPoints, double absSpacing, double featureAngle) {
    beginMelt(vPoints, {.mend = false, .untangle = false});
    CloudMgr cloudMgr;
    inputTriangles(cloudMgr, vPoints, absSpacing, featureAngle);
    std::shared_ptr<Mesh> pMesh = Hal(&cloudMgr).oneMelt();
    finishProgress();
    return pMesh;
}

void toCloud(std::vector<Point3>& vPoints, double absSpacing, double featureAngle, std::vector<Point3>& vOut) {
    sampleCorners(vPoints, absSpacing, featureAngle, vOut);
}

TriangleMesh melt(std::span<const Point3> corners, const MeltOptions& options, const Context& context) {
    checkSpan(corners, "corners");
    return meltSource(corners, options, context);
}

TriangleMesh melt(const PointView& corners, const MeltOptions& options, const Context& context) {
    checkView(corners);
    return meltSource(corners, options, context);
}

TriangleMesh melt(const TriangleMesh& triangles, const MeltOptions& options, const Context& context) {
    return melt(cornersOf(triangles), options, context);
}

std::vector<Point3> resample(std::span<const Point3> corners, const MeltOptions& options, const Context& context) {
    checkSpan(corners, "corners");
    return resampleSource(corners, options, context);
}

std::vector<Point3> resample(const PointView& corners, const MeltOptions& options, const Context& context) {
    checkView(corners);
    return resampleSource(corners, options, context);
}

std::vector<Point3> resample(const TriangleMesh& triangles, const MeltOptions& options, const Context& context) {
    return resample(cornersOf(triangles), options, context);
}

}  // namespace QUOR_ZEF
