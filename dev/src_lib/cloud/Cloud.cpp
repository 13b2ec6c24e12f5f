#include "cloud/Cloud.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <sstream>
#include <utility>

#include "density/ThinSheets.h"
#include "frame/License.h"
#include "frame/Progress.h"
#include "frame/Run.h"
#include "frame/tools.h"
#include "geometry/Plane.h"
#include "grid/Calc.h"
#include "grid/codeSets.h"
#include "outliers/flyingPoints.h"
#include "outliers/strays.h"
#include "parallel/parallelTransform.h"
#include "parallel/sortMT.h"
#include "sampling/Smooth.h"
#include "sampling/firstPerCell.h"

namespace QUOR_ZEF {

namespace {

constexpr int fineLevels = 20;  // of a grid that tells points apart

// The highest level at which two different codes of adjacent cells in Z-order part.
int highestDifferingLevel(uint64 code0, uint64 code1) {
    return (63 - std::countl_zero(code0 ^ code1)) / 3;
}

// The number of blocks of side 2^level that hold cells; vCCD is sorted.
uint64 countBlocks(const std::vector<uint64>& vCCD, int level) {
    const int shift = 3 * level;
    if (shift >= 64) return vCCD.empty() ? 0 : 1;
    uint64 count = 0;
    for (std::size_t i = 0; i < vCCD.size(); ++i) {
        if (i == 0 || (vCCD[i] >> shift) != (vCCD[i - 1] >> shift)) ++count;
    }
    return count;
}

// The median level at which neighbours in Z-order part, counting only the levels
// above 1; -1 if none does.
int medianSeparationLevel(const std::vector<uint64>& vCCD) {
    std::array<uint64, MAXLEVELS> pairsAtLevel{};
    uint64 numPairs = 0;
    for (std::size_t i = 1; i < vCCD.size(); ++i) {
        if (vCCD[i] == vCCD[i - 1]) continue;
        const int level = highestDifferingLevel(vCCD[i - 1], vCCD[i]);
        if (level <= 1) continue;
        ++pairsAtLevel[static_cast<std::size_t>(level)];
        ++numPairs;
    }
    if (numPairs == 0) return -1;
    uint64 below = 0;
    int level = 0;
    while (below + pairsAtLevel[static_cast<std::size_t>(level)] <= numPairs / 2) {
        below += pairsAtLevel[static_cast<std::size_t>(level++)];
    }
    return level;
}

}  // namespace

Calc calcOf(const Grid& grid) {
    const double side = std::ldexp(grid.spacing, grid.numLevels);
    return Calc(grid.low.px, grid.low.py, grid.low.pz, side, side, side, grid.numLevels);
}

bool isInGrid(const Calc& calc, const Point3& p) {
    constexpr double margin = 1000.0;  // cells
    const double last = static_cast<double>(calc.numCells) - margin;
    const auto isInside = [&](double x, double low) {
        const double cells = (x - low) * calc.invCellX;
        return cells >= margin && cells <= last;
    };
    return isInside(p.px, calc.x0) && isInside(p.py, calc.y0) && isInside(p.pz, calc.z0);
}

Cloud::Cloud(const std::string& cloudName, double spacing, double factor, bool bCorners, int growSteps)
    : numGrowSteps(growSteps), name(cloudName), absSpacing(spacing), spacingFactor(factor), bMelt(bCorners) {}

Cloud::~Cloud() = default;

void Cloud::setPoints(PointSource points) {
    input = std::move(points);
    const std::size_t numSkipped = input.keepFinite(bMelt ? 3 : 1);
    if (numSkipped > 0) {
        showWarning(where(__PRETTY_FUNCTION__, __LINE__),
                    "Skipped " + std::to_string(numSkipped) + " points with non-finite coordinates");
    }
    numPoints = input.size();
    if (input.empty()) return;
    measureBox();
    if (choices.grid)
        leaveOutOutside(calcOf(*choices.grid));
    else if (!choices.bKeepOutliers)
        leaveOutStrays();
    if (!bMelt) return;
    vPoints.resize(input.size());
    for (std::size_t i = 0; i < vPoints.size(); ++i) vPoints[i] = input[i];
}

void Cloud::measureBox() {
    const Point3 first = input[0];
    bboxMin = bboxMax = {first.px, first.py, first.pz};
    for (std::size_t i = 0; i < input.size(); ++i) {
        const Point3 p = input[i];
        const double coords[3] = {p.px + 0.0, p.py + 0.0, p.pz + 0.0};  // of 0 and -0 one
        for (std::size_t axis = 0; axis < 3; ++axis) {
            bboxMin[axis] = std::min(bboxMin[axis], coords[axis]);
            bboxMax[axis] = std::max(bboxMax[axis], coords[axis]);
        }
    }
}

double Cloud::getExtent() const {
    return std::max({bboxMax[0] - bboxMin[0], bboxMax[1] - bboxMin[1], bboxMax[2] - bboxMin[2]});
}

void Cloud::leaveOut(const std::vector<std::size_t>& vPositions) {
    if (vPositions.empty()) return;
    input.leaveOut(vPositions);
    numPoints = input.size();
    measureBox();
}

void Cloud::leaveOutStrays() {
    const std::vector<std::size_t> vStrays = findStrays(input, getExtent());
    numStrays = vStrays.size();
    if (vStrays.empty()) return;
    const Point3 first = input[vStrays.front()];
    std::ostringstream text;
    text << "Left out " << numStrays << " stray points, each 100 times as far away as the others extend, such as ("
         << first.px << ", " << first.py << ", " << first.pz << "): delete them from the scan, or keep outliers";
    showWarning(where(__PRETTY_FUNCTION__, __LINE__), text.str());
    leaveOut(vStrays);
}

void Cloud::leaveOutOutside(const Calc& calc) {
    std::vector<std::size_t> vOutside;
    for (std::size_t i = 0; i < input.size(); ++i)
        if (!isInGrid(calc, input[i])) vOutside.push_back(i);
    numStrays = vOutside.size();
    leaveOut(vOutside);
}

void Cloud::leaveOutFlyingPoints() {
    if (choices.bKeepOutliers) return;
    Progress* pProgress = getProgress()->getChildProgressSetTodo("CL_out", 3);
    pProgress->tick();
    if (!choices.grid) {
        foundGrid.blockLow.set(bboxMin[0], bboxMin[1], bboxMin[2]);
        foundGrid.blockGridSide = getExtent();
    }
    const double side = foundGrid.blockGridSide;
    if (side > 0.0 && std::isfinite(side)) {
        const Point3& low = foundGrid.blockLow;
        const Calc fine(low.px, low.py, low.pz, side, side, side, fineLevels);
        std::vector<uint64> vCCD = getCCDs(fine);
        sortMT(vCCD.begin(), vCCD.end());
        pProgress->tick();
        // Points of one surface lie in blocks of this side that touch.
        if (!choices.grid) foundGrid.blockLevel = medianSeparationLevel(vCCD) + 1;
        const int level = foundGrid.blockLevel;
        if (level > 0) leaveOutBlocks(findFlyingBlocks(vCCD, level), fine, level);
    }
    pProgress->finish(true);
}

void Cloud::leaveOutBlocks(const std::vector<uint64>& vBlocks, const Calc& calc, int level) {
    if (vBlocks.empty()) return;
    constexpr std::size_t minChunk = 10'000;
    const auto vChunks =
        parallelChunkResults<std::vector<std::size_t>>(input.size(), minChunk, [&](std::size_t begin, std::size_t end) {
            std::vector<std::size_t> vFlying;
            for (std::size_t i = begin; i < end; ++i)
                if (containsCode(vBlocks, calc.getCCD(input[i]) >> 3 * level)) vFlying.push_back(i);
            return vFlying;
        });
    std::vector<std::size_t> vPositions;
    for (const auto& vFlying : vChunks) vPositions.insert(vPositions.end(), vFlying.begin(), vFlying.end());
    numOutliers = vPositions.size();
    leaveOut(vPositions);
}

// In cells. Beyond it, the cells of a surface are so scattered that its mesh tears.
constexpr double mostScatter = 0.36;

void Cloud::prepareScanPoints(bool bSmooth, const Calc* pGivenCalc) {
    passLicenseGate("prepareScanPoints", numPoints);
    ASSEX(!bMelt);
    if (input.empty()) {
        showWarning(where(__PRETTY_FUNCTION__, __LINE__), "Nothing to do for cloud " + name);
        return;
    }
    createBundles(makeNodes(bSmooth, pGivenCalc));
}

void Cloud::findGrid(bool bSmooth) {
    makeNodes(bSmooth, nullptr);
}

std::unique_ptr<Smooth> Cloud::makeNodes(bool bSmooth, const Calc* pGivenCalc) {
    if (pGivenCalc)
        pCalc = std::make_unique<Calc>(*pGivenCalc);
    else
        settleGrid();
    passLicenseGate("number of points", numPoints);
    auto pSmooth = std::make_unique<Smooth>(std::move(input), &vPoints, pCalc.get());
    // Sparse parts are no noise, and look like it.
    if (choices.bSmoothNoisy && !foundDensity.uneven) pSmooth->mostScatter = mostScatter;
    pSmooth->run(bSmooth);
    foundGrid.smooth = pSmooth->bSmoothed;
    // The nodes hold all that is needed of the points.
    std::vector<Point3>().swap(vPoints);
    return pSmooth;
}

void Cloud::settleGrid() {
    if (choices.grid) foundGrid = *choices.grid;
    leaveOutFlyingPoints();
    lowCorner.set(bboxMin[0], bboxMin[1], bboxMin[2]);
    highCorner.set(bboxMax[0], bboxMax[1], bboxMax[2]);
    if (choices.bKeepInput) counted = input;
    estimateResolution();
    const bool bUneven = isUneven();
    createCalc();
    if (bUneven)
        serveSparseParts();
    else if (choices.bSpreadThin)
        spreadThinSheets();
    foundGrid.low.set(pCalc->x0, pCalc->y0, pCalc->z0);
    foundGrid.spacing = usedSpacing;
    foundGrid.numLevels = pCalc->numLevels;
    foundGrid.measuredSpacing = estimatedSpacing;
    foundGrid.uneven = bUneven;
}

void Cloud::estimateResolution() {
    if (choices.grid) {
        estimatedSpacing = choices.grid->measuredSpacing;
        usedSpacing = choices.grid->spacing;
        return;
    }
    if (absSpacing > 0.0) {
        usedSpacing = absSpacing;
        return;
    }
    estimatedSpacing = measureSpacing();
    usedSpacing = estimatedSpacing * spacingFactor;
    checkScale();
}

double Cloud::measureSpacing() {
    constexpr double surfacePerBlock = 1.307025;  // squared side of a block / the area that crosses it on average
    constexpr double regularSpacing = 1.5396;     // area per point to squared spacing of a regular arrangement

    Progress* pProgress = getProgress()->getChildProgressSetTodo("CL_eres", 6);
    pProgress->tick();
    const double side = getExtent();
    ASSEX(side>0 && "give a spacing: the cloud's own could not be measured");
    ASSEX(std::isfinite(side) && "the box of the cloud is too large for double precision: scale the coordinates");
    const Calc fine(bboxMin[0], bboxMin[1], bboxMin[2], side, side, side, fineLevels);
    std::vector<uint64> vCCD = getCCDs(fine);
    pProgress->tick();
    sortMT(vCCD.begin(), vCCD.end());
    pProgress->tick();
    const int medianLevel = medianSeparationLevel(vCCD);
    pProgress->tick();
    ASSEX(medianLevel>=0 && "give a spacing: the cloud's own could not be measured");
    const int blockLevel = medianLevel + 2;
    pProgress->tick();
    const uint64 count = countBlocks(vCCD, blockLevel);
    pProgress->tick();
    const double blockSide = std::ldexp(fine.cellX, blockLevel);
    const double area = static_cast<double>(count) * (blockSide * blockSide / surfacePerBlock);
    pProgress->finish(true);
    return std::sqrt(area / static_cast<double>(numPoints) * regularSpacing);
}

std::vector<uint64> Cloud::getCCDs(const Calc& calc) const {
    constexpr std::size_t minChunk = 10'000;
    std::vector<uint64> vCCD(input.size());
    parallelChunks(vCCD.size(), minChunk, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) vCCD[i] = calc.getCCD(input[i]);
    });
    return vCCD;
}

void Cloud::createCalc() {
    constexpr double margin = 5000.0;  // cells on each side
    if (choices.grid) {
        pCalc = std::make_unique<Calc>(calcOf(*choices.grid));
        return;
    }
    checkScale();
    ASSEX(usedSpacing>0);
    checkResolution();
    const double extent = getExtent();
    const double numReqC = std::ceil(extent / usedSpacing) + 2.0 * margin;
    // A count beyond any grid must not reach the conversion to int.
    const double neededLevel = std::min(std::log2(numReqC), 1000.0);
    int level = static_cast<int>(neededLevel) + 1;
    if (getRun())
        ASSEX(level<=MAXLEVELS && "the spacing is too fine for the extent of the points: give a larger one, or cut off what lies far away");
    if (level > MAXLEVELS) {
        showWarning(where(__PRETTY_FUNCTION__, __LINE__), "BaseLevel out of range: " + std::to_string(level));
        level = MAXLEVELS;
    }
    for (std::size_t axis = 0; axis < 3; ++axis) {
        bboxMin[axis] -= usedSpacing * margin;
        bboxMax[axis] += usedSpacing * margin;
    }
    const double numCReal = std::ldexp(1.0, level);
    ASSEX(numCReal>=numReqC);
    const double side = usedSpacing * numCReal;
    pCalc = std::make_unique<Calc>(bboxMin[0], bboxMin[1], bboxMin[2], side, side, side, level);
}

// Fourth powers of a cell, which planes need, must be doubles. The older entries fail where
// they meet the first one that is not.
void Cloud::checkScale() const {
    constexpr double largest = 1e60;
    if (getRun())
        ASSEX(usedSpacing>=1.0/largest && usedSpacing<=largest && "lengths of this size are beyond double precision: scale the coordinates");
}

// Cells must be told apart by the doubles that the coordinates are.
void Cloud::checkResolution() const {
    constexpr double stepsPerCell = 16.0;
    ASSEX(std::isfinite(usedSpacing) && "give a finite spacing");
    double largest = 0.0;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        largest = std::max({largest, std::abs(bboxMin[axis]), std::abs(bboxMax[axis])});
    }
    const double resolution = largest * std::numeric_limits<double>::epsilon();
    ASSEX(usedSpacing>=stepsPerCell*resolution && "the spacing is below the resolution of coordinates of this size: move the cloud towards the origin or give a larger spacing");
}

namespace {

// From here on a node has enough neighbours for its plane to be better than its position.
constexpr int numNeigsForPlane = 8;

bool isSampledAtItself(const SNode& node) {
    return node.bKeepPosition || node.numLinkedNodes < numNeigsForPlane;
}

// Where the surface passes the node's cell; the node must have a plane.
Point3 sampleOf(const SNode& node, uint64 ccd, const Calc& calc) {
    if (isSampledAtItself(node)) return node.smoothedPoint;
    Point3 sample = node.projection(calc.getCellCenter(ccd));
    sample.copyColorFrom(node.smoothedPoint);
    return sample;
}

using CodedNode = std::pair<uint64, const SNode*>;

// The nodes by the cells of their positions, one per cell: the first made.
std::vector<CodedNode> firstNodesOfCells(const Smooth& smooth, const Calc& calc) {
    std::vector<CodedNode> vCoded;
    parallelTransform(smooth.getNodes(), vCoded,
                      [&](const SNode& node) { return CodedNode(calc.getCCD(node.smoothedPoint), &node); });
    keepFirstPerCell(vCoded, [](const SNode* pNode) { return pNode->id; });
    return vCoded;
}

// One sample per cell that has a node with a plane, ascending by cell.
std::vector<Point3> getSamples(const Smooth& smooth, const Calc& calc, Progress& progress) {
    progress.tick();
    const std::vector<CodedNode> vCoded = firstNodesOfCells(smooth, calc);
    progress.tick();
    std::vector<Point3> vSamples;
    vSamples.reserve(vCoded.size());
    for (const auto& [ccd, pNode] : vCoded) {
        pollRun(vSamples.size());
        if (pNode->bHasPlane) vSamples.push_back(sampleOf(*pNode, ccd, calc));
    }
    progress.tick();
    return vSamples;
}

}  // namespace

void Cloud::createBundles(std::unique_ptr<Smooth> pSmooth) {
    // The time before gaps are filled, which is a stage of its own, and that after it.
    constexpr uint64 cleaning = 25, joining = 20, thinning = 7;
    const uint64 all = expectedTicks(cleaning + joining + thinning, 1);
    Progress* pProgress = getProgress()->getChildProgressSetTodo("CL_creb", 5 + all);
    pProgress->tick();
    std::vector<Point3> vSamples = getSamples(*pSmooth, *pCalc, *pProgress);
    const bool bScattered = pSmooth->bSmoothed;
    pSmooth.reset();
    std::vector<RCDPoint> vCells;
    const auto beforeFilling = [&](std::size_t numCells) {
        if (!getRun()) return;
        pProgress->tick(cleaning);
        expectCosts(numPoints + foundDensity.numAddedPoints, numCells, bScattered);
    };
    const auto beforeGrowth = [&] {
        if (getRun()) pProgress->tick(joining);
    };
    cleanPoints_RCD(vSamples, vCells, beforeFilling, beforeGrowth);
    pProgress->tick(expectedTicks(thinning, 1));
    makeBundles(vCells);
    pProgress->tick();
    pProgress->finish(true);
}

void Cloud::makeBundles(const std::vector<RCDPoint>& vCells) {
    ASSEX(vCells.size()<=static_cast<std::size_t>(std::numeric_limits<int>::max()));
    const int n = static_cast<int>(vCells.size());
    const int next = std::max(n / 5, 100);
    bundlePool.init(n, next);
    pointPool.init(n, next);
    vBundles.reserve(vCells.size());
    for (const auto& [ccd, sample] : vCells) {
        pollRun(vBundles.size());
        Point3* pPoint = std::construct_at(pointPool.alloc(), pThin ? pThin->moveBack(sample) : sample);
        vBundles.push_back(std::construct_at(bundlePool.alloc(), Bundle{pPoint, ccd}));
    }
}

void Cloud::getBundles(std::vector<std::pair<uint64, Bundle*>>& vOut) const {
    vOut.reserve(vOut.size() + vBundles.size());
    for (Bundle* pBundle : vBundles) vOut.emplace_back(pBundle->ccd, pBundle);
}

}  // namespace QUOR_ZEF
