#include "api/scanMesh.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <utility>

#include "api/Hal.h"
#include "api/calls.h"
#include "cloud/CloudMgr.h"
#include "density/noise.h"
#include "handles/cutHandles.h"
#include "mend/Manifold.h"
#include "outliers/lonelyPieces.h"
#include "refit/refitMesh.h"
#include "smooth/colors.h"

namespace QUOR_ZEF {

namespace {

constexpr double noFeatureAngle = 361.0;
constexpr double maxLevels = 10.0;
constexpr double widestHandle = 30.0;        // cells; time grows with the square
constexpr std::uint32_t maxSparseHole = 44;  // edges: a few spacings across where points are sparse

Density densityOf(const ReconstructOptions& options) {
    return options.levels == 0 ? Density::EVEN : options.density;
}

bool areHandlesCut(const ReconstructOptions& options) {
    return options.mend && options.minHandle > 0.0;
}

void checkGrid(const Grid& grid) {
    checkOption("grid: spacing", grid.spacing, std::numeric_limits<double>::min(), unlimited);
    checkOption("grid: numLevels", grid.numLevels, 1.0, MAXLEVELS);
    checkOption("grid: levels", grid.levels, 0.0, maxLevels);
    checkOption("grid: blockGridSide", grid.blockGridSide, 0.0, unlimited);
    checkOption("grid: blockLevel", grid.blockLevel, 0.0, MAXLEVELS);
    checkOption("grid: noise", grid.noise, -1.0, unlimited);
    checkOption("grid: stepAxis", grid.stepAxis, -1.0, 2.0);
    const std::vector<double>& vSteps = grid.stepValues;
    const bool bSteps = vSteps.size() >= (grid.stepAxis < 0 ? 0 : 3) && std::ranges::is_sorted(vSteps) &&
                        std::ranges::all_of(vSteps, [](double value) { return std::isfinite(value); });
    if (!bSteps) throw ArgumentError("grid: stepValues must ascend and be finite, three of them or more");
    if (!isFinite(grid.low) || !isFinite(grid.blockLow))
        throw ArgumentError("grid: a corner has a coordinate that is not finite");
}

void removeSmallPieces(const ReconstructOptions& options, const SparseParts& sparseParts, Reconstruction& result) {
    const RemovedPieces removed =
        removeLonelyPieces(result.mesh, result.spacing, options.minPiece, getTriangleWeights(result.mesh, sparseParts));
    result.numRemovedPieces = removed.numPieces;
    result.numRemovedTriangles = removed.numTriangles;
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

}  // namespace

std::shared_ptr<Mesh> run(const PointSource& points, const Job& job, Findings* pFindings) {
    CloudMgr cloudMgr;
    cloudMgr.choices = job.choices;
    cloudMgr.inputPointsViaMemory(points, job.spacing, job.factor, false, noFeatureAngle, job.bSmooth, nullptr,
                                  job.numGrowSteps);
    Hal hal(&cloudMgr);
    std::shared_ptr<Mesh> pMesh = hal.reconstruct(pFindings != nullptr);
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

bool isRefitWanted(const ReconstructOptions& options) {
    return options.refit && options.mend;
}

// What the thin walls join to must be a manifold, so that borders tell how good it is.
bool areThinWallsKept(const ReconstructOptions& options) {
    return options.thinWalls && options.mend;
}

void checkOptions(const ReconstructOptions& options, std::size_t numPoints) {
    if (options.grid) checkGrid(*options.grid);
    checkOption("spacing", options.spacing, 0.0, unlimited);
    if (options.spacing == 0.0) checkOption("factor", options.factor, std::numeric_limits<double>::min(), unlimited);
    checkOption("levels", options.levels, 0.0, maxLevels);
    checkOption("refitRadius", options.refitRadius, 0.0, unlimited);
    checkOption("minHandle", options.minHandle, 0.0, widestHandle);
    checkOption("thicken", options.thicken, 0.0, std::numeric_limits<double>::max());
    if (options.thicken > 0.0 && !options.closed) throw ArgumentError("thicken: only with closed");
    if (options.closed && !(options.mend && options.untangle))
        throw ArgumentError("closed: only with mend and untangle");
    if (options.viewpoint && !isFinite(*options.viewpoint))
        throw ArgumentError("viewpoint has a coordinate that is not finite");
    if (!options.normals.empty() && options.normals.size() != numPoints)
        throw ArgumentError("normals: " + std::to_string(options.normals.size()) + " for " + std::to_string(numPoints) +
                            " points; give one for each, or none");
}

ScanChoices choicesOf(const ReconstructOptions& options) {
    const bool bRefit = isRefitWanted(options);
    const bool bKeepInput = options.measureCoverage || bRefit || areHandlesCut(options) || areThinWallsKept(options);
    return {.bKeepBorders = options.keepBorders,
            .bGrowFar = options.closed,
            .bKeepOutliers = options.keepOutliers,
            .density = densityOf(options),
            .numLevels = options.levels,
            .bKeepInput = bKeepInput,
            .bSmoothNoisy = bRefit && !options.grid,
            .bSpreadThin = false,
            .grid = options.grid};
}

ReconstructOptions settle(const ReconstructOptions& options) {
    ReconstructOptions settled = options;
    if (!options.grid) return settled;
    const Grid& grid = *options.grid;
    settled.spacing = grid.spacing;
    settled.smooth = grid.smooth;
    settled.density = grid.uneven ? Density::UNEVEN : Density::EVEN;
    settled.levels = grid.levels;
    settled.keepOutliers = grid.blockGridSide == 0.0;
    return settled;
}

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

void refitToPoints(const PointSource& points, const ReconstructOptions& options, double noise, Reconstruction& result) {
    // In cells: the mean of meshes of random points, by which fitting was tuned. The mean of the mesh itself would
    // differ from tile to tile.
    constexpr double edge = 1.18;
    const double spacing = spacingOfPoints(result);
    RefitScale scale{edge * result.spacing, PointScale{noise * spacing, spacing}, {}};
    if (options.grid) scale.steps = CoordinateSteps(options.grid->stepAxis, options.grid->stepValues, spacing);
    result.refit = refitMesh(result.mesh, points, {spacing, options.refitRadius}, scale);
}

double spacingOfPoints(const Reconstruction& result) {
    return result.measuredSpacing > 0.0 ? result.measuredSpacing : result.spacing;
}

double measureNoise(const PointSource& points, double spacing) {
    const double deviation = NoiseMap(points, spacing).getMedian().deviation;
    return deviation < 0.0 ? -1.0 : deviation / spacing;
}

}  // namespace QUOR_ZEF
