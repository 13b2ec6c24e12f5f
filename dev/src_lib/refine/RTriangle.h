#pragma once

#include <cstdint>
#include <utility>

#include "refine/REdge.h"
#include "zef/Point3.h"
#include "zef/Vector3.h"

namespace QUOR_ZEF {

class RMesh;
class RPatch;

// A triangle of an RMesh: three different vertices, whose order is its
// orientation. An ICI is the index of a corner in a triangle: 0, 1 or 2.
//
// It dies once, by kill(), and stays readable as long as its mesh.
// Owner: its RMesh. Made by RMesh::createT only.
class RTriangle {
public:
    // Unit normal, kept from the last getNormal(); null when unknown. Whoever moves
    // a vertex without RMesh::updateVertex calls resetNormal() of its triangles.
    Vector3 normal;
    RPatch* pPatch = nullptr;  // as of the last RMesh::orientPatches(), which owns it
    bool bVisited = false;     // mark of RMesh::orientPatches()

    RTriangle(Point3* a, Point3* b, Point3* c, std::uint32_t number_) : corner{a, b, c}, number(number_) {}
    RTriangle(const RTriangle&) = delete;
    RTriangle& operator=(const RTriangle&) = delete;

    bool isAlive() const { return bAlive; }
    // Consecutive in the order of making, from 0, dead ones included: the order of
    // triangles, and an index for arrays beside the mesh.
    std::uint32_t getNumber() const { return number; }

    // An index above 2 writes a line that names the function, and throws a
    // ZefBugException.
    Point3* getCorner(int ici) const {
        if (static_cast<unsigned>(ici) > 2) [[unlikely]]
            badCorner(ici);
        return corner[ici];
    }
    bool hasCorner(const Point3* p) const { return p == corner[0] || p == corner[1] || p == corner[2]; }
    // Index of the corner p; index, and vertex, of the first corner that is neither
    // a nor b. Each fails an ASSEX if there is no such corner.
    int getICI(const Point3* p) const;
    int getICI(const Point3* a, const Point3* b) const;
    Point3* getThirdPoint(const Point3* a, const Point3* b) const { return corner[getICI(a, b)]; }

    // The edge opposite the corner, not the one that starts there: 0 is the edge of
    // corners 1 and 2. Another index than 0, 1, 2 fails an ASSEX.
    REdge* getRE(int ici) const;

    // The unit normal by the right hand, computed where it is not known yet. *pOK is
    // false, and the result the null vector, for equal corners or corners on one
    // line. Writes `normal`, so in parallel code fill it beforehand.
    Vector3 getNormal(bool* pOK);
    void resetNormal() { normal = Vector3(); }
    // Whether this and a triangle with a common edge run through it in one
    // direction, so that one of them lies the wrong way round. The first common
    // edge, in the order (0,1), (1,2), (2,0) of this triangle, decides; without a
    // common edge an ASSEX fails.
    bool needFlip(const RTriangle* pOther) const;
    // Turns the orientation: corners 0 and 1 change places.
    void reverse();
    // Replaces a corner, and forgets the normal. Edges and fans are the caller's.
    void setCorner(int ici, Point3* p);
    // The angle in degrees by which the normal turns if corner ici moves to pTo:
    // 360 if there is no normal afterwards, else -1 if there is none now. With
    // bCheckEqual, 0 if pTo has the position of any corner.
    double getCornerMoveAngle(int ici, const Point3* pTo, bool bCheckEqual) const;

    // Takes the triangle out of its edges and fans. A second kill fails an ASSEX.
    void kill(RMesh* pRMesh);

private:
    friend class RMesh;

    [[noreturn]] static void badCorner(int ici);

    Point3* corner[3];                            // the mesh owns them
    REdge* pRE[3] = {nullptr, nullptr, nullptr};  // each opposite the corner of its index; the mesh owns them
    std::uint32_t number;
    bool bAlive = true;
};

// Millions of them: with its edges and the look-up a triangle takes some 245 bytes.
static_assert(sizeof(RTriangle) <= 96);

}  // namespace QUOR_ZEF
