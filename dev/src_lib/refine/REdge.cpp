#include "refine/REdge.h"

#include <iostream>

#include "frame/tools.h"
#include "refine/RTriangle.h"

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
    std::cout << "REdge::checkOut, triangle live state: " << pRT->isAlive() << std::endl;
    ASSEX(false);
}

}  // namespace QUOR_ZEF
