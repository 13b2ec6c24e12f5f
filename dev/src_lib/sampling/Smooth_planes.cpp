#include <algorithm>
#include <cmath>

#include "frame/FirstValue.h"
#include "frame/Run.h"
#include "frame/tools.h"
#include "geometry/freeFunctions.h"
#include "grid/ColumnCursors.h"
#include "parallel/parallelTransform.h"
#include "parallel/sortMT.h"
#include "sampling/Smooth.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t minNodes = 4096;

// Squared world units: what the fan of a fit must reach. All nodes of a Smooth offer
// the same, so it does not matter which is first.
FirstValue& getMinArea() {
    static FirstValue ofProcess;
    Run* const pRun = getRun();
    return pRun ? pRun->minArea : ofProcess;
}

// Half the length of the cross product, like getTriangleArea, of which it is the
// inline form.
inline double getArea(const Point3* pP, const Point3* pQ, const Point3* pR) {
    return cross(*pQ - *pP, *pR - *pP).length() * 0.5;
}

// Half a side of the band of scalar products that are left to the arc cosine;
// wider than its rounding by far.
constexpr double closeCosine = 1e-9;

// getAngleDeg(a, b) < 15.
bool isGoodAngle(const Vector3& a, const Vector3& b) {
    constexpr double cosine15 = 0.96592582628906829;
    const double dot = a * b;
    if (std::fabs(dot - cosine15) > closeCosine) return dot > cosine15;
    return getAngleDeg(a, b) < 15.0;
}

// getAngleDeg(a, b) between 20 and 160.
bool isCrease(const Vector3& a, const Vector3& b) {
    constexpr double cosine20 = 0.93969262078590838;
    const double dot = std::fabs(a * b);
    if (std::fabs(dot - cosine20) > closeCosine) return dot < cosine20;
    const double angle = getAngleDeg(a, b);
    return angle > 20.0 && angle < 160.0;
}

// An untrusted node in the order of its fan area, the largest first.
struct Untrusted {
    double area;
    std::uint32_t id;
    std::int32_t position;

    bool operator<(const Untrusted& other) const { return area != other.area ? area > other.area : id > other.id; }
};

// The sum of the normals but for the first, which they are turned to; the second
// counts twice, or not at all if it looks the other way.
Vector3 sumOfNormals(const std::vector<Vector3>& vNormals) {
    Vector3 sum = vNormals[1];
    for (std::size_t i = 1; i < vNormals.size(); ++i) {
        if (getAngleDeg(vNormals[i], vNormals[0]) < 90.0) {
            sum += vNormals[i];
        } else {
            sum -= vNormals[i];
        }
    }
    return sum;
}

}  // namespace

void resetMinArea() {
    getMinArea().reset();
}

bool Smooth::estimateNNVatCentroid(SNode* pSN, const LinkedNodes& vLinkedNodes) const {
    if (vLinkedNodes.size() < 2) return false;
    const Point3& c = pSN->smoothedPoint;
    const Vector3 first = vLinkedNodes[0]->smoothedPoint - c;
    ProductSums sums;
    double fan = 0.0;
    for (std::size_t i = 0; i < vLinkedNodes.size(); ++i) {
        const Vector3 d = vLinkedNodes[i]->smoothedPoint - c;
        sums.add(d);
        if (i == 0) continue;
        const double area = cross(first, d).length() * 0.5;
        ASSEX(fabs(area-getArea( &pSN->smoothedPoint, &vLinkedNodes[0]->smoothedPoint, &vLinkedNodes[i]->smoothedPoint ))<1e-10);
        fan += area;
    }
    if (fan < getMinArea().offer((spacing / 5.0) * (spacing / 5.0))) return false;
    Vector3 normal;
    if (!sums.getNormal(normal)) return false;
    pSN->plane = Plane(c, normal);
    pSN->area = fan;
    pSN->bHasPlane = true;
    return true;
}

void Smooth::fitPlanes() {
    parallelChunks(vNodes.size(), minNodes, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) estimateNNVatCentroid(&vNodes[i], getLinkedNodes(vNodes[i]));
    });
    markTrustedPlanes();
    fitUntrustedPlanes();
    fitWideBlocks();
    markCreases();
}

void Smooth::markTrustedPlanes() {
    // Reads planes and writes areas only, so that the nodes do not wait for each other.
    parallelChunks(vNodes.size(), minNodes, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            SNode& node = vNodes[i];
            if (!node.bHasPlane) continue;
            const LinkedNodes vLinkedNodes = getLinkedNodes(node);
            int numGood = 0, numBad = 0;
            for (std::size_t k = 0; k < vLinkedNodes.size(); ++k) {
                if (!vLinkedNodes[k]->bHasPlane) continue;
                const bool bGood = isGoodAngle(vLinkedNodes[k]->plane.normal, node.plane.normal);
                numGood += bGood;
                numBad += !bGood;
            }
            if (numGood >= 4 && numGood > 2 * numBad) node.area = SNode::trustedArea;
        }
    });
}

void Smooth::fitUntrustedPlanes() {
    std::vector<Untrusted> vUntrusted;
    for (std::size_t i = 0; i < vNodes.size(); ++i) {
        pollRun(i);
        const SNode& node = vNodes[i];
        if (!node.isTrusted()) vUntrusted.push_back({node.area, node.id, static_cast<std::int32_t>(i)});
    }
    sortMT(vUntrusted.begin(), vUntrusted.end());
    for (std::size_t i = 0; i < vUntrusted.size(); ++i) {
        pollRun(i);
        planeFromNeighbours(&vNodes[static_cast<std::size_t>(vUntrusted[i].position)]);
    }
}

bool Smooth::planeFromNeighbours(SNode* pSN) const {
    const LinkedNodes vLinkedNodes = getLinkedNodes(*pSN);
    if (vLinkedNodes.size() < 4) return false;
    std::vector<Vector3> vNormals;
    for (std::size_t i = 0; i < vLinkedNodes.size(); ++i) {
        if (vLinkedNodes[i]->isTrusted()) vNormals.push_back(vLinkedNodes[i]->plane.normal);
    }
    if (vNormals.size() < 4) return false;
    const Vector3 mean = normalize(sumOfNormals(vNormals));
    for (const Vector3& normal : vNormals) {
        if (getAngleDeg(normal, mean) > 20.0) return false;
    }
    pSN->plane = Plane(pSN->smoothedPoint, mean);
    pSN->bHasPlane = true;
    pSN->area = SNode::trustedArea;
    return true;
}

// A fit to the 5x5x5 block of cells around the node. It reads positions only, so
// that the order of the nodes does not matter.
void Smooth::fitWideBlocks() {
    const std::vector<uint64> vCells = getNodeCells();
    parallelChunks(vNodes.size(), minNodes, [&](std::size_t begin, std::size_t end) {
        ColumnCursors<2> cursors(vCells);
        std::vector<std::int32_t> vBlock;
        for (std::size_t i = begin; i < end; ++i) {
            if (vNodes[i].isTrusted()) continue;
            vBlock.clear();
            for (int dx = -2; dx <= 2; ++dx) {
                for (int dy = -2; dy <= 2; ++dy) {
                    const auto [first, last] = cursors.around(vCells[i], dx, dy);
                    for (std::size_t k = first; k < last; ++k) {
                        if (k != i) vBlock.push_back(static_cast<std::int32_t>(k));
                    }
                }
            }
            if (estimateNNVatCentroid(&vNodes[i], {vNodes.data(), vBlock})) vNodes[i].area = SNode::trustedArea;
        }
    });
}

void Smooth::markCreases() {
    constexpr std::int32_t none = -1;
    std::vector<std::int32_t> vBehind(vNodes.size(), none);  // the first neighbour behind a crease
    parallelChunks(vNodes.size(), minNodes, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            if (!vNodes[i].bHasPlane) continue;
            const LinkedNodes vLinkedNodes = getLinkedNodes(vNodes[i]);
            for (std::size_t k = 0; k < vLinkedNodes.size() && vBehind[i] == none; ++k) {
                const SNode& other = *vLinkedNodes[k];
                if (!other.bHasPlane || !isCrease(vNodes[i].plane.normal, other.plane.normal)) continue;
                vBehind[i] = vLinkedNodes.position(k);
            }
        }
    });
    for (std::size_t i = 0; i < vNodes.size(); ++i) {
        pollRun(i);
        if (vNodes[i].bKeepPosition || vBehind[i] == none) continue;
        vNodes[i].bKeepPosition = true;
        vNodes[static_cast<std::size_t>(vBehind[i])].bKeepPosition = true;
    }
}

}  // namespace QUOR_ZEF
