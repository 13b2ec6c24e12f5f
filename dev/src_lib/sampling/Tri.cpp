#include "sampling/Tri.h"

#include "frame/tools.h"
#include "geometry/freeFunctions.h"

namespace QUOR_ZEF {

namespace {

void showVector(const char* name, const Vector3& v) {
    showDetail(name, v.vx, " ", v.vy, " ", v.vz);
}

}  // namespace

Tri::Tri(const Point3* p0, const Point3* p1, const Point3* p2) : pVtx0(p0), pVtx1(p1), pVtx2(p2) {
    ASSEX(pVtx0<pVtx1 && pVtx1<pVtx2);
}

void Tri::getEdgePoints(int i, const Point3*& p1, const Point3*& p2) const {
    p1 = i == 1 ? pVtx1 : pVtx0;
    p2 = i == 0 ? pVtx1 : pVtx2;
}

Vector3 Tri::getNNV(const Point3* pA, const Point3* pB) {
    const auto isCorner = [&](const Point3* p) { return p == pVtx0 || p == pVtx1 || p == pVtx2; };
    ASSEX(isCorner(pA) && isCorner(pB) && pA!=pB);
    if (normal.isDegenerate()) computeNormal();
    const Point3* const pNext = pA == pVtx0 ? pVtx1 : pA == pVtx1 ? pVtx2 : pVtx0;
    return pB == pNext ? normal : normal * -1.0;
}

void Tri::computeNormal() {
    bool bOK = false;
    normal = triNormal(pVtx0, pVtx1, pVtx2, bOK);
    if (!bOK) {
        showDetail("uh, degenerate Tri");
        showVector("vec01=", *pVtx1 - *pVtx0);
        showVector("vec12=", *pVtx2 - *pVtx1);
    }
    ASSEX(bOK);
}

}  // namespace QUOR_ZEF
