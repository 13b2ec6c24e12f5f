#include "refine/REdge.h"

#include <utility>

#include "frame/tools.h"
#include "refine/RMesh.h"
#include "refine/RTriangle.h"
#include "refine/triangleAngles.h"

namespace QUOR_ZEF {

REdge::REdge(Point3* p0_, Point3* p1_, std::uint32_t number_) : p0(p0_), p1(p1_), number(number_) {
    ASSEX(p0_<p1_);
}

Point3* REdge::getVertex(int i) const {
    if (i == 0) return p0;
    if (i == 1) return p1;
    ASSEX(false);
    return nullptr;
}

Point3* REdge::getOtherPoint(const Point3* p) const {
    if (p == p0) return p1;
    if (p == p1) return p0;
    ASSEX(false);
    return nullptr;
}

void REdge::getLiveTriangles(std::vector<RTriangle*>& vT) const {
    vT.insert(vT.end(), triangles().begin(), triangles().end());
}

bool REdge::getTwoTriangles(RTriangle*& pRT0, RTriangle*& pRT1, bool bExact) const {
    const auto view = triangles();
    pRT0 = !view.empty() ? view[0] : nullptr;
    pRT1 = view.size() > 1 ? view[1] : nullptr;
    return bExact ? view.size() == 2 : view.size() >= 2;
}

RTriangle* REdge::getOtherTriangle(const RTriangle* pRT) const {
    RTriangle* pOther = nullptr;
    for (RTriangle* pHere : triangles()) {
        if (pHere == pRT) continue;
        if (pOther) return nullptr;
        pOther = pHere;
    }
    return pOther;
}

void REdge::checkOut(RTriangle* pRT) {
    if (vTriangles.remove(pRT)) return;
    showDetail("REdge::checkOut, triangle live state: ", pRT->isAlive());
    ASSEX(false);
}

namespace {

void checkOpposite(const Point3* v0, const Point3* v1) {
    if (v0 != v1) return;
    showDetail("-----------------------------");
    showDetail("REdge::flipEdge(), BUG:");
    for (const auto& [name, v] : {std::pair("v0=", v0), std::pair("v1=", v1)})
        showDetail(name, v->px, " ", v->py, " ", v->pz);
    ASSEX(false);
}

}  // namespace

REdge* REdge::tryFlipEdge(RMesh* pRMesh, RTriangle* pRT0, RTriangle* pRT1) {
    ASSEX(pRT1==0);
    if (!getTwoTriangles(pRT0, pRT1, true)) return nullptr;
    Point3* const v0 = pRT0->getThirdPoint(p0, p1);
    Point3* const v1 = pRT1->getThirdPoint(p0, p1);
    checkOpposite(v0, v1);
    if (pRMesh->hasLiveEdge(v0, v1)) return nullptr;
    if (isAngleDegenerate(*v0, *v1, *p0) || isAngleDegenerate(*v0, *v1, *p1)) return nullptr;
    Point3* const aEndpoints[2] = {p0, p1};
    const Point3* pNextVtx = pRT0->getCorner((pRT0->getICI(v0) + 1) % 3);
    pRT0->kill(pRMesh);
    pRT1->kill(pRMesh);
    if (pNextVtx == aEndpoints[0]) {
        pRT0 = pRMesh->createT(v0, p0, v1);
        pRMesh->createT(v1, p1, v0);
    } else {
        ASSEX(pNextVtx==aEndpoints[1]);
        pRT0 = pRMesh->createT(v1, p0, v0);
        pRMesh->createT(v0, p1, v1);
    }
    return pRT0->getRE(1);
}

}  // namespace QUOR_ZEF
