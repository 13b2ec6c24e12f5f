#include "topology/CTriangle.h"

#include <algorithm>
#include <ostream>

#include "frame/tools.h"
#include "geometry/freeFunctions.h"
#include "topology/CEdge.h"
#include "topology/CMesh.h"

namespace QUOR_ZEF {

void CTriangle::getSortedCorners(uint64& c0_, uint64& c1_, uint64& c2_) const {
    c0_ = corner[0];
    c1_ = corner[1];
    c2_ = corner[2];
    if (c0_ > c1_) std::swap(c0_, c1_);
    if (c1_ > c2_) std::swap(c1_, c2_);
    if (c0_ > c1_) std::swap(c0_, c1_);
    ASSEX(c0_<c1_ && c1_<c2_);
}

bool CTriangle::hasBorderEdge() const {
    return std::any_of(std::begin(pCE), std::end(pCE), [](const CEdge* p) { return p->getDegree() == 1; });
}

bool CTriangle::isAllManifold() const {
    return std::all_of(std::begin(pCE), std::end(pCE), [](const CEdge* p) { return p->getDegree() == 2; });
}

int CTriangle::getLargestEdgeICI(const CMesh* pMesh) const {
    const Point3 *p0 = pMesh->getVtx(corner[0]), *p1 = pMesh->getVtx(corner[1]), *p2 = pMesh->getVtx(corner[2]);
    const double sq01 = (*p1 - *p0).sqLength();
    const double sq12 = (*p2 - *p1).sqLength();
    const double sq20 = (*p0 - *p2).sqLength();
    if (sq01 >= sq12 && sq01 >= sq20) return 2;
    return sq12 >= sq20 ? 0 : 1;
}

bool CTriangle::isDegenerate(const CMesh* pMesh) const {
    return isDegenerate(*pMesh->getVtx(corner[0]), *pMesh->getVtx(corner[1]), *pMesh->getVtx(corner[2]));
}

bool CTriangle::isDegenerate(const Point3& p0, const Point3& p1, const Point3& p2) {
    if (p0 == p1 || p1 == p2 || p2 == p0) return true;
    const Vector3 edge01 = p1 - p0, edge02 = p2 - p0;
    if (edge01.isDegenerate() || edge02.isDegenerate()) return true;
    return cross(edge01, edge02).sqLength() == 0.0;
}

double CTriangle::getArea(const CMesh* pMesh) const {
    return getTriangleArea(*pMesh->getVtx(corner[0]), *pMesh->getVtx(corner[1]), *pMesh->getVtx(corner[2]));
}

void CTriangle::kill(CMesh* pMesh) {
    ASSEX(bAlive);
    for (int i = 0; i < 3; ++i) getCEdge(i)->checkOut(this);
    pMesh->unregisterTriangle(this);
    bAlive = false;
}

void CTriangle::flip() {
    std::swap(corner[1], corner[2]);
    std::swap(pCE[0], pCE[2]);
}

bool CTriangle::needFlip(const CTriangle* pOther) const {
    for (int i = 0; i < 3; ++i) {
        const uint64 from = corner[i], to = corner[(i + 1) % 3];
        for (int j = 0; j < 3; ++j) {
            const uint64 otherFrom = pOther->corner[j], otherTo = pOther->corner[(j + 1) % 3];
            if (from == otherFrom && to == otherTo) return true;
            if (from == otherTo && to == otherFrom) return false;
        }
    }
    ASSEX(false);
    return false;
}

namespace {

void printCorners(std::ostream& os, const CTriangle& t) {
    os << t.getCorner(0) << ", " << t.getCorner(1) << ", " << t.getCorner(2);
}

}  // namespace

std::ostream& operator<<(std::ostream& os, const CTriangle& t) {
    const uint64 v0 = t.getCorner(0), v1 = t.getCorner(1), v2 = t.getCorner(2);
    os << "CTriangle (";
    printCorners(os, t);
    os << "): " << (t.isAlive() ? " bAlive=true, " : " bAlive=false, ")
       << (v0 != v1 && v1 != v2 && v0 != v2 ? "3 different corners\n" : "combinatorially degenerate\n");
    for (int i = 0; i < 3; ++i) {
        const CEdge* pCE = t.getCEdge(i);
        os << i << ": vcd=" << t.getCorner(i) << ", pCE=" << pCE->v0 << " - " << pCE->v1 << ", ";
        const CTriangle* pNeigT = pCE->getOtherTriangle(&t);
        if (pCE->getDegree() == 2 && pNeigT) {
            os << "degree 2, number " << t.getNumber() << ", pNeigT: ";
            printCorners(os, *pNeigT);
        } else {
            os << "degree " << pCE->getDegree();
        }
        os << "\n";
    }
    return os;
}

}  // namespace QUOR_ZEF
