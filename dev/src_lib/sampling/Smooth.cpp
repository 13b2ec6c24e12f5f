#include "sampling/Smooth.h"

#include <algorithm>
#include <cmath>
#include <span>
#include <utility>

#include "frame/Progress.h"
#include "frame/Run.h"
#include "frame/stageCosts.h"
#include "frame/tools.h"
#include "geometry/byPlace.h"
#include "grid/ColumnCursors.h"
#include "parallel/concurrency.h"
#include "parallel/parallelTransform.h"
#include "parallel/sortMT.h"
#include "sampling/PointMean.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t minChunk = 4096;

using CellIndex = std::pair<uint64, uint64>;  // a cell, and the index of a point in it
using CellPoint = std::pair<uint64, Point3>;  // a cell, and a point in it

// Ascending by (cell, index).
template <class Points>
std::vector<CellIndex> sortByCell(const Points& vPoints, const Calc& calc) {
    std::vector<CellIndex> vPairs(vPoints.size());
    parallelChunks(vPoints.size(), minChunk, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) vPairs[i] = {calc.getRCD(vPoints[i]), i};
    });
    sortStableByFirstMT(vPairs.begin(), vPairs.end());
    return vPairs;
}

// fn(run) for the runs of equal cells that begin at positions begin to end.
template <class Fn>
void forEachRun(std::span<const CellIndex> vPairs, std::size_t begin, std::size_t end, const Fn& fn) {
    while (begin > 0 && begin < end && vPairs[begin].first == vPairs[begin - 1].first) ++begin;
    while (begin < end) {
        std::size_t last = begin + 1;
        while (last < vPairs.size() && vPairs[last].first == vPairs[begin].first) ++last;
        fn(vPairs.subspan(begin, last - begin));
        begin = last;
    }
}

template <class Points>
Point3 mergeRun(std::span<const CellIndex> run, const Points& vPoints) {
    if (run.size() == 1) return vPoints[run[0].second];
    PointMean mean;
    for (const CellIndex& pair : run) mean.add(vPoints[pair.second]);
    return mean.get();
}

// Adds up the points of a run in an order that their places give. The sum of two is the same in either.
class OrderedMerger {
public:
    explicit OrderedMerger(const PointSource& allPoints) : points(allPoints) {}

    Point3 merge(std::span<const CellIndex> run) {
        if (run.size() < 3) return mergeRun(run, points);
        vRun.assign(run.begin(), run.end());
        std::sort(vRun.begin(), vRun.end(), [this](const CellIndex& a, const CellIndex& b) {
            return comesBefore(points[a.second], points[b.second]);
        });
        return mergeRun(vRun, points);
    }

private:
    const PointSource& points;
    std::vector<CellIndex> vRun;
};

template <class T>
std::vector<T> joinChunks(std::vector<std::vector<T>>&& vChunks) {
    if (vChunks.size() == 1) return std::move(vChunks.front());
    std::vector<T> vOut;
    std::size_t num = 0;
    for (const auto& chunk : vChunks) num += chunk.size();
    vOut.reserve(num);
    for (auto& chunk : vChunks) {
        vOut.insert(vOut.end(), chunk.begin(), chunk.end());
        std::vector<T>().swap(chunk);
    }
    return vOut;
}

std::vector<uint64> getCells(const std::vector<Point3>& vPoints, const Calc& calc) {
    std::vector<uint64> vCells;
    parallelTransform(vPoints, vCells, [&](const Point3& p) { return calc.getRCD(p); });
    return vCells;
}

// Rounding can carry the mean of a cell's points over the border of the cell, so
// that few points stand out of order.
void sortByOwnCell(std::vector<Point3>& vPoints, const Calc& calc) {
    const std::vector<uint64> vCells = getCells(vPoints, calc);
    if (std::is_sorted(vCells.begin(), vCells.end())) return;
    std::vector<Point3> vSorted;
    vSorted.reserve(vPoints.size());
    for (const CellIndex& pair : sortByCell(vPoints, calc)) vSorted.push_back(vPoints[pair.second]);
    vPoints.swap(vSorted);
}

// Finds the bridge points of one point after the other, ascending.
class BridgeFinder {
public:
    BridgeFinder(const std::vector<Point3>& vAllPoints, const std::vector<uint64>& vPointCells, const Calc& grid)
        : vPoints(vAllPoints), vCells(vPointCells), calc(grid), spacing(grid.getCellSize()), cursors(vPointCells) {}

    std::vector<CellPoint> vFound;

    // Looks at the points behind point i: with one point a cell, in code order,
    // these are the columns that follow, and half of them all.
    void findFrom(std::size_t i) {
        setCentre(i);
        for (int dx = 0; dx <= highX; ++dx) {
            for (int dy = dx == 0 ? 0 : lowY; dy <= highY; ++dy) {
                const auto [first, last] = cursors.around(cell, dx, dy);
                for (std::size_t j = std::max(first, i + 1); j < last; ++j) bridge(vPoints[i], vPoints[j], vCells[j]);
            }
        }
    }

private:
    static constexpr int maxReach = 3;  // cells; two but for points that lie on the border of a cell

    void setCentre(std::size_t i) {
        cell = lastCell = vCells[i];
        coords = unpackRCD(cell);
        // Rounding grows with the order of a double, so no point within the radius lies beyond.
        const double reach = 2.0 * spacing * (1.0 + 1e-12);
        const Vector3 diagonal(reach, reach, reach);
        const GridCoords low = unpackRCD(calc.getRCD(vPoints[i] - diagonal));
        const GridCoords high = unpackRCD(calc.getRCD(vPoints[i] + diagonal));
        lowY = std::max(offset(low.y, coords.y), -maxReach);
        highX = std::min(offset(high.x, coords.x), maxReach);
        highY = std::min(offset(high.y, coords.y), maxReach);
    }

    static int offset(uint64 to, uint64 from) { return static_cast<int>(to) - static_cast<int>(from); }

    // The two points are two cells apart at most, so there is place for one point.
    void bridge(const Point3& p, const Point3& q, uint64 cellQ) {
        const Vector3 way = q - p;
        const double sqDistance = way.sqLength();
        if (sqDistance > 4.0 * spacing * spacing) return;
        const double distance = std::sqrt(sqDistance);
        if (distance <= spacing) return;
        Point3 candidate = p + way * spacing / distance;
        const uint64 c = calc.getRCD(candidate);
        if (c == cell || c == lastCell || c == cellQ || isOccupied(c)) return;
        lastCell = c;
        candidate.copyColorFrom(p, q);
        vFound.emplace_back(c, candidate);
    }

    // For cells at most two away from the present one.
    bool isOccupied(uint64 c) {
        const GridCoords at = unpackRCD(c);
        const auto [first, last] = cursors.around(cell, offset(at.x, coords.x), offset(at.y, coords.y));
        for (std::size_t i = first; i < last; ++i) {
            if (vCells[i] == c) return true;
        }
        return false;
    }

    const std::vector<Point3>& vPoints;
    const std::vector<uint64>& vCells;  // of the points, ascending
    const Calc& calc;
    const double spacing;
    ColumnCursors<maxReach> cursors;
    uint64 cell = 0;      // of the present point
    uint64 lastCell = 0;  // of its last bridge point, or its own
    GridCoords coords{};
    int lowY = 0, highX = 0, highY = 0;
};

// Of the points of one cell the lowest, and of equal ones the first.
std::vector<Point3> lowestPerCell(const std::vector<CellPoint>& vFound) {
    std::vector<CellIndex> vPairs(vFound.size());
    for (std::size_t i = 0; i < vFound.size(); ++i) vPairs[i] = {vFound[i].first, i};
    sortStableByFirstMT(vPairs.begin(), vPairs.end());
    std::vector<Point3> vOut;
    forEachRun(vPairs, 0, vPairs.size(), [&](std::span<const CellIndex> run) {
        const auto lowest = std::min_element(run.begin(), run.end(), [&](const CellIndex& a, const CellIndex& b) {
            return vFound[a.second].second < vFound[b.second].second;
        });
        vOut.push_back(vFound[lowest->second].second);
    });
    return vOut;
}

}  // namespace

Smooth::Smooth(PointSource givenInput, std::vector<Point3>* pCellPoints, Calc* pGrid)
    : input(std::move(givenInput)), pPoints(pCellPoints), pCalc(pGrid), spacing(pGrid->getCellSize()) {
    ASSEX(pCalc->cellX==pCalc->cellY && pCalc->cellX==pCalc->cellZ);
}

void Smooth::run(bool bSmooth) {
    // Of a hundred parts of the time.
    constexpr uint64 bridging = 28, making = 3, linking = 12, fitting = 45, smoothing = 10;
    constexpr uint64 all = bridging + making + 2 * linking + fitting, more = smoothing + 2 * linking;
    const double numPoints = static_cast<double>(input.size());
    Progress* pProgress = getProgress()->getChildProgressSetTodo("SM_run", expectedTicks(all, 9));
    const auto stage = [&](void (Smooth::*pStage)(), uint64 cost) {
        (this->*pStage)();
        pProgress->tick(expectedTicks(cost, 1));
    };
    mergeCellPoints();
    stage(&Smooth::addBridgePoints, bridging);
    stage(&Smooth::createNodes, making);
    stage(&Smooth::densifyNeigs, linking);
    stage(&Smooth::relinkNodes, linking);
    bSmoothed = bSmooth || (std::isfinite(mostScatter) && measureScatter() > mostScatter);
    if (bSmoothed) {
        pProgress->setTodo(expectedTicks(all + more, 9));
        reweighStages({{"SM_run", costOfSmoothedPlanes(numPoints, getNumThreads())}});
        stage(&Smooth::smoothOnce, smoothing);
        stage(&Smooth::densifyNeigs, linking);
        stage(&Smooth::relinkNodes, linking);
    }
    stage(&Smooth::fitPlanes, fitting);
    pProgress->finish(true);
}

LinkedNodes Smooth::getLinkedNodes(const SNode& node) const {
    return {vNodes.data(), std::span(vLinks).subspan(node.firstLink, static_cast<std::size_t>(node.numLinkedNodes))};
}

void Smooth::mergeCellPoints() {
    const std::vector<CellIndex> vPairs = sortByCell(input, *pCalc);
    const bool bInOrder = getRun() == nullptr;  // the older entries add up as points come
    auto vChunks =
        parallelChunkResults<std::vector<Point3>>(vPairs.size(), minChunk, [&](std::size_t begin, std::size_t end) {
            std::vector<Point3> vMerged;
            OrderedMerger merger(input);
            forEachRun(vPairs, begin, end, [&](std::span<const CellIndex> run) {
                vMerged.push_back(bInOrder ? mergeRun(run, input) : merger.merge(run));
            });
            return vMerged;
        });
    *pPoints = joinChunks(std::move(vChunks));
    sortByOwnCell(*pPoints, *pCalc);
}

void Smooth::addBridgePoints() {
    pollRun(0);
    const std::vector<uint64> vCells = getCells(*pPoints, *pCalc);
    auto vChunks =
        parallelChunkResults<std::vector<CellPoint>>(vCells.size(), minChunk, [&](std::size_t begin, std::size_t end) {
            BridgeFinder finder(*pPoints, vCells, *pCalc);
            for (std::size_t i = begin; i < end; ++i) finder.findFrom(i);
            return std::move(finder.vFound);
        });
    const std::vector<Point3> vBridges = lowestPerCell(joinChunks(std::move(vChunks)));
    pPoints->insert(pPoints->end(), vBridges.begin(), vBridges.end());
}

void Smooth::createNodes() {
    const std::vector<CellIndex> vPairs = sortByCell(*pPoints, *pCalc);
    vNodes.reserve(vPairs.size() + vPairs.size() / 4);  // with those that come later, as a rule
    forEachRun(vPairs, 0, vPairs.size(), [&](std::span<const CellIndex> run) {
        pollRun(vNodes.size());
        SNode node;
        node.rcd = run[0].first;
        node.smoothedPoint = mergeRun(run, *pPoints);
        node.numInputPoints = static_cast<int>(run.size());
        node.id = static_cast<std::uint32_t>(vNodes.size());
        vNodes.push_back(node);
    });
}

std::vector<uint64> Smooth::getNodeCells() const {
    std::vector<uint64> vCells;
    parallelTransform(vNodes, vCells, [](const SNode& node) { return node.rcd; });
    return vCells;
}

void Smooth::insertNodes(const std::vector<SNode>& vNew) {
    const std::size_t numOld = vNodes.size();
    std::vector<CellIndex> vOrder(vNew.size());
    for (std::size_t i = 0; i < vNew.size(); ++i) vOrder[i] = {vNew[i].rcd, i};
    sortStableByFirstMT(vOrder.begin(), vOrder.end());
    // From the back, so that no old node is in the way.
    vNodes.resize(numOld + vNew.size());
    auto old = vNodes.begin() + static_cast<std::ptrdiff_t>(numOld);
    for (auto to = vNodes.end(); !vOrder.empty();) {
        pollRun(static_cast<std::size_t>(to - vNodes.begin()));
        const auto [rcd, index] = vOrder.back();
        --to;
        if (old != vNodes.begin() && (old - 1)->rcd > rcd) {
            *to = *--old;
            continue;
        }
        *to = vNew[index];
        to->id = static_cast<std::uint32_t>(numOld + index);
        vOrder.pop_back();
    }
}

}  // namespace QUOR_ZEF
