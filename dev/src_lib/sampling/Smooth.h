#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

#include "frame/types.h"
#include "geometry/PointSource.h"
#include "grid/Calc.h"
#include "sampling/SNode.h"
#include "zef/Point3.h"

namespace QUOR_ZEF {

// Makes a scanned cloud into nodes of the grid: one per occupied cell and some in
// cells that are closely surrounded, linked with those that share a corner, and
// with a local plane where the surface shows one.
//
// The stages of run() are open so that each can be looked at alone; they need the
// order in which run() calls them. Not for points that are not finite.
//
// Threads: one at a time. Inside, loops and sorts use the task pool; the results
// do not depend on the number of threads. Cost: O(n log n), around 1 microsecond
// and 250 bytes a point at the peak, on top of the input.
class Smooth {
public:
    std::vector<SNode> vNodes;         // ascending by (rcd, id)
    std::vector<std::int32_t> vLinks;  // positions in vNodes, of all nodes one after the other
    PointSource input;                 // borrowed
    std::vector<Point3>* pPoints;      // the points of the cells, not owned; rewritten
    Calc* pCalc;                       // not owned
    double spacing;                    // edge of the grid's cells, world units

    // All must outlive this; *pPoints can be the input. Cells that are no cubes fail an ASSEX.
    Smooth(PointSource givenInput, std::vector<Point3>* pCellPoints, Calc* pGrid);
    Smooth(std::vector<Point3>* pPoints_, Calc* pCalc_) : Smooth(PointSource(*pPoints_), pPoints_, pCalc_) {}

    // Up to this scatter of the nodes, in cells, bSmooth decides alone; beyond it smoothing takes place in
    // any case.
    double mostScatter = std::numeric_limits<double>::infinity();
    bool bSmoothed = false;  // whether run() did

    // The whole stage, to be called once. bSmooth: with one smoothing pass.
    // Leaves one point per cell in *pPoints: the merged ones in code order, then
    // those between them. Takes the progress child "SM_run".
    void run(bool bSmooth);

    const std::vector<SNode>& getNodes() const { return vNodes; }
    // The nodes whose cells share a corner with the cell of this one, in the order
    // in which the corners, ascending, show them, and by id around a corner.
    LinkedNodes getLinkedNodes(const SNode& node) const;

    // ---- Smooth.cpp: from points to nodes

    // Makes one point per occupied cell of the input, at the mean, in code order. In a Run the
    // order of the input has no say.
    void mergeCellPoints();
    // Appends points on the lines between points that are one to two cells apart,
    // in cells that hold none.
    void addBridgePoints();
    // One node per cell.
    void createNodes();

    // ---- Smooth_neighbours.cpp: what nodes do with their neighbours

    // Adds nodes in cells that are closely surrounded, at the mean of the nodes around.
    void densifyNeigs();
    // Makes all links anew.
    void relinkNodes();
    // The standard deviation of the nodes across the surface, in cells: the median over some thousand
    // of them, from the planes through those linked with each. 0 if fewer than 50 have six. O(1).
    double measureScatter() const;
    // Moves the nodes to the mean of their neighbours, and adds nodes where the
    // place corrected for the shrinking lies in another cell.
    void smoothOnce();

    // ---- Smooth_planes.cpp: planes

    // Fits the planes, trusted ones first, and marks the nodes beside a crease.
    void fitPlanes();
    // Fits the node's plane to some nodes around it, and through itself. False, with
    // the node untouched, for fewer than two of them, for those whose fan is smaller
    // than the least area of the process, and for those on a line.
    bool estimateNNVatCentroid(SNode* pSN, const LinkedNodes& vLinkedNodes) const;
    // Gives the node the mean normal of its trusted neighbours, if they agree.
    bool planeFromNeighbours(SNode* pSN) const;

private:
    // Gives the new nodes ids, in their order, and takes them in.
    void insertNodes(const std::vector<SNode>& vNew);
    std::vector<uint64> getNodeCells() const;
    void markTrustedPlanes();
    void fitUntrustedPlanes();
    void fitWideBlocks();
    void markCreases();
};

// Forgets the least area of a fan, which the first cloud of a Run settles for all later
// ones, or without a Run the first one of the process.
void resetMinArea();

}  // namespace QUOR_ZEF
