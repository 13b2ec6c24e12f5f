#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>

#include "frame/Run.h"
#include "frame/tools.h"
#include "geometry/symmetricEigen.h"
#include "grid/ColumnCursors.h"
#include "grid/RemoveDecider.h"
#include "parallel/parallelTransform.h"
#include "parallel/sortMT.h"
#include "sampling/PointMean.h"
#include "sampling/Smooth.h"
#include "sampling/firstPerCell.h"
#include "sampling/surroundedCells.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t minSearches = 4096;

using CellIndex = std::pair<uint64, uint64>;

// The cells in which positions of nodes lie, ascending, each with the position in
// vNodes of the node that was made first among those in the cell.
std::vector<CellIndex> firstNodePerCell(const std::vector<SNode>& vNodes, const Calc& calc) {
    std::vector<CellIndex> vPairs(vNodes.size());
    parallelChunks(vNodes.size(), minSearches, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) vPairs[i] = {calc.getRCD(vNodes[i].smoothedPoint), i};
    });
    keepFirstPerCell(vPairs, [&](uint64 index) { return vNodes[index].id; });
    return vPairs;
}

std::vector<uint64> toSortedCCD(const std::vector<CellIndex>& vPairs, const Calc& calc) {
    std::vector<uint64> vCCD;
    parallelTransform(vPairs, vCCD, [&](const CellIndex& pair) { return calc.rcdToCcd(pair.first); });
    sortMT(vCCD.begin(), vCCD.end());
    return vCCD;
}

// The mean of the samples in the 26 cells around the cells that it is asked for,
// ascending.
class NeighbourMeans {
public:
    NeighbourMeans(const std::vector<CellIndex>& vCellSamples, const std::vector<uint64>& vSampleCells,
                   const std::vector<SNode>& vAllNodes)
        : vSamples(vCellSamples), vNodes(vAllNodes), vCells(vSampleCells), cursors(vSampleCells) {}

    // Sums run in the order of completeArray27.
    PointMean meanAround(uint64 rcd) {
        std::array<const Point3*, 27> aHits{};
        for (int dx = -1; dx <= 1; ++dx) {
            for (int dy = -1; dy <= 1; ++dy) {
                const auto [first, last] = cursors.around(rcd, dx, dy);
                for (std::size_t i = first; i < last; ++i) {
                    const int dz = static_cast<int>(vCells[i] & coordMask) - static_cast<int>(rcd & coordMask);
                    const int slot = (dz + 1) * 9 + (dy + 1) * 3 + dx + 1;
                    aHits[static_cast<std::size_t>(slot)] = &vNodes[vSamples[i].second].smoothedPoint;
                }
            }
        }
        constexpr std::size_t centre = 13;
        PointMean mean;
        for (std::size_t slot = 0; slot < aHits.size(); ++slot) {
            if (slot != centre && aHits[slot]) mean.add(*aHits[slot]);
        }
        return mean;
    }

private:
    const std::vector<CellIndex>& vSamples;
    const std::vector<SNode>& vNodes;
    const std::vector<uint64>& vCells;  // of the samples
    ColumnCursors<1> cursors;
};

// One node at the mean of its neighbours for each of the cells, in their order.
std::vector<SNode> makeMeanNodes(const std::vector<uint64>& vCCD, const std::vector<CellIndex>& vSamples,
                                 const std::vector<SNode>& vNodes, const Calc& calc) {
    std::vector<uint64> vSampleCells;
    parallelTransform(vSamples, vSampleCells, [](const CellIndex& pair) { return pair.first; });
    std::vector<CellIndex> vOrder(vCCD.size());
    for (std::size_t i = 0; i < vCCD.size(); ++i) vOrder[i] = {calc.ccdToRcd(vCCD[i]), i};
    sortStableByFirstMT(vOrder.begin(), vOrder.end());

    std::vector<SNode> vNew(vCCD.size());
    std::vector<int> vNum(vCCD.size());  // samples around each
    parallelChunks(vOrder.size(), minSearches, [&](std::size_t begin, std::size_t end) {
        NeighbourMeans means(vSamples, vSampleCells, vNodes);
        for (std::size_t i = begin; i < end; ++i) {
            const auto [rcd, index] = vOrder[i];
            const PointMean mean = means.meanAround(rcd);
            vNum[index] = static_cast<int>(mean.size());
            vNew[index].rcd = rcd;
            vNew[index].smoothedPoint = mean.get();
        }
    });
    for (const int num : vNum) ASSEX(num>0);
    return vNew;
}

// Finds the links of nodes that it is asked for by ascending position.
class LinkFinder {
public:
    LinkFinder(const std::vector<uint64>& vNodeCells, const std::vector<std::uint32_t>& vNodeIds)
        : vCells(vNodeCells), vIds(vNodeIds), cursors(vNodeCells) {}

    std::size_t count(std::size_t position) {
        std::size_t num = 0;
        for (int dx = -1; dx <= 1; ++dx) {
            for (int dy = -1; dy <= 1; ++dy) {
                const auto [first, last] = cursors.around(vCells[position], dx, dy);
                num += last - first;
            }
        }
        return num - 1;  // not itself
    }

    // The corners of a cell, ascending, show the cells around in eight steps: a
    // corner shows those on its side that no lower corner touches, which takes in
    // the layers below and beside on the low side of an axis, the layer above on
    // the high side. Within a step the id decides.
    void write(std::size_t position, std::int32_t* pOut) {
        const uint64 cell = vCells[position];
        for (int dx = -1; dx <= 1; ++dx) {
            for (int dy = -1; dy <= 1; ++dy) columns[index(dx)][index(dy)] = getColumn(cell, dx, dy);
        }
        for (const int highX : {0, 1}) {
            for (const int highY : {0, 1}) {
                std::int32_t* const pMid = writeStep(highX, highY, &Column::first, &Column::mid, position, pOut);
                sortById(pOut, pMid);
                pOut = writeStep(highX, highY, &Column::mid, &Column::last, position, pMid);
                sortById(pMid, pOut);
            }
        }
    }

private:
    // Positions of the codes around the cell in a column: [first, mid) up to its
    // own z, [mid, last) above.
    struct Column {
        std::size_t first, mid, last;
    };

    static std::size_t index(int d) { return static_cast<std::size_t>(d + 1); }

    Column getColumn(uint64 cell, int dx, int dy) {
        const auto [first, last] = cursors.around(cell, dx, dy);
        std::size_t mid = last;
        while (mid > first && (vCells[mid - 1] & coordMask) > (cell & coordMask)) --mid;
        return {first, mid, last};
    }

    std::int32_t* writeStep(int highX, int highY, std::size_t Column::*pFirst, std::size_t Column::*pLast,
                            std::size_t position, std::int32_t* pOut) const {
        for (int dx = highX == 1 ? 1 : -1; dx <= highX; ++dx) {
            for (int dy = highY == 1 ? 1 : -1; dy <= highY; ++dy) {
                const Column& column = columns[index(dx)][index(dy)];
                for (std::size_t i = column.*pFirst; i < column.*pLast; ++i) {
                    if (i != position) *pOut++ = static_cast<std::int32_t>(i);
                }
            }
        }
        return pOut;
    }

    // Insertion, since the nodes stand in order but for the few that were added later.
    void sortById(std::int32_t* pFirst, std::int32_t* pLast) const {
        const auto id = [&](std::int32_t i) { return vIds[static_cast<std::size_t>(i)]; };
        for (std::int32_t* p = pFirst; p < pLast; ++p) {
            const std::int32_t moving = *p;
            std::int32_t* hole = p;
            for (; hole != pFirst && id(moving) < id(hole[-1]); --hole) *hole = hole[-1];
            *hole = moving;
        }
    }

    const std::vector<uint64>& vCells;
    const std::vector<std::uint32_t>& vIds;
    ColumnCursors<1> cursors;
    std::array<std::array<Column, 3>, 3> columns{};
};

// Step one of the pass: moves the node to the mean of its neighbours, and returns
// by how much that differs from where it was.
Vector3 moveToMean(SNode& node, const LinkedNodes& vLinkedNodes, const std::vector<Point3>& vPrev, const Point3& prev) {
    PointMean mean;
    for (std::size_t i = 0; i < vLinkedNodes.size(); ++i) {
        if (vLinkedNodes[i]->numInputPoints != 0) mean.add(vPrev[static_cast<std::size_t>(vLinkedNodes.position(i))]);
    }
    // No node has moved before, so the input point and the previous one are the
    // same. Without neighbours the mean in the formula is the origin.
    const Point3 rest(0.7 * prev.px + 0.3 * prev.px, 0.7 * prev.py + 0.3 * prev.py, 0.7 * prev.pz + 0.3 * prev.pz);
    if (mean.size() == 0) return Point3() - rest;
    node.smoothedPoint = mean.get();
    return node.smoothedPoint - rest;
}

// Step two: the mean correction of a node and its neighbours.
Vector3 meanCorrection(const LinkedNodes& vLinkedNodes, const std::vector<Vector3>& vDelta, const Vector3& own) {
    Vector3 sum;
    for (std::size_t i = 0; i < vLinkedNodes.size(); ++i) {
        sum += vDelta[static_cast<std::size_t>(vLinkedNodes.position(i))];
    }
    sum *= 0.8 / static_cast<double>(vLinkedNodes.size());
    sum += own * 0.2;
    return sum;
}

}  // namespace

void Smooth::densifyNeigs() {
    const std::vector<CellIndex> vSamples = firstNodePerCell(vNodes, *pCalc);
    std::vector<uint64> vCells = toSortedCCD(vSamples, *pCalc);
    std::vector<uint64> vCandidates = getSurroundedCells(vCells);
    RemoveDecider decider(&vCells, pCalc);
    std::vector<uint64> vDoomed, vKept;
    decider.pruneStrong(vCandidates, vDoomed, vKept);
    insertNodes(makeMeanNodes(vDoomed, vSamples, vNodes, *pCalc));
}

void Smooth::relinkNodes() {
    ASSEX(vNodes.size()<=static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max()));
    const std::vector<uint64> vCells = getNodeCells();
    std::vector<std::uint32_t> vIds;
    parallelTransform(vNodes, vIds, [](const SNode& node) { return node.id; });
    parallelChunks(vNodes.size(), minSearches, [&](std::size_t begin, std::size_t end) {
        LinkFinder finder(vCells, vIds);
        for (std::size_t i = begin; i < end; ++i) vNodes[i].numLinkedNodes = static_cast<int>(finder.count(i));
    });
    uint64 num = 0;
    for (SNode& node : vNodes) {
        pollRun(node.id);
        node.firstLink = num;
        num += static_cast<uint64>(node.numLinkedNodes);
    }
    vLinks.clear();
    vLinks.resize(num);
    pollRun(0);
    parallelChunks(vNodes.size(), minSearches, [&](std::size_t begin, std::size_t end) {
        LinkFinder finder(vCells, vIds);
        for (std::size_t i = begin; i < end; ++i) finder.write(i, vLinks.data() + vNodes[i].firstLink);
    });
}

double Smooth::measureScatter() const {
    constexpr std::size_t maxSampled = 4000, fewest = 50, minLinks = 6;
    const std::size_t step = std::max<std::size_t>(1, vNodes.size() / maxSampled);
    std::vector<double> vVariances;
    for (std::size_t i = 0; i < vNodes.size(); i += step) {
        const LinkedNodes vLinked = getLinkedNodes(vNodes[i]);
        if (vNodes[i].numInputPoints < 1 || vLinked.size() < minLinks) continue;
        Vector3 mean;
        for (std::size_t k = 0; k < vLinked.size(); ++k) mean += vLinked[k]->smoothedPoint - vNodes[i].smoothedPoint;
        const auto num = static_cast<double>(vLinked.size());
        mean /= num;
        ProductSums sums;
        for (std::size_t k = 0; k < vLinked.size(); ++k)
            sums.add(vLinked[k]->smoothedPoint - vNodes[i].smoothedPoint - mean);
        constexpr double numFreedoms = 3.0;  // of the plane
        vVariances.push_back(std::max(getEigen(sums).values[0], 0.0) / (num - numFreedoms));
    }
    if (vVariances.size() < fewest) return 0.0;
    const auto middle = vVariances.begin() + static_cast<std::ptrdiff_t>(vVariances.size() / 2);
    std::nth_element(vVariances.begin(), middle, vVariances.end());
    return std::sqrt(*middle) / spacing;
}

void Smooth::smoothOnce() {
    std::vector<Point3> vPrev;
    parallelTransform(vNodes, vPrev, [](const SNode& node) { return node.smoothedPoint; });
    std::vector<Vector3> vDelta(vNodes.size());
    parallelChunks(vNodes.size(), minSearches, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            const LinkedNodes vLinkedNodes = getLinkedNodes(vNodes[i]);
            if (vLinkedNodes.size() > 0) vDelta[i] = moveToMean(vNodes[i], vLinkedNodes, vPrev, vPrev[i]);
        }
    });

    std::vector<std::pair<uint64, SNode>> vAdded;  // id of the node that left its cell, new node
    for (std::size_t i = 0; i < vNodes.size(); ++i) {
        pollRun(i);
        const SNode& node = vNodes[i];
        if (node.numLinkedNodes <= 7) continue;
        const Vector3 m = meanCorrection(getLinkedNodes(node), vDelta, vDelta[i]);
        if (!(m.getMaxAbsComponent() < spacing)) continue;
        SNode added;
        added.smoothedPoint = node.smoothedPoint - m;
        added.smoothedPoint.copyColorFrom(node.smoothedPoint);
        added.rcd = pCalc->getRCD(added.smoothedPoint);
        added.numInputPoints = -1;
        if (added.rcd != node.rcd) vAdded.emplace_back(node.id, added);
    }
    std::sort(vAdded.begin(), vAdded.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<SNode> vNew;
    vNew.reserve(vAdded.size());
    for (const auto& [id, node] : vAdded) vNew.push_back(node);
    insertNodes(vNew);
}

}  // namespace QUOR_ZEF
