
#include "frame/Run.h"
#include "frame/tools.h"
#include "grid/Calc.h"
#include "repair/Top.h"
#include "topology/CMesh.h"

namespace QUOR_ZEF {

namespace {

// Whether four cells have one coordinate: a and b in common, and so have c and d.
bool shareCoordinate(uint64 a, uint64 b, uint64 c, uint64 d, uint64 mask) {
    a &= mask;
    b &= mask;
    c &= mask;
    d &= mask;
    ASSEX(a==b);
    ASSEX(c==d);
    return a == c;
}

bool hasTriangleAt(const CEdge* pCE, uint64 v) {
    for (const CTriangle* pT : pCE->triangles())
        if (pT->hasCorner(v)) return true;
    return false;
}

}  // namespace

void Top::unifyDiagonals() {
    // Only edges across an axis can be diagonals; the rest needs the state at its time.
    std::vector<CEdge*> vEdges;
    pMesh->selectEdges([&](const CEdge* pCE) { return pCalc->getUniqueSameComponent(pCE->v0, pCE->v1) >= 0; }, vEdges);
    for (std::size_t i = 0; i < vEdges.size(); ++i) {
        pollRun(i);
        unifyDiagonal(vEdges[i]);
    }
}

//      p ----- b      The quad a q b p has T1 = (a b p) and T2 = (a b q) on the
//      | \   / |      diagonal (a, b), and something on the diagonal (p, q).
//      |   X   |
//      | /   \ |
//      a ----- q
void Top::unifyDiagonal(const CEdge* pCE) {
    CTriangle *pT1 = nullptr, *pT2 = nullptr;
    if (!pCE->getTwoTriangles(pT1, pT2, true)) return;
    const uint64 a = pCE->v0, b = pCE->v1;
    const uint64 p = pT1->getThirdCCD(a, b), q = pT2->getThirdCCD(a, b);
    const int axis = pCalc->getUniqueSameComponent(a, b);
    if (p == q || pCalc->getUniqueSameComponent(p, q) != axis) return;
    const CEdge* pOther = pMesh->getEdge(p, q);
    if (!pOther || pOther->getDegree() == 0) return;
    if (!shareCoordinate(a, b, p, q, getMask(axis))) return;
    const uint64 vcd = pT1->vcd;
    pT1->kill(pMesh);
    pT2->kill(pMesh);
    std::vector<CTriangle*> vMade;
    const bool bHasA = hasTriangleAt(pOther, a), bHasB = hasTriangleAt(pOther, b);
    if (!bHasA) vMade.push_back(pMesh->createT(p, q, a, vcd, 0));
    if (!bHasB) vMade.push_back(pMesh->createT(q, p, b, vcd, 0));
    for (CTriangle* pT : vMade) removeIfFlat(pT);
}

// Its longest edge is the diagonal, opposite corner 2.
void Top::removeIfFlat(CTriangle* pT) {
    if (!pT->isAlive() || !pT->isDegenerate(pMesh)) return;
    CEdge* pCE = pT->getCEdge(2);
    if (pCE->getDegree() < 2) showDetail("\n pCE->getDegree()=", pCE->getDegree());
    std::vector<CTriangle*> vNew;
    if (!pCE->trySplitNeigsKillT(pMesh, pT, 2, vNew) && !moveACorner(pT, 2))
        showOddity(where(__PRETTY_FUNCTION__, __LINE__), "trySplitNeigsKillT() and laplacianForOne() did not succeed");
}

}  // namespace QUOR_ZEF
