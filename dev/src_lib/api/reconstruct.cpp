#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "api/MeshBody.h"
#include "api/calls.h"
#include "api/plans.h"
#include "api/scanMesh.h"
#include "api/thinParts.h"
#include "api/untangled.h"
#include "check/checkTriangles.h"
#include "check/surfaceFit.h"
#include "closing/bodies.h"
#include "closing/closeLoops.h"
#include "closing/thickenSheets.h"
#include "density/surroundings.h"
#include "flat/arrays.h"
#include "frame/License.h"
#include "geometry/PointSource.h"
#include "grid/Calc.h"
#include "io/precision.h"
#include "parallel/sortMT.h"
#include "refit/CoordinateSteps.h"
#include "refit/refitMesh.h"
#include "sides/turnPieces.h"
#include "smooth/colors.h"
#include "untangle/untangleMesh.h"
#include "zef/Mesh.h"
#include "zef/reconstruction.h"
#include "zef/zef_api_functions.h"

namespace QUOR_ZEF {

namespace {

std::shared_ptr<Mesh> runOlder(const std::vector<Point3>& vPoints, const Job& job) {
    passLicenseGate("reconstruct", vPoints.size());
    planReconstruction({}, vPoints.size());
    passLicenseGate("license state", vPoints.size());
    std::shared_ptr<Mesh> pMesh = run(vPoints, job, nullptr);
    finishProgress();
    return pMesh;
}

// Closes all border loops; returns the first triangle of the patches.
std::size_t closeAll(Reconstruction& result) {
    const std::size_t numBefore = result.mesh.numTriangles();
    result.closing.numClosedLoops += closeLoops(result.mesh, result.spacing).size();
    return numBefore;
}

// The same, with open sheets made bodies. A thinner body would count as a sheet.
std::size_t closeThickened(Reconstruction& result, const ReconstructOptions& options) {
    constexpr double least = 0.75;  // spacings
    const double thickness = std::max(options.thicken, least * result.spacing);
    const ThickenedSheets thickened = thickenSheets(result.mesh, thickness, result.spacing);
    checkMeshSize(result.mesh.vertices.size(), result.mesh.numTriangles());
    result.closing.numThickened = thickened.num;
    result.closing.numClosedLoops += thickened.numLoops;
    return thickened.firstOfPatches;
}

void dropAllButBodies(Reconstruction& result, const ReconstructOptions& options, std::size_t firstOfPatches) {
    const LeftOutPieces left = keepBodies(result.mesh, firstOfPatches, result.spacing, options.keepInner);
    result.closing.numSheets += left.numSheets;
    result.closing.numInner += left.numInner;
    if (result.mesh.indices.empty())
        throw NoSurfaceError(
            "nothing encloses a volume: all pieces are open sheets, which a patch would only cover; "
            "leave out closed");
    if (result.mesh.hasColor()) completeColors(result.mesh);
}

void tellOfLeftOut(const ClosingReport& closing) {
    if (closing.numSheets > 0)
        showWarning("closing", std::to_string(closing.numSheets) +
                                   " pieces left out, since they are open sheets that enclose next to nothing");
    if (closing.numInner > 0)
        showWarning("closing", std::to_string(closing.numInner) + " pieces left out, since they are inside others");
}

void closeResult(Reconstruction& result, const ReconstructOptions& options) {
    constexpr int mostRounds = 5;
    std::size_t numPairs = 0;
    for (int round = 0; round < mostRounds && !result.closing.holds; ++round) {
        // What parts triangles that intersect may open the mesh again; then it is closed anew from a little farther
        // off.
        if (round > 0) widenHoles(result.mesh, round);
        const bool bThicken = round == 0 && options.thicken > 0.0;
        dropAllButBodies(result, options, bThicken ? closeThickened(result, options) : closeAll(result));
        result.untangled = untangleForFiles(result.mesh, result.spacing);
        numPairs = std::max(numPairs, result.untangled.numPairs);
        const MeshReport state = checkTriangles(result.mesh);
        result.closing.holds = state.closed && state.manifold && state.oriented && result.untangled.numPairsLeft == 0;
    }
    result.untangled.numPairs = numPairs;
    tellOfLeftOut(result.closing);
}

void measureFit(const PointSource& counted, double noise, Reconstruction& result) {
    const double covered = measureCoverage(counted, result.mesh, result.spacing);
    result.coverage = covered * static_cast<double>(counted.size()) / static_cast<double>(result.numPoints);
    result.noise = noise;
}

// Where sheets were joined since they are too close for the grid, once more with these moved apart.
void keepThinWalls(const PointNormals& normals, const ReconstructOptions& options, Findings& findings) {
    if (!areThinWallsKept(options) || findings.result.density.uneven) return;
    if (!hasThinParts(findings.counted, findings.result.mesh, *findings.calc)) return;
    const PointSource& counted = findings.counted;
    ScanChoices choices = choicesOf(options);
    choices.bSpreadThin = choices.bKeepOutliers = true;
    Findings apart = makeMesh(counted, normals, options, choices);
    const PointFit before = measureFitOf(counted, findings.result.mesh, *findings.calc);
    const PointFit after = measureFitOf(counted, apart.result.mesh, *findings.calc);
    if (!before.isWorseThan(after, counted.size())) return;
    apart.result.numPoints = findings.result.numPoints;
    apart.result.numStrays = findings.result.numStrays;
    apart.result.numOutliers = findings.result.numOutliers;
    apart.result.thinWalls = true;
    findings = std::move(apart);
}

Reconstruction reconstructSource(const PointSource& points, PointNormals normals,
                                 const ReconstructOptions& givenOptions, const Context& context) {
    checkOptions(givenOptions, points.size());
    const ReconstructOptions options = settle(givenOptions);
    if (!options.normals.empty()) normals = {&points, &options.normals.front().vx, sizeof(Vector3) / sizeof(double)};
    return runCall(context, [&] {
        passLicenseGate("reconstruct", points.size());
        planReconstruction(options, points.size());
        passLicenseGate("license state", points.size());
        Findings findings = makeMesh(points, normals, options, choicesOf(options));
        keepThinWalls(normals, options, findings);
        Reconstruction result = std::move(findings.result);
        const bool bNoise = isNoiseMeasured(options);
        const double noise = bNoise ? measureNoise(findings.counted, spacingOfPoints(result)) : -1.0;
        if (isRefitWanted(options))
            refitToPoints(findings.counted, options, options.grid ? options.grid->noise : noise, result);
        if (options.closed)
            closeResult(result, options);
        else if (options.untangle && options.mend)
            result.untangled = untangleForFiles(result.mesh, result.spacing);
        if (options.measureCoverage) measureFit(findings.counted, noise, result);
        finishProgress();
        return result;
    });
}

// What fitting goes by.
void addFitting(const PointSource& points, Grid& grid) {
    const double spacing = grid.measuredSpacing > 0.0 ? grid.measuredSpacing : grid.spacing;
    const CoordinateSteps steps(points, spacing);
    grid.noise = measureNoise(points, spacing);
    grid.stepAxis = steps.getAxis();
    grid.stepValues = steps.getValues();
}

Grid measureGridOf(const PointSource& points, const ReconstructOptions& givenOptions, const Context& context) {
    checkOptions(givenOptions, points.size());
    const ReconstructOptions options = settle(givenOptions);
    return runCall(context, [&] {
        passLicenseGate("reconstruct", points.size());
        planGrid(options, points.size());
        Cloud cloud("points", options.spacing, options.factor, false, options.growSteps);
        cloud.choices = choicesOf(options);
        cloud.choices.bKeepInput = true;
        cloud.setPoints(points);
        if (cloud.numPoints == 0) throw NoSurfaceError(noPoints);
        cloud.findGrid(options.smooth);
        Grid grid = cloud.foundGrid;
        addFitting(cloud.counted, grid);
        finishProgress();
        return grid;
    });
}

double measureSource(const PointSource& points, const Context& context) {
    return runCall(context, [&] {
        planMeasuring(false);
        Cloud cloud("points", -1.0, 1.0, false, -1);
        cloud.choices.bKeepOutliers = false;
        cloud.setPoints(points);
        if (cloud.numPoints == 0) throw NoSurfaceError(noPoints);
        cloud.leaveOutFlyingPoints();
        cloud.estimateResolution();
        finishProgress();
        return cloud.getEstimatedSpacing();
    });
}

RefitReport refitSource(TriangleMesh& mesh, const PointSource& points, const RefitOptions& options,
                        const Context& context) {
    checkMesh(mesh);
    checkOption("spacing", options.spacing, 0.0, unlimited);
    checkOption("radius", options.radius, 0.0, unlimited);
    RefitOptions settled = options;
    if (options.spacing == 0.0) settled.spacing = measureSource(points, {context.threads, {}, context.message});
    return runCall(context, [&] {
        RefitReport report;
        TriangleMesh fitted = mesh;
        renumberVertices(fitted, VertexOrder::MESH);
        PointSource finite = points;
        finite.keepFinite(1);
        runPlanned(planOfRefitting(), [&] {
            const MeshReport state = checkTriangles(fitted);
            if (!state.manifold || !state.oriented) return;
            report = refitMesh(fitted, finite, settled);
            untangleMesh(fitted);
        });
        mesh = std::move(fitted);
        return report;
    });
}

// The number of different codes.
std::uint64_t countDifferent(std::vector<uint64> vCodes) {
    sortUniqueMT(vCodes);
    return vCodes.size();
}

// What the measured spacing is needed for.
void lookAround(Cloud& cloud, PointStatistics& found) {
    constexpr std::size_t maxSampled = 20'000;
    cloud.choices.density = Density::AUTO;
    cloud.isUneven();
    cloud.createCalc();
    found.spacing = cloud.usedSpacing;
    found.numCells = countDifferent(cloud.getCCDs(*cloud.getCalc()));
    found.unsupportedShare = cloud.foundDensity.unsupportedShare;
    found.localSpacing = measureLocalSpacings(PointGrid(cloud.input, *cloud.getCalc()), maxSampled);
    found.noise = measureNoise(cloud.input, found.spacing);
    found.needsDoubles = needsDoubles(found.low, found.high, found.spacing);
}

bool isAtSamePlace(const Point3& a, const Point3& b) {
    return a == b;
}

std::uint64_t countDuplicates(const PointSource& finite) {
    std::vector<Point3> vSorted(finite.size());
    for (std::size_t i = 0; i < vSorted.size(); ++i) vSorted[i] = finite[i];
    sortMT(vSorted.begin(), vSorted.end(), [](const Point3& a, const Point3& b) { return a < b; });
    const auto end = std::unique(vSorted.begin(), vSorted.end(), isAtSamePlace);
    return static_cast<std::uint64_t>(vSorted.end() - end);
}

PointStatistics measureStatistics(const PointSource& points, const Context& context) {
    return runCall(context, [&] {
        planMeasuring(true);
        PointStatistics found;
        Cloud cloud("points", -1.0, 1.0, false, -1);
        cloud.choices.bKeepOutliers = false;
        cloud.setPoints(points);
        found.numStrays = cloud.numStrays;
        found.numFinite = cloud.numPoints + cloud.numStrays;
        if (found.numFinite == 0) {
            found.fault = noPoints;
            return found;
        }
        found.numDuplicates = countDuplicates(cloud.input);
        found.low = {cloud.bboxMin[0], cloud.bboxMin[1], cloud.bboxMin[2]};
        found.high = {cloud.bboxMax[0], cloud.bboxMax[1], cloud.bboxMax[2]};
        try {
            cloud.leaveOutFlyingPoints();
            found.numOutliers = cloud.numOutliers;
            cloud.estimateResolution();
            lookAround(cloud, found);
        } catch (const BugReport& report) {
            found.fault = report.cure.empty() ? report.text : report.cure;
        }
        finishProgress();
        return found;
    });
}

}  // namespace

std::shared_ptr<Mesh> reconstruct_abs(std::vector<Point3>& vPoints, bool bSmooth, double absSpacing, int numGrowSteps) {
    return runOlder(vPoints, {absSpacing, -1.0, bSmooth, numGrowSteps, {}});
}

std::shared_ptr<Mesh> reconstruct_auto(std::vector<Point3>& vPoints, bool bSmooth, double spacingFactor,
                                       int numGrowSteps) {
    return runOlder(vPoints, {-1.0, spacingFactor, bSmooth, numGrowSteps, {}});
}

Reconstruction reconstruct(std::span<const Point3> points, const ReconstructOptions& options, const Context& context) {
    checkSpan(points);
    return reconstructSource(points, {}, options, context);
}

Reconstruction reconstruct(const PointView& points, const ReconstructOptions& options, const Context& context) {
    checkView(points);
    const PointSource source = points;
    return reconstructSource(source, {&source, points.normals, points.normalStride}, options, context);
}

const char* wordOf(SideRule rule) {
    constexpr std::array words = {"none", "viewpoint", "normals", "volume", "terrain", "agreement"};
    return words.at(static_cast<std::size_t>(rule));
}

Grid measureGrid(std::span<const Point3> points, const ReconstructOptions& options, const Context& context) {
    checkSpan(points);
    return measureGridOf(points, options, context);
}

double measureSpacing(std::span<const Point3> points, const Context& context) {
    checkSpan(points);
    return measureSource(points, context);
}

double measureSpacing(const PointView& points, const Context& context) {
    checkView(points);
    return measureSource(points, context);
}

RefitReport refit(TriangleMesh& mesh, std::span<const Point3> points, const RefitOptions& options,
                  const Context& context) {
    checkSpan(points);
    return refitSource(mesh, points, options, context);
}

RefitReport refit(TriangleMesh& mesh, const PointView& points, const RefitOptions& options, const Context& context) {
    checkView(points);
    return refitSource(mesh, points, options, context);
}

PointStatistics measurePoints(std::span<const Point3> points, const Context& context) {
    checkSpan(points);
    return measureStatistics(points, context);
}

PointStatistics measurePoints(const PointView& points, const Context& context) {
    checkView(points);
    return measureStatistics(points, context);
}

}  // namespace QUOR_ZEF
