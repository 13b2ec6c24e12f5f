#include "topology/CEdge.h"

#include <algorithm>

#include "frame/tools.h"
#include "geometry/freeFunctions.h"
#include "topology/CMesh.h"
#include "topology/CPatch.h"
#include "topology/CTriangle.h"

namespace QUOR_ZEF {

namespace {

constexpr double maxSplitTurn = 90.0;  // degrees

// The corners of a triangle, from one of them on.
struct Corners {
    uint64 a, b, c;
    Corners(const CTriangle* pT, int first)
        : a(pT->getCorner(first)), b(pT->getCorner((first + 1) % 3)), c(pT->getCorner((first + 2) % 3)) {}
};

// Whether the triangle on p, q, r has a normal, and within 90 degrees of this one.
bool turnsLittle(const Vector3& normal, const Point3* p, const Point3* q, const Point3* r) {
    bool bOK = false;
    const Vector3 newNormal = triNormal(p, q, r, bOK);
    return bOK && !(getAngleDeg(normal, newNormal) > maxSplitTurn);
}

// Whether pT, with the edge opposite its corner ici, may be split at the point pApex of that edge.
bool canSplit(const CMesh* pMesh, const CTriangle* pT, int ici, const Point3* pApex) {
    const Corners k(pT, ici);
    const Point3 *pA = pMesh->getVtx(k.a), *pB = pMesh->getVtx(k.b), *pC = pMesh->getVtx(k.c);
    bool bOK = false;
    const Vector3 normal = triNormal(pA, pB, pC, bOK);
    return bOK && turnsLittle(normal, pA, pB, pApex) && turnsLittle(normal, pA, pApex, pC);
}

}  // namespace

CEdge::CEdge(uint64 v0_, uint64 v1_, std::uint32_t number_) : v0(v0_), v1(v1_), number(number_) {
    ASSEX(v0<v1);
}

void CEdge::getTriangles(std::vector<CTriangle*>& vOut) const {
    vOut.insert(vOut.end(), triangles().begin(), triangles().end());
}

uint64 CEdge::getOtherVCD(uint64 v) const {
    if (v == v0) return v1;
    if (v == v1) return v0;
    showDetail("getOtherVCD bug, CEdge ", v0, " - ", v1, ", degree=", getDegree());
    ASSEX(false);
    return 0;
}

bool CEdge::hasTriangle(uint64 a, uint64 b, uint64 c) const {
    if (a == b || b == c || a == c) return false;
    for (const CTriangle* pT : triangles())
        if (pT->hasCorner(a) && pT->hasCorner(b) && pT->hasCorner(c)) return true;
    return false;
}

CTriangle* CEdge::getTriangle(bool bExists, bool bUnique) const {
    CTriangle* pRet = nullptr;
    for (CTriangle* pT : triangles()) {
        if (bUnique) ASSEX(pRet==0);
        if (!pRet) pRet = pT;
    }
    if (bExists) ASSEX(pRet!=0);
    return pRet;
}

bool CEdge::getTwoTriangles(CTriangle*& pT0, CTriangle*& pT1, bool bExact) const {
    const auto view = triangles();
    pT0 = !view.empty() ? view[0] : nullptr;
    pT1 = view.size() > 1 ? view[1] : nullptr;
    return bExact ? view.size() == 2 : view.size() >= 2;
}

CTriangle* CEdge::getOtherTriangle(const CTriangle* pT) const {
    CTriangle* pOther = nullptr;
    for (CTriangle* pHere : triangles()) {
        if (pHere == pT) continue;
        if (pOther) return nullptr;
        pOther = pHere;
    }
    return pOther;
}

void CEdge::checkOut(CTriangle* pT) {
    if (vT.remove(pT)) return;
    showDetail("CEdge::checkOut, triangle live state: ", pT->isAlive(), " ", pT->getCorner(0), " ", pT->getCorner(1),
               " ", pT->getCorner(2));
    ASSEX(false);
}

bool CEdge::trySplitNeigsKillT(CMesh* pMesh, CTriangle* pKillCT, int ici, std::vector<CTriangle*>& vNew) {
    ASSEX(pKillCT->isAlive());
    const uint64 apex = pKillCT->getCorner(ici);
    const Point3* pApex = pMesh->getVtx(apex);
    std::vector<CTriangle*> vNeigs;
    for (CTriangle* pNeigT : triangles()) {
        if (pNeigT == pKillCT) continue;
        if (!canSplit(pMesh, pNeigT, pNeigT->getICI(v0, v1), pApex)) return false;
        vNeigs.push_back(pNeigT);
    }
    pKillCT->kill(pMesh);
    for (CTriangle* pNeigT : vNeigs) {
        ASSEX(pNeigT->isAlive());
        CPatch* pPatch = pNeigT->getPatch();
        const Corners k(pNeigT, pNeigT->getICI(v0, v1));
        pNeigT->kill(pMesh);
        for (CTriangle* pNewT : {pMesh->createT(k.a, k.b, apex, 0, 0), pMesh->createT(k.a, apex, k.c, 0, 0)}) {
            if (pPatch) pPatch->addTriangle(pNewT);
            vNew.push_back(pNewT);
        }
    }
    return true;
}

void getAdjacentEdges(int kind, const std::vector<CTriangle*>& vT, std::vector<CEdge*>& vOut) {
    ASSEX(kind > 0 || (kind >= -4 && kind <= -1));
    std::vector<CEdge*> vEdges;
    vEdges.reserve(3 * vT.size());
    for (const CTriangle* pT : vT)
        if (pT->isAlive())
            for (int i = 0; i < 3; ++i) vEdges.push_back(pT->getCEdge(i));
    std::sort(vEdges.begin(), vEdges.end(), edgeLess);
    for (auto it = vEdges.begin(); it != vEdges.end();) {
        const auto itEnd = std::find_if(it, vEdges.end(), [&](const CEdge* pCE) { return pCE != *it; });
        const auto count = itEnd - it;
        const bool bTaken = kind > 0     ? count == kind
                            : kind == -1 ? count % 2 == 1
                            : kind == -2 ? count % 2 == 0
                            : kind == -3 ? count >= 3
                                         : count % 2 == 0 && count > 2;
        if (bTaken) vOut.push_back(*it);
        it = itEnd;
    }
}

}  // namespace QUOR_ZEF
