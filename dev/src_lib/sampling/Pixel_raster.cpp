#include <algorithm>
#include <cmath>
#include <limits>

#include "frame/tools.h"
#include "geometry/freeFunctions.h"
#include "sampling/Pixel.h"

namespace QUOR_ZEF {

namespace {

// Scan lines, and points on them, are so many cells apart, so that they miss
// corners of cells only.
constexpr double cellsPerStep = 0.577;

// Part of the rule: the exact number would move samples.
constexpr double pi = 3.14159;

double sinOfDegrees(double degrees) {
    return std::sin(degrees * pi / 180.0);
}

// The crossings of a segment with the cell boundaries of an axis, one after the
// other. Each is computed from the whole segment: summed up cell by cell, rounding
// would lead long edges astray where coordinates are large.
class AxisCrossings {
public:
    AxisCrossings(double startCoord, double wayAlong, double lowerCorner, double spacing)
        : start(startCoord), way(wayAlong), firstBoundary(lowerCorner), step(wayAlong > 0.0 ? spacing : -spacing) {}

    // The part of the segment up to the next crossing beyond t; the largest double
    // if the axis is never crossed.
    double nextBeyond(double t) {
        if (way == 0.0) return std::numeric_limits<double>::max();
        while (next <= t) next = (firstBoundary + step * numSteps++ - start) / way;
        return next;
    }

private:
    double start, way, firstBoundary, step;
    double numSteps = 0.0;
    double next = -1.0;
};

double component(const Point3& p, int axis) {
    return axis == 0 ? p.px : axis == 1 ? p.py : p.pz;
}

Point3 middleOf(const Point3& p, const Point3& q) {
    return {(p.px + q.px) * 0.5, (p.py + q.py) * 0.5, (p.pz + q.pz) * 0.5};
}

// P0 and P2 are the ends of the longest edge, P1 is the third corner.
struct ScanTriangle {
    const Point3 *P0, *P1, *P2;
    double legLength;  // from P0 to P1

    ScanTriangle(const Point3& a, const Point3& b, const Point3& c) : P0(&b), P1(&a), P2(&c) {
        double m = (c - b).length();
        if (m < (c - a).length()) {
            std::swap(P0, P1);
            m = (c - a).length();
        }
        legLength = (a - b).length();
        if (m < legLength) {
            std::swap(P1, P2);
            legLength = m;
        }
    }
};

}  // namespace

Point3 Pixel::lowerCornerOf(uint64 rcd) const {
    const auto [x, y, z] = unpackRCD(rcd);
    return {pCalc->x0 + static_cast<double>(x) * pCalc->cellX, pCalc->y0 + static_cast<double>(y) * pCalc->cellY,
            pCalc->z0 + static_cast<double>(z) * pCalc->cellZ};
}

Point3 Pixel::centreOf(uint64 rcd) const {
    const auto [x, y, z] = unpackRCD(rcd);
    return {pCalc->x0 + (static_cast<double>(x) + 0.5) * pCalc->cellX,
            pCalc->y0 + (static_cast<double>(y) + 0.5) * pCalc->cellY,
            pCalc->z0 + (static_cast<double>(z) + 0.5) * pCalc->cellZ};
}

bool Pixel::projectCentre(uint64 rcd, const Plane& plane, Point3& p) const {
    const Point3 projected = plane.projection(centreOf(rcd));
    if (pCalc->getRCD(projected) != rcd) return false;
    p = projected;
    return true;
}

void Pixel::rasterizeEdge(const Point3& a, const Point3& b, std::vector<CodedPoint>& vEdgeRaster) const {
    ASSEX(spacingAbs>0);
    const Vector3 v = b - a;
    const uint64 s = pCalc->getRCD(a);
    const uint64 t = pCalc->getRCD(b);
    if (s == t) return;
    const Point3 low = lowerCornerOf(s);
    AxisCrossings x(a.px, v.vx, low.px, spacingAbs), y(a.py, v.vy, low.py, spacingAbs),
        z(a.pz, v.vz, low.pz, spacingAbs);
    // On another axis rounding could end the walk early: it may hardly move there.
    const int mainAxis = v.getMaxAbsIndex();
    const double end = component(b, mainAxis);
    const bool bUp = v.getCartesian(mainAxis) > 0.0;
    vEdgeRaster.emplace_back(s, a);
    double done = 0.0;
    Point3 cur = a;
    while (done < 1.0) {
        const double minFactor = std::min({x.nextBeyond(done), y.nextBeyond(done), z.nextBeyond(done)}) - done;
        ASSEX(minFactor!=1.7976931348623158e+308 && minFactor>0);
        done += minFactor;
        const Point3 next = a + v * done;
        const Point3 mid = middleOf(cur, next);
        const uint64 m = pCalc->getRCD(mid);
        cur = next;
        if (m == s) continue;
        const double reached = component(mid, mainAxis);
        if (m == t || (bUp ? reached > end : reached < end)) break;
        if (m != vEdgeRaster.back().first) vEdgeRaster.emplace_back(m, mid);
    }
    if (vEdgeRaster.back().first != t) vEdgeRaster.emplace_back(t, b);
}

// sink.wants(code): whether a sample of this cell would be taken; sink.take(code, sample).
template <class Sink>
void Pixel::scanLine(const Plane& plane, const Point3& a, const Point3& b, Sink& sink) const {
    const Vector3 v = b - a;
    const double L = v.length();
    if (L == 0.0) return;
    const double maxComponent = v.getMaxAbsComponent();
    ASSEX(maxComponent!=0);
    const Vector3 step = v * (spacingAbs * cellsPerStep / maxComponent);
    const int n = static_cast<int>(std::ceil(L / step.length()));
    const uint64 startCode = pCalc->getRCD(a);
    for (int i = 0; i < n; ++i) {
        const Point3 q = a + step * i;
        const uint64 r = pCalc->getRCD(q);
        if (r == startCode || !sink.wants(r)) continue;
        Point3 sample = q;
        projectCentre(r, plane, sample);
        if (i == n - 1 && (sample - a).length() > L) return;
        sink.take(r, sample);
    }
}

template <class Sink>
void Pixel::scanTriangle(const Point3& a, const Point3& b, const Point3& c, Sink& sink) const {
    constexpr double sliverAngle = 1e-05;  // degrees
    const Plane plane(a, b, c);
    const ScanTriangle tri(a, b, c);
    const Vector3 u = normalize(*tri.P1 - *tri.P0);
    const Vector3 w = normalize(*tri.P1 - *tri.P2);
    const Vector3 e = normalize(*tri.P2 - *tri.P0);
    const double alpha = getAngleDeg(e, u);
    const double beta = getAngleDeg(e * -1.0, w);
    if (alpha < sliverAngle || beta < sliverAngle) return;
    const double s0 = spacingAbs / sinOfDegrees(alpha) * cellsPerStep;
    const double s2 = spacingAbs / sinOfDegrees(beta) * cellsPerStep;
    const int n = static_cast<int>(std::ceil(tri.legLength / s0));
    for (int i = 0; i < n; ++i) scanLine(plane, *tri.P0 + u * (i * s0), *tri.P2 + w * (i * s2), sink);
}

namespace {

// Takes everything but what repeats the sample before.
struct AllSamples {
    std::vector<Pixel::CodedPoint>& vOut;
    const std::size_t numOld = vOut.size();

    bool wants(uint64 code) const { return vOut.size() == numOld || vOut.back().first != code; }
    void take(uint64 code, const Point3& sample) { vOut.emplace_back(code, sample); }
};

// Takes the first sample of each cell that has none.
struct NewSamples {
    const CellSet& takenCells;
    CellSet seenCells{};
    std::vector<Pixel::CodedPoint> vOut{};

    bool wants(uint64 code) { return !seenCells.contains(code) && !takenCells.contains(code); }
    void take(uint64 code, const Point3& sample) {
        seenCells.insert(code);
        vOut.emplace_back(code, sample);
    }
};

}  // namespace

void Pixel::rasterizeTriangle(const Point3& a, const Point3& b, const Point3& c, std::vector<CodedPoint>& vOut) const {
    AllSamples sink{vOut};
    scanTriangle(a, b, c, sink);
}

void Pixel::rasterizePlane(const Plane& plane, const Point3& a, const Point3& b, std::vector<CodedPoint>& vOut) const {
    AllSamples sink{vOut};
    scanLine(plane, a, b, sink);
}

std::vector<Pixel::CodedPoint> Pixel::rasterizeRange(std::size_t begin, std::size_t end) const {
    NewSamples sink{takenCells};
    for (std::size_t i = begin; i < end; ++i) {
        const Tri& tri = vTri[vBfs[i]];
        scanTriangle(*tri.pVtx0, *tri.pVtx1, *tri.pVtx2, sink);
    }
    return std::move(sink.vOut);
}

Point3 Pixel::getMidOfCutPlane(uint64 rcd, const Plane& plane, bool& bOK) const {
    constexpr int minCuts = 3;
    const Point3 low = lowerCornerOf(rcd);
    const auto corner = [&](int i) {
        return low + Vector3(i & 4 ? pCalc->cellX : 0.0, i & 2 ? pCalc->cellY : 0.0, i & 1 ? pCalc->cellZ : 0.0);
    };
    double x = 0.0, y = 0.0, z = 0.0;
    int numCuts = 0;
    for (int i = 0; i < 8; ++i) {
        for (const int axisBit : {4, 2, 1}) {
            if (i & axisBit || plane.isPositive(corner(i)) == plane.isPositive(corner(i | axisBit))) continue;
            bool bCut = false;
            const Point3 cut = plane.intersect(corner(i), corner(i | axisBit), bCut);
            if (!bCut) continue;
            cut.addOwnCoords(x, y, z);
            ++numCuts;
        }
    }
    bOK = numCuts >= minCuts;
    return bOK ? Point3(x / numCuts, y / numCuts, z / numCuts) : Point3();
}

}  // namespace QUOR_ZEF
