#include "scene.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "cloud/Cloud.h"
#include "frame/Progress.h"
#include "frame/Rand15.h"
#include "gaps/Filler.h"
#include "gaps/GapCloser.h"
#include "grid/RemoveDecider_RCD.h"
#include "grid/codeSets.h"
#include "polygon/Voro.h"
#include "sampling/Smooth.h"

using namespace QUOR_ZEF;

namespace figures {

namespace {

constexpr int numGrowSteps = 20;
constexpr double step = 0.62;  // between the points, which are moved by up to a third of it

// Calls f(u, v) for the points of a rectangle.
template <class F>
void scatter(Rand15& rand, double width, double height, F&& f) {
    const auto shift = [&] { return step * (static_cast<double>(rand.next()) / Rand15::maxValue - 0.5) * 0.66; };
    for (double v = step / 2.0; v < height; v += step) {
        for (double u = step / 2.0; u < width; u += step) {
            const double atU = u + shift(), atV = v + shift();
            f(atU, atV);
        }
    }
}

void addSheet(Rand15& rand, std::vector<Point3>& vPoints) {
    scatter(rand, 20.0, 14.0, [&](double x, double y) {
        if (std::hypot(x - 6.8, y - 7.0) < 2.9) return;  // the hole
        if (std::abs(x - 14.0 - 0.1 * y) < 1.4) return;  // the crack
        vPoints.emplace_back(x, y, 2.2 * std::sin(x / 20.0 * 3.1416) + 0.03 * y);
    });
}

// Four walls and a roof; one wall has a hole.
void addBox(Rand15& rand, std::vector<Point3>& vPoints) {
    constexpr double side = 8.0, height = 6.0, turn = 0.35;
    const auto add = [&](double x, double y, double z) {
        vPoints.emplace_back(25.6 + std::cos(turn) * x - std::sin(turn) * y,
                             0.6 + std::sin(turn) * x + std::cos(turn) * y, z - 2.4);
    };
    scatter(rand, side, side, [&](double u, double v) { add(u, v, height); });
    scatter(rand, side, height, [&](double u, double v) {
        if (std::hypot(u - 4.0, v - 3.0) > 1.4) add(u, 0.0, v);
    });
    scatter(rand, side, height, [&](double u, double v) { add(u, side, v); });
    scatter(rand, side, height, [&](double u, double v) { add(0.0, u, v); });
    scatter(rand, side, height, [&](double u, double v) { add(side, u, v); });
}

// The sample of a node, as Cloud takes it.
Point3 sampleOf(const SNode& node, const Calc& calc) {
    constexpr int numNeigsForPlane = 8;
    if (node.bKeepPosition || node.numLinkedNodes < numNeigsForPlane) return node.smoothedPoint;
    return node.projection(calc.getCellCenter(calc.getCCD(node.smoothedPoint)));
}

}  // namespace

const Point3 middleOfBox(28.0, 5.7, 0.6), middleOfHouse(4.5, 3.5, 3.5);

std::vector<Point3> makeCloud() {
    Rand15 rand(7);
    std::vector<Point3> vPoints;
    addSheet(rand, vPoints);
    addBox(rand, vPoints);
    return vPoints;
}

void planStages() {
    planProgress("figures",
                 {{"CL_eres", 1.0},   {"SM_run", 1.0},   {"CL_creb", 1.0},      {"VO_ftx", 1.0},    {"VO_amb", 1.0},
                  {"TP_unif", 1.0},   {"TP_pps", 1.0},   {"TP_cbcpl", 1.0},     {"TP_itr", 1.0},    {"TP_fin", 1.0},
                  {"RM_cpo", 1.0},    {"RM_kdeg", 1.0},  {"dih2e", 1.0},        {"reo", 1.0},       {"rFins", 1.0},
                  {"feate", 1.0},     {"nfeate", 1.0},   {"ar4", 1.0},          {"oifc", 1.0},      {"mandiffe", 1.0},
                  {"mandiffa", 1.0},  {"efLoop", 1.0},   {"RM_gEfCandMT", 1.0}, {"RM_smooth", 1.0}, {"RM_rtscore", 1.0},
                  {"RM_rtloop", 1.0}, {"RM_rtmeas", 1.0}});
}

Cells runCellStages(const std::vector<Point3>& vPoints) {
    Cells cells;
    Cloud cloud("figures", -1.0, 1.45, false, numGrowSteps);
    cloud.bKeepBorders = true;
    cloud.setPoints(vPoints);
    cloud.estimateResolution();
    cloud.createCalc();
    cells.measuredSpacing = cloud.estimatedSpacing;
    cells.pCalc = std::make_unique<Calc>(*cloud.pCalc);
    Calc& calc = *cells.pCalc;

    Smooth smooth(&cloud.vPoints, &calc);
    smooth.run(false);
    std::vector<Point3> vSamples;
    for (const SNode& node : smooth.getNodes())
        if (node.bHasPlane) vSamples.push_back(sampleOf(node, calc));

    std::vector<uint64> vAll, vRemaining;
    cloud.getRCD2Point(vSamples, cells.vBand, vAll);
    const GapCloser gapCloser(calc, numGrowSteps, true);
    gapCloser.closePinholes(vAll, cells.vBand);
    cloud.pruneBorders(cells.vBand, vAll, vRemaining);
    cells.vThin = cells.vBand;
    keepListed(vRemaining, cells.vThin);

    cells.vFilled = fillGaps(cells.vThin, calc, numGrowSteps);
    return cells;
}

bool isInSheet(const Point3& p) {
    return p.px < 21.5;
}

std::vector<RCDPoint> takeSheet(const std::vector<RCDPoint>& vCells) {
    std::vector<RCDPoint> vSheet = vCells;
    std::erase_if(vSheet, [](const RCDPoint& cell) { return !isInSheet(cell.second); });
    return vSheet;
}

std::vector<RCDPoint> fillGaps(const std::vector<RCDPoint>& vCells, const Calc& calc, int numSteps) {
    std::vector<RCDPoint> vFilled = vCells;
    GapCloser(calc, numSteps, true).fillGaps(codesOf(vCells), vFilled);
    std::sort(vFilled.begin(), vFilled.end(), [](const RCDPoint& a, const RCDPoint& b) { return a.first < b.first; });
    return vFilled;
}

std::vector<RCDPoint> fillAll(const std::vector<RCDPoint>& vCells, const Calc& calc, int numSteps) {
    const std::vector<uint64> vCodes = codesOf(vCells);
    std::vector<uint64> vArea, vBorder;
    RemoveDecider_RCD(&vCodes, &calc).classify(vArea, vBorder);
    std::vector<RCDPoint> vFilling;
    Filler(numSteps, vBorder, vArea, vCells, &calc).fill(vFilling);
    return vFilling;
}

CellMesh::CellMesh(const std::vector<RCDPoint>& vCells, const Calc& givenCalc) : calc(givenCalc) {
    vPoints.reserve(vCells.size());
    for (const auto& [rcd, sample] : vCells) {
        vPoints.push_back(sample);
        vBundles.push_back({&vPoints.back(), calc.rcdToCcd(rcd)});
    }
    std::sort(vBundles.begin(), vBundles.end(), [](const Bundle& a, const Bundle& b) { return a.ccd < b.ccd; });
    std::vector<Bundle*> vBorrowed;
    for (Bundle& bundle : vBundles) vBorrowed.push_back(&bundle);
    map.build(vBorrowed);
    pVoro = std::make_unique<Voro>(&calc, &map, TM_FAT);
    pVoro->fatExtractTriangles();
    pMesh = pVoro->releaseMesh();
}

CellMesh::~CellMesh() = default;

void CellMesh::repair() {
    Top(pMesh.get(), &calc).run(pVoro.get());
}

void CellMesh::repairMelt() {
    Top(pMesh.get(), &calc).runMelt(pVoro.get());
}

std::vector<Point3> makeHouse() {
    const std::array<Point3, 10> p = {Point3(0, 0, 0),   Point3(9, 0, 0),  Point3(9, 7, 0), Point3(0, 7, 0),
                                      Point3(0, 0, 5),   Point3(9, 0, 5),  Point3(9, 7, 5), Point3(0, 7, 5),
                                      Point3(0, 3.5, 8), Point3(9, 3.5, 8)};
    constexpr std::array corners = {0, 1, 5, 0, 5, 4, 1, 2, 6, 1, 6, 5, 2, 3, 7, 2, 7, 6, 3, 0, 4, 3, 4, 7,
                                    4, 5, 9, 4, 9, 8, 6, 7, 8, 6, 8, 9, 5, 6, 9, 7, 4, 8, 0, 3, 2, 0, 2, 1};
    std::vector<Point3> vCorners;
    for (const int corner : corners) vCorners.push_back(p[static_cast<std::size_t>(corner)]);
    return vCorners;
}

}  // namespace figures
