#include "refine/RTriangle.h"

#include "frame/tools.h"
#include "geometry/freeFunctions.h"
#include "refine/RMesh.h"

namespace QUOR_ZEF {

void RTriangle::badCorner(int ici) {
    showError(where(__PRETTY_FUNCTION__, __LINE__), "RTriangle::getCorner, no corner " + std::to_string(ici));
    throwBug();
}

int RTriangle::getICI(const Point3* p) const {
    for (int i = 0; i < 3; ++i)
        if (corner[i] == p) return i;
    ASSEX(false);
    return -1;
}

int RTriangle::getICI(const Point3* a, const Point3* b) const {
    for (int i = 0; i < 3; ++i)
        if (corner[i] != a && corner[i] != b) return i;
    ASSEX(false);
    return -1;
}

REdge* RTriangle::getRE(int ici) const {
    if (static_cast<unsigned>(ici) > 2) [[unlikely]]
        ASSEX(false);
    return pRE[ici];
}

Vector3 RTriangle::getNormal(bool* pOK) {
    *pOK = true;
    if (normal.isDegenerate()) normal = triNormal(corner[0], corner[1], corner[2], *pOK);
    return normal;
}

bool RTriangle::needFlip(const RTriangle* pOther) const {
    for (int i = 0; i < 3; ++i) {
        const Point3 *a = corner[i], *b = corner[(i + 1) % 3];
        if (!pOther->hasCorner(a) || !pOther->hasCorner(b)) continue;
        return pOther->corner[(pOther->getICI(a) + 1) % 3] == b;
    }
    ASSEX(false);
    return false;
}

void RTriangle::reverse() {
    std::swap(corner[0], corner[1]);
    std::swap(pRE[0], pRE[1]);
    normal *= -1.0;
}

void RTriangle::setCorner(int ici, Point3* p) {
    ASSEX(ici>=0 && ici<3);
    corner[ici] = p;
    resetNormal();
}

double RTriangle::getCornerMoveAngle(int ici, const Point3* pTo, bool bCheckEqual) const {
    const Point3* k[3] = {corner[0], corner[1], corner[2]};
    if (bCheckEqual && (*pTo == *k[0] || *pTo == *k[1] || *pTo == *k[2])) return 0.0;
    bool bOldOK = false, bNewOK = false;
    const Vector3 oldNormal = triNormal(k[0], k[1], k[2], bOldOK);
    k[ici] = pTo;
    const Vector3 newNormal = triNormal(k[0], k[1], k[2], bNewOK);
    if (!bNewOK) return 360.0;
    return bOldOK ? getAngleDeg(oldNormal, newNormal) : -1.0;
}

void RTriangle::kill(RMesh* pRMesh) {
    ASSEX(bAlive);
    for (int i = 0; i < 3; ++i) getRE(i)->checkOut(this);
    pRMesh->unregisterTriangle(this);
    bAlive = false;
}

}  // namespace QUOR_ZEF
