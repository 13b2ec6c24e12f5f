#include "topology/ConEdge.h"

#include "frame/tools.h"
#include "geometry/freeFunctions.h"
#include "topology/CEdge.h"
#include "topology/CMesh.h"
#include "topology/CPatch.h"
#include "topology/CTriangle.h"

namespace QUOR_ZEF {

namespace {

constexpr double noNormalScore = 90.0;
constexpr double severalScore = 181.0;  // after every angle

Vector3 normalOf(const CMesh* pMesh, const CTriangle* pT, bool& bOK) {
    return triNormal(pMesh->getVtx(pT->getCorner(0)), pMesh->getVtx(pT->getCorner(1)), pMesh->getVtx(pT->getCorner(2)),
                     bOK);
}

// The angle in degrees between two neighbours' normals as if they were oriented
// alike; false if one has none.
bool bendAngle(const CMesh* pMesh, const CTriangle* pT0, const CTriangle* pT1, double& angle) {
    bool bOK0 = false, bOK1 = false;
    const Vector3 n0 = normalOf(pMesh, pT0, bOK0);
    Vector3 n1 = normalOf(pMesh, pT1, bOK1);
    if (!bOK0 || !bOK1) return false;
    if (pT0->needFlip(pT1)) n1 *= -1.0;
    angle = getAngleDeg(n0, n1);
    return true;
}

}  // namespace

ConEdge::ConEdge(const CMesh* pMesh, CEdge* pEdge, const CPatch* pPatch)
    : pCE(pEdge), degree(pEdge->getDegree()), score(noNormalScore), bSameSide(true) {
    const int deg = degree;
    ASSEX(deg>1);
    for (CTriangle* pT : pCE->triangles())
        if (deg == 2 || pPatch->isMember(pT)) vMemT.push_back(pT);
    ASSEX(vMemT.size()>=2);
    if (vMemT.size() != 2) {
        ASSEX(vMemT.size()>2);
        score = severalScore;
        return;
    }
    bSameSide = deg == 2;
    double angle = 0.0;
    if (bendAngle(pMesh, vMemT[0], vMemT[1], angle)) score = bSameSide ? angle : 180.0 - angle;
}

}  // namespace QUOR_ZEF
