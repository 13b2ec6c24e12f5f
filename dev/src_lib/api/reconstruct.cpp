#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "api/Hal.h"
#include "api/MeshBody.h"
#include "api/calls.h"
#include "api/plans.h"
#include "api/sparseParts.h"
#include "api/thinParts.h"
#include "api/untangled.h"
#include "check/checkTriangles.h"
#include "check/surfaceFit.h"
#include "closing/bodies.h"
#include "closing/closeLoops.h"
#include "cloud/CloudMgr.h"
#include "density/noise.h"
#include "density/surroundings.h"
#include "flat/arrays.h"
#include "frame/License.h"
#include "geometry/PointSource.h"
#include "grid/Calc.h"
#include "handles/cutHandles.h"
#include "io/precision.h"
#include "mend/Manifold.h"
#include "outliers/lonelyPieces.h"
#include "parallel/sortMT.h"
#include "refit/refitMesh.h"
#include "sides/turnPieces.h"
#include "smooth/colors.h"
#include "untangle/untangleMesh.h"
#include "zef/Mesh.h"
#include "zef/reconstruction.h"
#include "zef/zef_api_functions.h"

namespace QUOR_ZEF {

namespace {

constexpr double noFeatureAngle = 361.0;
constexpr double unlimited = std::numeric_limits<double>::infinity();
constexpr double maxLevels = 10.0;
constexpr double widestHandle = 30.0;        // cells; time grows with the square
constexpr std::uint32_t maxSparseHole = 44;  // edges: a few spacings across where points are sparse
constexpr const char* noPoints = "there are no points with finite coordinates";

// What both families of entries do; the choices are of the newer one.
struct Job {
    double spacing, factor;
    bool bSmooth;
    int numGrowSteps;
    ScanChoices choices;
};

// What the newer entries learn besides the mesh.
struct Findings {
    Reconstruction result;
    PointSource counted;  // the points that were not left out, if wanted
    SparseParts sparseParts;
    std::optional<Calc> calc;
};

std::shared_ptr<Mesh> run(const PointSource& points, const Job& job, Findings* pFindings) {
    CloudMgr cloudMgr;
    cloudMgr.choices = job.choices;
    cloudMgr.inputPointsViaMemory(points, job.spacing, job.factor, false, noFeatureAngle, job.bSmooth, nullptr,
                                  job.numGrowSteps);
    Hal hal(&cloudMgr);
    std::shared_ptr<Mesh> pMesh = hal.reconstruct();
    if (pFindings) {
        Reconstruction* const pFound = &pFindings->result;
        Cloud& cloud = *cloudMgr.getClouds().front();
        pFindings->counted = std::move(cloud.counted);
        if (cloud.getCalc()) pFindings->calc = *cloud.getCalc();
        if (!cloud.vAddedCells.empty()) pFindings->sparseParts = {*cloud.getCalc(), std::move(cloud.vAddedCells)};
        pFound->numPoints = cloud.numPoints + cloud.numStrays + cloud.numOutliers;
        pFound->numStrays = cloud.numStrays;
        pFound->numOutliers = cloud.numOutliers;
        pFound->low = cloud.lowCorner;
        pFound->high = cloud.highCorner;
        pFound->measuredSpacing = cloud.getEstimatedSpacing();
        pFound->spacing = cloud.usedSpacing;
        pFound->numCells = hal.getNumCells();
        pFound->density = cloud.foundDensity;
    }
    return pMesh;
}

Density densityOf(const ReconstructOptions& options) {
    return options.levels == 0 ? Density::EVEN : options.density;
}

std::shared_ptr<Mesh> runOlder(const std::vector<Point3>& vPoints, const Job& job) {
    passLicenseGate("reconstruct", vPoints.size());
    planReconstruction({}, vPoints.size());
    passLicenseGate("license state", vPoints.size());
    std::shared_ptr<Mesh> pMesh = run(vPoints, job, nullptr);
    finishProgress();
    return pMesh;
}

bool isRefitWanted(const ReconstructOptions& options) {
    return options.refit && options.mend;
}

void checkOptions(const ReconstructOptions& options, std::size_t numPoints) {
    checkOption("spacing", options.spacing, 0.0, unlimited);
    if (options.spacing == 0.0) checkOption("factor", options.factor, std::numeric_limits<double>::min(), unlimited);
    checkOption("levels", options.levels, 0.0, maxLevels);
    checkOption("refitRadius", options.refitRadius, 0.0, unlimited);
    checkOption("minHandle", options.minHandle, 0.0, widestHandle);
    if (options.closed && !(options.mend && options.untangle))
        throw ArgumentError("closed: only with mend and untangle");
    if (options.viewpoint) {
        const Point3& p = *options.viewpoint;
        if (!std::isfinite(p.px) || !std::isfinite(p.py) || !std::isfinite(p.pz))
            throw ArgumentError("viewpoint has a coordinate that is not finite");
    }
    if (!options.normals.empty() && options.normals.size() != numPoints)
        throw ArgumentError("normals: " + std::to_string(options.normals.size()) + " for " + std::to_string(numPoints) +
                            " points; give one for each, or none");
}

void removeSmallPieces(const ReconstructOptions& options, const SparseParts& sparseParts, Reconstruction& result) {
    const RemovedPieces removed =
        removeLonelyPieces(result.mesh, result.spacing, options.minPiece, getTriangleWeights(result.mesh, sparseParts));
    result.numRemovedPieces = removed.numPieces;
    result.numRemovedTriangles = removed.numTriangles;
}

// What the thin walls join to must be a manifold, so that borders tell how good it is.
bool areThinWallsKept(const ReconstructOptions& options) {
    return options.thinWalls && options.mend;
}

bool areHandlesCut(const ReconstructOptions& options) {
    return options.mend && options.minHandle > 0.0;
}

// As wide as a loop is that is as long as a circle around them.
void cutSmallHandles(Reconstruction& result, const ReconstructOptions& options, const PointSource& points) {
    if (!areHandlesCut(options)) return;
    result.numCutHandles = cutHandles(result.mesh, points, result.spacing, M_PI * options.minHandle * result.spacing);
    if (result.numCutHandles > 0 && result.mesh.hasColor()) completeColors(result.mesh);
}

void mendAndTurn(Reconstruction& result, const ReconstructOptions& options, const PointNormals& normals) {
    ManifoldOptions mending;
    mending.fillHoles = options.growSteps > 0;
    if (result.density.uneven) mending.maxHoleEdges = maxSparseHole;
    const MeshPieces pieces = makeManifold(result.mesh, mending, result.mended);
    const TurnedPieces turned = turnPieces(result.mesh, pieces, {options.viewpoint, normals, result.spacing});
    result.sideRule = turned.rule;
    result.numTurnedPieces = turned.num;
    if (result.mesh.hasColor()) completeColors(result.mesh);
}

// The standard deviation in spacings.
double noiseOf(const PointSource& points, double spacing) {
    const double deviation = NoiseMap(points, spacing).getMedian().deviation;
    return deviation < 0.0 ? -1.0 : deviation / spacing;
}

// A given spacing is that of the vertices, which the points need not have.
void refitToPoints(const PointSource& points, const ReconstructOptions& options, Reconstruction& result) {
    const double spacing = result.measuredSpacing > 0.0 ? result.measuredSpacing : result.spacing;
    result.refit = refitMesh(result.mesh, points, {spacing, options.refitRadius});
}

// Once; what parts triangles that intersect may open the mesh anew.
void closeOnce(Reconstruction& result, const ReconstructOptions& options) {
    const std::size_t numBefore = result.mesh.numTriangles();
    result.closing.numClosedLoops += closeLoops(result.mesh, result.spacing);
    const LeftOutPieces left = keepBodies(result.mesh, numBefore, result.spacing, options.keepInner);
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
        // What opened again is closed anew from a little farther off.
        if (round > 0) widenHoles(result.mesh, round);
        closeOnce(result, options);
        result.untangled = untangleForFiles(result.mesh, result.spacing);
        numPairs = std::max(numPairs, result.untangled.numPairs);
        const MeshReport state = checkTriangles(result.mesh);
        result.closing.holds = state.closed && state.manifold && state.oriented && result.untangled.numPairsLeft == 0;
    }
    result.untangled.numPairs = numPairs;
    tellOfLeftOut(result.closing);
}

void measureFit(const PointSource& counted, Reconstruction& result) {
    const double covered = measureCoverage(counted, result.mesh, result.spacing);
    result.coverage = covered * static_cast<double>(counted.size()) / static_cast<double>(result.numPoints);
    result.noise = noiseOf(counted, result.measuredSpacing > 0.0 ? result.measuredSpacing : result.spacing);
}

ScanChoices choicesOf(const ReconstructOptions& options) {
    const bool bRefit = isRefitWanted(options);
    const bool bKeepInput = options.measureCoverage || bRefit || areHandlesCut(options) || areThinWallsKept(options);
    return {options.keepBorders, options.keepOutliers, densityOf(options), options.levels, bKeepInput, bRefit};
}

// Up to the mesh that is then fitted to the points.
Findings makeMesh(const PointSource& points, const PointNormals& normals, const ReconstructOptions& options,
                  const ScanChoices& choices) {
    Findings findings;
    Reconstruction& result = findings.result;
    const std::shared_ptr<Mesh> pMesh =
        run(points, {options.spacing, options.factor, options.smooth, options.growSteps, choices}, &findings);
    if (result.numPoints == 0) throw NoSurfaceError(noPoints);
    if (!pMesh || pMesh->getNumT() == 0)
        throw NoSurfaceError("no surface came out of the points; try a larger factor or another spacing");
    result.mesh = pMesh->releaseTriangles();
    if (options.mend) mendAndTurn(result, options, normals);
    removeSmallPieces(options, findings.sparseParts, result);
    result.density.numMergedVertices = mergeSparseParts(result.mesh, findings.sparseParts);
    cutSmallHandles(result, options, findings.counted);
    return findings;
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

Reconstruction reconstructSource(const PointSource& points, PointNormals normals, const ReconstructOptions& options,
                                 const Context& context) {
    checkOptions(options, points.size());
    if (!options.normals.empty()) normals = {&points, &options.normals.front().vx, sizeof(Vector3) / sizeof(double)};
    return runCall(context, [&] {
        passLicenseGate("reconstruct", points.size());
        planReconstruction(options, points.size());
        passLicenseGate("license state", points.size());
        Findings findings = makeMesh(points, normals, options, choicesOf(options));
        keepThinWalls(normals, options, findings);
        Reconstruction result = std::move(findings.result);
        if (isRefitWanted(options)) refitToPoints(findings.counted, options, result);
        if (options.closed)
            closeResult(result, options);
        else if (options.untangle && options.mend)
            result.untangled = untangleForFiles(result.mesh, result.spacing);
        if (options.measureCoverage) measureFit(findings.counted, result);
        finishProgress();
        return result;
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
    found.noise = noiseOf(cloud.input, found.spacing);
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
