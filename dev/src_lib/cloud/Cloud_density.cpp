#include <algorithm>
#include <cmath>
#include <limits>
#include <sstream>
#include <utility>

#include "cloud/Cloud.h"
#include "density/Densifier.h"
#include "density/PointGrid.h"
#include "density/ThinSheets.h"
#include "density/evenness.h"
#include "frame/Progress.h"
#include "frame/stageCosts.h"
#include "frame/tools.h"
#include "grid/Calc.h"
#include "parallel/concurrency.h"
#include "parallel/parallelTransform.h"

namespace QUOR_ZEF {

namespace {

constexpr double evenFactor = 1.4;  // of the measured spacing: on that grid even clouds have support
constexpr double maxUnsupported = 0.0225;

// What sparse parts may take of the grid.
double getMaxCells(uint64 numPoints) {
    constexpr double cellsPerPoint = 6.0, most = 4e7;
    return std::min(cellsPerPoint * static_cast<double>(numPoints), most);
}

}  // namespace

bool Cloud::isUneven() {
    if (choices.density == Density::EVEN) return false;
    Progress* pProgress = getProgress()->getChildProgressSetTodo("CL_dens", 4);
    if (choices.density == Density::AUTO) foundDensity.unsupportedShare = measureUnsupportedShare();
    foundDensity.uneven = choices.density == Density::UNEVEN || foundDensity.unsupportedShare >= maxUnsupported;
    if (!foundDensity.uneven) pProgress->finish(true);
    expectCosts(numPoints);
    return foundDensity.uneven;
}

// Of what is to come, by the points in the grid, and by its cells if there are some yet, and whether noise shows.
void Cloud::expectCosts(std::size_t numInGrid, std::size_t numCells, bool bScattered) const {
    const double factor = absSpacing > 0.0 ? 1.3 : spacingFactor;
    ScanSize size = ScanSize::guess(static_cast<double>(numPoints), factor);
    size.numPoints = static_cast<double>(numInGrid);
    if (numCells > 0) size.numCells = static_cast<double>(numCells);
    size.bUneven = foundDensity.uneven;
    size.bScattered = bScattered;
    size.numThreads = getNumThreads();
    reweighStages(costsOfReconstruction(size));
}

double Cloud::measureUnsupportedShare() {
    constexpr std::size_t minChunk = 10'000;
    constexpr double margin = 2.0;  // cells, so that all have neighbours
    const double spacing = estimatedSpacing > 0.0 ? estimatedSpacing : measureSpacing();
    const double cell = evenFactor * spacing;
    const double numCells = getExtent() / cell + 2.0 * margin + 1.0;
    // Points that far from each other are sparse in any case.
    if (!(numCells < std::ldexp(1.0, MAXLEVELS))) return 1.0;
    const int level = static_cast<int>(std::ceil(std::log2(numCells)));
    const double side = std::ldexp(cell, level), away = margin * cell;
    const Calc calc(bboxMin[0] - away, bboxMin[1] - away, bboxMin[2] - away, side, side, side, level);
    std::vector<uint64> vRCD(input.size());
    parallelChunks(vRCD.size(), minChunk, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) vRCD[i] = calc.getRCD(input[i]);
    });
    return getUnsupportedShare(std::move(vRCD));
}

void Cloud::serveSparseParts() {
    Progress* pProgress =
        getProgress()->getChildProgressSetTodo("CL_dens", Densifier::ticksToFind + Densifier::ticksToRun);
    constexpr int maxTries = 4;
    int numLevels = choices.numLevels;
    for (int numTries = 1;; ++numTries) {
        const PointGrid pointGrid(input, *pCalc);
        Densifier densifier(pointGrid, pProgress);
        const double maxCells = choices.grid ? std::numeric_limits<double>::infinity() : getMaxCells(numPoints);
        const double numCells = densifier.estimateCells(numLevels);
        // A coarser grid can bring in points that were beyond the levels of the finer one.
        if (numCells > maxCells && absSpacing <= 0.0 && numTries < maxTries) {
            const double factor = std::sqrt(numCells / maxCells);
            foundDensity.coarsening *= factor;
            usedSpacing *= factor;
            measureBox();
            createCalc();
            continue;
        }
        while (numLevels > 0 && densifier.estimateCells(numLevels) > maxCells) --numLevels;
        vPoints = densifier.run(numLevels);
        foundDensity.numAddedPoints = vPoints.size() - pointGrid.size();
        vAddedCells = std::move(densifier.vAddedCells);
        foundDensity.levelPoints = densifier.countLevels(numLevels);
        break;
    }
    foundGrid.levels = numLevels;
    warnOfBudget(numLevels);
    input = PointSource(vPoints);
    expectCosts(vPoints.size());
    pProgress->finish(true);
}

void Cloud::spreadThinSheets() {
    const PointGrid pointGrid(input, *pCalc);
    pThin = std::make_unique<ThinSheets>(pointGrid);
    vPoints = pThin->spread();
    input = PointSource(vPoints);
}

// In words, what of the wish could not be met.
void Cloud::warnOfBudget(int numLevels) const {
    std::ostringstream text;
    if (foundDensity.coarsening > 1.0)
        text << "The grid was made " << foundDensity.coarsening
             << " times coarser, since sparse parts would have taken too many cells: give a spacing, or fewer levels";
    else if (numLevels < choices.numLevels)
        text << "Sparse parts were served up to level " << numLevels << " of " << choices.numLevels
             << ", since the grid is too fine for more: give a larger spacing";
    if (!text.str().empty()) showWarning(where(__PRETTY_FUNCTION__, __LINE__), text.str());
}

}  // namespace QUOR_ZEF
