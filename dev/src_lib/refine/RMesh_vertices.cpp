#include <algorithm>

#include "frame/tools.h"
#include "refine/RMesh.h"

namespace QUOR_ZEF {

namespace {

constexpr double maxRelax = 0.1;        // cells
constexpr double maxRelaxTurn = 170.0;  // degrees
constexpr int maxRelaxTries = 1000;     // far from the origin, small steps may never leave a taken position

}  // namespace

bool RMesh::hasVertexAt(const Point3& p) const {
    if (!vertexMap.isBuilt()) vertexMap.build(vVertices);
    return vertexMap.isTaken(p);
}

void RMesh::updateVertex(Point3* pVtx, const Point3& newPoint) {
    ASSEX(*pVtx!=newPoint);
    if (!vertexMap.isBuilt()) vertexMap.build(vVertices);
    const std::uint32_t vertex = getVertexNumber(pVtx);
    const int numErased = vertexMap.erase(vertex) ? 1 : 0;
    ASSEX(numErased==1);
    const bool bOK = vertexMap.insert(vertex, newPoint);
    ASSEX(bOK);
    pVtx->set(newPoint);
    for (const std::uint32_t number : getFan(pVtx)) triangles[number]->resetNormal();
}

void RMesh::setVertices(const std::vector<Point3>& vNew) {
    ASSEX(vNew.size() == vVertices.size());
    const bool bMoved = vNew != vVertices;  // colours play no part
    std::copy(vNew.begin(), vNew.end(), vVertices.begin());
    if (!bMoved) return;
    vertexMap.clear();
    forEachTriangle([](RTriangle* pRT) { pRT->resetNormal(); });
}

// From the middle of the neighbours on, each try goes on from the one before.
bool RMesh::findFreeTarget(const Point3* pVtx, Point3& target) {
    std::vector<REdge*> vIncRE;
    getIncidentEdges(pVtx, vIncRE);
    if (vIncRE.empty()) return false;
    double x = 0.0, y = 0.0, z = 0.0;
    for (const REdge* pRE : vIncRE) pRE->getOtherPoint(pVtx)->addOwnCoords(x, y, z);
    const auto num = static_cast<double>(vIncRE.size());
    Vector3 move = Point3(x / num, y / num, z / num) - *pVtx;
    const double limit = cellSize * maxRelax;
    const double length = move.length();
    if (length > limit) move *= limit / length;
    target = *pVtx + move;
    const auto jitter = [&] { return rand.next() * limit / 32767.0; };
    for (int i = 0; i < maxRelaxTries; ++i) {
        if (!hasVertexAt(target)) return true;
        const double dx = jitter(), dy = jitter(), dz = jitter();
        target = target + Vector3(dx, dy, dz);
    }
    return false;
}

bool RMesh::relaxVertex(Point3* pVtx) {
    Point3 target;
    if (!findFreeTarget(pVtx, target)) return false;
    double worst = -1.0;
    for (const std::uint32_t number : getFan(pVtx)) {
        const RTriangle* pRT = triangles[number];
        worst = std::max(worst, pRT->getCornerMoveAngle(pRT->getICI(pVtx), &target, false));
    }
    showDetail("devAngle would be ", worst);
    if (worst > maxRelaxTurn) return false;
    if (target == *pVtx) return true;
    showDetail("updateVertex");
    updateVertex(pVtx, target);
    return true;
}

}  // namespace QUOR_ZEF
