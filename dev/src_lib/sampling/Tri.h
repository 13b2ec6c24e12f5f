#pragma once

#include "zef/Point3.h"
#include "zef/Vector3.h"

namespace QUOR_ZEF {

// One input triangle. Its orientation is forgotten: the corners ascend by address,
// and a normal is always asked for in the sense of an edge.
struct Tri {
    const Point3 *pVtx0, *pVtx1, *pVtx2;  // not owned
    Vector3 normal;                       // by the right hand in this order; null until first asked for

    // Fails an ASSEX unless the addresses ascend.
    Tri(const Point3* p0, const Point3* p1, const Point3* p2);

    // The ends of edge i, the lower address first: 0 to 1, 1 to 2, 0 to 2.
    void getEdgePoints(int i, const Point3*& p1, const Point3*& p2) const;

    // The unit normal in the sense pA, pB, third corner. Both must be corners, and
    // the triangle must have a normal, or an ASSEX fails.
    Vector3 getNNV(const Point3* pA, const Point3* pB);

private:
    void computeNormal();
};

}  // namespace QUOR_ZEF
