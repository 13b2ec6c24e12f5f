#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "frame/types.h"
#include "geometry/Plane.h"
#include "grid/Calc.h"
#include "sampling/CellSet.h"
#include "sampling/FeatureChain.h"
#include "sampling/Tri.h"
#include "zef/Point3.h"

namespace QUOR_ZEF {

// Rasterises a triangle soup onto the grid: one sample per cell. Sharp and border
// edges come first, so that their cells hold points exactly on them; the other
// cells hold their centre, projected onto the surface.
//
// Codes of samples are RCDs. The pairs of feature and border edges are CCDs of
// cells that follow each other along an edge, the smaller code first.
//
// Use: construct, then pixelAll once. The steps are open so that each can be
// looked at alone.
// Threads: one at a time. Inside, the triangles and the sorts use the task pool;
// the results do not depend on the number of threads.
class Pixel {
public:
    using CodedPoint = std::pair<uint64, Point3>;  // a cell, and a sample in it
    using CellPair = std::pair<uint64, uint64>;
    // An edge of a triangle: the indices of its ends, the smaller one in the high
    // half, and three times the number of the triangle plus that of the edge in it.
    using EdgeRecord = std::pair<uint64, std::uint32_t>;

    const Calc* pCalc;                  // not owned
    double spacingAbs;                  // edge of the grid's cells, world units
    std::vector<Tri> vTri;              // those with a normal, in the order of the input
    std::vector<std::uint32_t> vBfs;    // their numbers, breadth first over shared edges
    std::vector<EdgeRecord> vEdge2Tri;  // by edge, then by triangle

    // Three pointers a triangle, into one array, so that they have an order: points
    // of equal positions must already share one. At least one triangle, fewer
    // than 2^32 / 3, and an array of fewer than 2^32 points, or an ASSEX fails.
    // The array and the grid must outlive this. Triangles without a normal are
    // skipped, with a warning that counts them.
    Pixel(const std::vector<Point3*>& vTriangleCorners, const Calc* pGrid);

    // Appends a sample per touched cell: those of edges in the order of making, then
    // the others, ascending by cell. featureAngle: degrees between the normals,
    // above which an edge is sharp; from 360 on only borders are.
    // Takes the progress children "dih2e", "reo", "rFins", "feate", "nfeate", "ar4",
    // "oifc", "mandiffe" and "mandiffa".
    void pixelAll(std::vector<Point3>& vOut, std::vector<CellPair>& vFeatureEdges, std::vector<CellPair>& vBorderEdges,
                  double featureAngle);

    // ---- Pixel_edges.cpp

    // Appends the samples of all edges, one a cell, and notes their cells as taken.
    void pixelAllEdges(double featureAngle, std::vector<CodedPoint>& vEdgeSamples, std::vector<CellPair>& vFeatureEdges,
                       std::vector<CellPair>& vBorderEdges);

    // ---- Pixel_raster.cpp

    // Appends the cells along a segment, each once if it runs within the grid: a
    // itself, points in the middle of the part that runs through a cell, b itself.
    // Ends that share a cell append nothing. Only a and b have colour.
    void rasterizeEdge(const Point3& a, const Point3& b, std::vector<CodedPoint>& vEdgeRaster) const;

    // Appends samples in cells that the triangle touches, not all of them, some
    // more than once. A triangle with an angle below 1e-5 degrees appends none.
    void rasterizeTriangle(const Point3& a, const Point3& b, const Point3& c, std::vector<CodedPoint>& vOut) const;

    // Appends samples along the line from a to b in the plane, but none in the cell of a.
    void rasterizePlane(const Plane& plane, const Point3& a, const Point3& b, std::vector<CodedPoint>& vOut) const;

    // The mean of the points where the plane cuts the edges of a cell, without
    // colour. Fewer than three: bOK is false, and the result the origin.
    Point3 getMidOfCutPlane(uint64 rcd, const Plane& plane, bool& bOK) const;

private:
    void linkEdge2T(const std::vector<Point3*>& vTriangleCorners);
    void bfsSort();
    void flood(std::uint32_t seed, const std::vector<std::uint32_t>& vFirstRecord, std::vector<bool>& vVisited,
               std::vector<bool>& vDone);
    void pixelTriangles(std::vector<CodedPoint>& vAreaSamples);
    // The samples of some triangles of vBfs in cells that are not taken, one a cell.
    std::vector<CodedPoint> rasterizeRange(std::size_t begin, std::size_t end) const;
    template <class Sink>
    void scanTriangle(const Point3& a, const Point3& b, const Point3& c, Sink& sink) const;
    template <class Sink>
    void scanLine(const Plane& plane, const Point3& a, const Point3& b, Sink& sink) const;

    void findFeatures(double featureAngle, std::vector<FeatureRecord>& vFeatures,
                      std::vector<std::uint32_t>& vSmoothEdges);
    double largestAngle(std::size_t first, std::size_t last);
    void pixelFeatureEnds(const std::vector<FeatureRecord>& vFeatures, std::vector<CodedPoint>& vEdgeSamples);
    void pixelFeatureEdges(const std::vector<FeatureRecord>& vFeatures, std::vector<CodedPoint>& vEdgeSamples,
                           std::vector<CellPair>& vFeatureEdges, std::vector<CellPair>& vBorderEdges);
    void pixelSmoothEdges(const std::vector<std::uint32_t>& vSmoothEdges, std::vector<CodedPoint>& vEdgeSamples);

    const Point3* lowEnd(const EdgeRecord& record) const { return pFirstPoint + (record.first >> 32); }
    const Point3* highEnd(const EdgeRecord& record) const { return pFirstPoint + (record.first & 0xffffffff); }
    // Where edges of the same ends as that at first stop.
    std::size_t endOfRun(std::size_t first) const;

    Point3 centreOf(uint64 rcd) const;
    Point3 lowerCornerOf(uint64 rcd) const;
    // The cell's centre on the plane if it stays in the cell.
    bool projectCentre(uint64 rcd, const Plane& plane, Point3& p) const;

    const Point3* pFirstPoint = nullptr;  // the lowest of the corners; not owned
    CellSet takenCells;                   // those with a sample
};

}  // namespace QUOR_ZEF
