#include "topology/CPatch.h"

#include <algorithm>
#include <optional>

#include "frame/Run.h"
#include "frame/tools.h"
#include "geometry/freeFunctions.h"
#include "grid/Calc.h"
#include "topology/CMesh.h"

namespace QUOR_ZEF {

CPatch::CPatch(CMesh* pMesh_, const Calc* pCalc_) : id(pMesh_->takePatchId()), pMesh(pMesh_), pCalc(pCalc_) {}

CPatch::~CPatch() {
    for (CTriangle* pT : vT)
        if (pT->getPatch() == this) pT->setPatch(nullptr);
}

void CPatch::addTriangle(CTriangle* pT) {
    vT.push_back(pT);
    pT->setPatch(this);
}

bool CPatch::isMember(const CTriangle* pT) const {
    return pT->isAlive() && pT->getPatch() == this;
}

namespace {

std::ptrdiff_t countMembers(const CPatch* pPatch, const CEdge* pCE) {
    const auto view = pCE->triangles();
    return std::count_if(view.begin(), view.end(), [&](const CTriangle* pT) { return pPatch->isMember(pT); });
}

}  // namespace

void CPatch::setOuterBoundary() {
    ASSEX(isAlive());
    vOuterBoundary.clear();
    for (const CTriangle* pT : vT) {
        if (!pT->isAlive()) continue;
        for (int i = 0; i < 3; ++i)
            if (countMembers(this, pT->getCEdge(i)) == 1) vOuterBoundary.push_back(pT->getCEdge(i));
    }
    std::sort(vOuterBoundary.begin(), vOuterBoundary.end(), edgeLess);
}

bool CPatch::isClosed() const {
    if (getSize() < 4) return false;
    std::size_t num = 0;
    for (const CTriangle* pT : vT) {
        pollRun(++num);
        if (!pT->isAlive()) continue;
        for (int i = 0; i < 3; ++i)
            if (countMembers(this, pT->getCEdge(i)) < 2) return false;
    }
    return true;
}

void CPatch::getEdges(std::vector<CEdge*>& vEdges) const {
    const auto numBefore = static_cast<std::ptrdiff_t>(vEdges.size());
    for (const CTriangle* pT : vT)
        if (pT->isAlive())
            for (int i = 0; i < 3; ++i) vEdges.push_back(pT->getCEdge(i));
    std::sort(vEdges.begin() + numBefore, vEdges.end(), edgeLess);
    vEdges.erase(std::unique(vEdges.begin() + numBefore, vEdges.end()), vEdges.end());
}

void CPatch::getVertices(std::vector<uint64>& vCCD) const {
    const auto numBefore = static_cast<std::ptrdiff_t>(vCCD.size());
    for (const CTriangle* pT : vT)
        if (pT->isAlive())
            for (int i = 0; i < 3; ++i) vCCD.push_back(pT->getCorner(i));
    std::sort(vCCD.begin() + numBefore, vCCD.end());
    vCCD.erase(std::unique(vCCD.begin() + numBefore, vCCD.end()), vCCD.end());
}

double CPatch::getArea() const {
    double area = 0.0;
    std::size_t num = 0;
    for (const CTriangle* pT : vT) {
        pollRun(++num);
        if (pT->isAlive()) area += pT->getArea(pMesh);
    }
    return area;
}

// Tetrahedra from a point of the patch itself, so that far coordinates cost no digits.
double CPatch::getVolume() const {
    const auto itFirst = std::find_if(vT.begin(), vT.end(), [](const CTriangle* pT) { return pT->isAlive(); });
    if (itFirst == vT.end()) return 0.0;
    const Point3 apex = pMesh->getAvgPoint((*itFirst)->getCorner(0));
    double volume = 0.0;
    for (auto it = itFirst; it != vT.end(); ++it) {
        pollRun(static_cast<std::size_t>(it - itFirst));
        if (!(*it)->isAlive()) continue;
        const Vector3 a = *pMesh->getVtx((*it)->getCorner(0)) - apex, b = *pMesh->getVtx((*it)->getCorner(1)) - apex,
                      c = *pMesh->getVtx((*it)->getCorner(2)) - apex;
        volume += a * cross(b, c) / 6.0;
    }
    return volume;
}

void CPatch::kill() {
    bAlive = false;
    for (CTriangle* pT : vT)
        if (pT->isAlive()) pT->kill(pMesh);
    vT.clear();
    vOuterBoundary.clear();
    mark = -1;
}

void CPatch::orientAll() {
    for (CTriangle* pT : vT) pT->bVisited = false;
    std::vector<CTriangle*> vStack;
    std::size_t num = 0;
    for (CTriangle* pSeed : vT) {
        if (!pSeed->isAlive() || pSeed->bVisited) continue;
        pSeed->bVisited = true;
        vStack.push_back(pSeed);
        while (!vStack.empty()) {
            pollRun(++num);
            const CTriangle* pT = vStack.back();
            vStack.pop_back();
            for (int i = 0; i < 3; ++i) {
                const CEdge* pCE = pT->getCEdge(i);
                if (pCE->getDegree() != 2) continue;
                CTriangle* pNeigT = pCE->getOtherTriangle(pT);
                if (!isMember(pNeigT) || pNeigT->bVisited) continue;
                if (pNeigT->needFlip(pT)) pNeigT->flip();
                pNeigT->bVisited = true;
                vStack.push_back(pNeigT);
            }
        }
        orientPatch();
    }
}

void CPatch::orientPatch() {
    // The topmost vertex; of several the one with the lowest code.
    const uint64 maskZ = getMask(2);
    std::optional<uint64> top;
    std::size_t num = 0;
    for (const CTriangle* pT : vT) {
        pollRun(++num);
        for (int i = 0; i < 3 && pT->isAlive(); ++i) {
            const uint64 ccd = pT->getCorner(i), z = ccd & maskZ, topZ = top.value_or(0) & maskZ;
            if (!top || z > topZ || (z == topZ && ccd < *top)) top = ccd;
        }
    }
    std::vector<CTriangle*> vTopT;
    if (top) pMesh->getIncidentTriangles(*top, vTopT);
    if (vTopT.empty()) {
        showOddity(where(__PRETTY_FUNCTION__, __LINE__), "reorientation failed");
        return;
    }
    Vector3 sum;
    for (const CTriangle* pT : vTopT) {
        const Point3 p0 = pCalc->getLowerCorner(pT->getCorner(0)), p1 = pCalc->getLowerCorner(pT->getCorner(1)),
                     p2 = pCalc->getLowerCorner(pT->getCorner(2));
        bool bOK = false;
        const Vector3 normal = triNormal(&p0, &p1, &p2, bOK);
        if (bOK) sum += normal;
    }
    if (!(sum.z() < 0.0)) return;
    for (CTriangle* pT : vT)
        if (pT->isAlive()) pT->flip();
}

}  // namespace QUOR_ZEF
