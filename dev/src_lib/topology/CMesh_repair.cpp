#include <algorithm>
#include <iostream>
#include <tuple>

#include "frame/tools.h"
#include "geometry/freeFunctions.h"
#include "grid/Calc.h"
#include "topology/CMesh.h"

namespace QUOR_ZEF {

namespace {

constexpr double maxMove = 0.1;   // cells
constexpr double maxTurn = 90.0;  // degrees

// The angle in degrees by which the normal turns when corner ici moves: 360 if
// there is no normal afterwards, else -1 if there is none now.
double deviationAngle(const CMesh* pMesh, const CTriangle* pT, int ici, const Point3& target) {
    const Point3 *pA = pMesh->getVtx(pT->getCorner(ici)), *pB = pMesh->getVtx(pT->getCorner((ici + 1) % 3)),
                 *pC = pMesh->getVtx(pT->getCorner((ici + 2) % 3));
    bool bOldOK = false, bNewOK = false;
    const Vector3 newNormal = triNormal(&target, pB, pC, bNewOK);
    if (!bNewOK) return 360.0;
    const Vector3 oldNormal = triNormal(pA, pB, pC, bOldOK);
    return bOldOK ? getAngleDeg(oldNormal, newNormal) : -1.0;
}

// A triangle under its sorted corners.
struct Key {
    uint64 c0, c1, c2;
    CTriangle* pT;

    explicit Key(CTriangle* pT_) : pT(pT_) { pT->getSortedCorners(c0, c1, c2); }
    bool sameCorners(const Key& k) const { return c0 == k.c0 && c1 == k.c1 && c2 == k.c2; }
    bool operator<(const Key& k) const {
        return std::tuple(c0, c1, c2, pT->getNumber()) < std::tuple(k.c0, k.c1, k.c2, k.pT->getNumber());
    }
};

}  // namespace

bool CMesh::canCollapse(uint64 src, uint64 trg) const {
    const auto srcFan = getFan(src), trgFan = getFan(trg);
    if (srcFan.empty() || trgFan.empty()) return false;
    for (const std::uint32_t number : srcFan) {
        const CTriangle* pT = triangles[number];
        if (pT->hasCorner(trg)) continue;  // dies in the collapse
        const int ici = pT->getICI(src);
        const uint64 next = pT->getCorner((ici + 1) % 3), previous = pT->getCorner((ici + 2) % 3);
        for (const std::uint32_t atTrg : trgFan)
            if (triangles[atTrg]->hasCorner(next) && triangles[atTrg]->hasCorner(previous)) return false;
    }
    return true;
}

bool CMesh::collapseEdgeToEndpoint(const CEdge* pCE, uint64 src, uint64 trg) {
    ASSEX((src==pCE->v0 && trg==pCE->v1) || (src==pCE->v1 && trg==pCE->v0));
    if (pCE->getDegree() == 0 || !canCollapse(src, trg)) return false;
    std::vector<CTriangle*> vIncT;
    getIncidentTriangles(src, vIncT);
    ASSEX(!vIncT.empty());
    for (CTriangle* pT : vIncT) {
        pT->kill(this);
        if (pT->hasCorner(trg)) continue;
        const int ici = pT->getICI(src);
        createT(trg, pT->getCorner((ici + 1) % 3), pT->getCorner((ici + 2) % 3), pT->vcd, 0);
    }
    return true;
}

bool CMesh::movesTooFar(uint64 vcd, const Point3& target) const {
    for (const std::uint32_t number : getFan(vcd)) {
        const CTriangle* pT = triangles[number];
        const double angle = deviationAngle(this, pT, pT->getICI(vcd), target);
        if (!(angle > maxTurn)) continue;
        std::cout << "devAngle would be " << angle << std::endl;
        return true;
    }
    return false;
}

bool CMesh::laplacianForOne(uint64 vcd) {
    std::vector<CEdge*> vEdges;
    getIncidentEdges(vcd, vEdges);
    if (vEdges.empty()) return false;
    double x = 0.0, y = 0.0, z = 0.0;
    for (const CEdge* pCE : vEdges) getVtx(pCE->getOtherVCD(vcd))->addOwnCoords(x, y, z);
    const auto num = static_cast<double>(vEdges.size());
    Point3* pVtx = getVtx(vcd);
    Vector3 move = Point3(x / num, y / num, z / num) - *pVtx;
    const double limit = maxMove * pCalc->getCellSize();
    const double length = move.length();
    if (length > limit) move *= limit / length;
    const Point3 target = *pVtx + move;
    if (movesTooFar(vcd, target)) return false;
    pVtx->set(target);
    return true;
}

// The fans of the lowest corners, vertices ascending, are already sorted by the
// first key, so that only a handful of triangles need sorting at a time.
int CMesh::killDuplicateTriangles() {
    int numKilled = 0;
    std::vector<std::uint32_t> vNewOrder;
    vNewOrder.reserve(triangles.size());
    std::vector<Key> vKeys;
    pCells->forEachNumber([&](std::uint32_t vertex) {
        if (vertex >= adjacency.getNumVertices()) return;
        const uint64 lowest = pCells->getCode(vertex);
        vKeys.clear();
        for (const std::uint32_t number : adjacency.fan(vertex)) {
            CTriangle* pT = triangles[number];
            if (pT->corner[0] >= lowest && pT->corner[1] >= lowest && pT->corner[2] >= lowest) vKeys.emplace_back(pT);
        }
        std::sort(vKeys.begin(), vKeys.end());
        const Key* pFirst = nullptr;
        for (const Key& key : vKeys) {
            if (pFirst && key.sameCorners(*pFirst)) {
                key.pT->kill(this);
                ++numKilled;
            } else {
                pFirst = &key;
                vNewOrder.push_back(key.pT->getNumber());
            }
        }
    });
    vOrder = std::move(vNewOrder);
    numOrdered = triangles.size();
    return numKilled;
}

void CMesh::splitDegenerateTriangles() {
    std::vector<CTriangle*> vWork;
    getAllTriangles(vWork);
    while (!vWork.empty()) {
        CTriangle* pT = vWork.back();
        vWork.pop_back();
        if (!pT->isAlive() || !pT->isDegenerate(this)) continue;
        const int ici = pT->getLargestEdgeICI(this);
        if (pT->getCEdge(ici)->trySplitNeigsKillT(this, pT, ici, vWork)) continue;
        std::cout << "\n Not able to split: " << *pT;
        for (int i = 0; i < 3; ++i)
            if (laplacianForOne(pT->getCorner((ici + i) % 3))) break;
    }
}

}  // namespace QUOR_ZEF
