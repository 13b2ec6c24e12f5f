#pragma once

#include <cstdint>
#include <iosfwd>

#include "frame/tools.h"
#include "frame/types.h"

namespace QUOR_ZEF {

class CEdge;
class CMesh;
class CPatch;
class Point3;

// A triangle of a CMesh: three different cells, whose order is its orientation.
// An ICI is the index of a corner in a triangle: 0, 1 or 2.
//
// It dies once, by kill(), and stays readable until CMesh::clear(), which ends it.
// Owner: its CMesh. Made by CMesh::createT only.
class CTriangle {
public:
    uint64 vcd;             // the grid corner that it stems from; 0 when made by a split
    std::int16_t config;    // 0 to 255, the case that it stems from; 0 when made by repair
    bool bVisited = false;  // mark of floods

    CTriangle(uint64 v0, uint64 v1, uint64 v2, uint64 vcd_, int config_, std::uint32_t number_)
        : vcd(vcd_), config(static_cast<std::int16_t>(config_)), number(number_), corner{v0, v1, v2} {}

    bool isAlive() const { return bAlive; }
    // Consecutive in the order of making, from 0 after each clear, dead ones
    // included: an index for flags beside the mesh, and what "earlier" means.
    std::uint32_t getNumber() const { return number; }

    uint64 getCorner(int ici) const { return corner[ici]; }
    bool hasCorner(uint64 v) const { return v == corner[0] || v == corner[1] || v == corner[2]; }
    // Index of the corner v; index, and code, of the corner that is neither a nor
    // b. Each fails an ASSEX if there is no such corner.
    int getICI(uint64 v) const;
    int getICI(uint64 a, uint64 b) const;
    uint64 getThirdCCD(uint64 a, uint64 b) const { return corner[getICI(a, b)]; }
    // Ascending.
    void getSortedCorners(uint64& c0_, uint64& c1_, uint64& c2_) const;

    // The edge opposite the corner; another index than 0, 1, 2 fails an ASSEX.
    CEdge* getCEdge(int ici) const;
    // True if an edge has exactly one triangle; if all three have exactly two.
    bool hasBorderEdge() const;
    bool isAllManifold() const;

    // The corner opposite the longest edge; ties go to corner 2, then to corner 0.
    int getLargestEdgeICI(const CMesh* pMesh) const;
    // Two corners at one position, or all three on one line.
    bool isDegenerate(const CMesh* pMesh) const;
    static bool isDegenerate(const Point3& p0, const Point3& p1, const Point3& p2);
    // In squared world units.
    double getArea(const CMesh* pMesh) const;

    // Takes the triangle out of its edges and fans. A second kill fails an ASSEX.
    void kill(CMesh* pMesh);
    // Turns the orientation: corners 1 and 2 change places.
    void flip();
    // Whether this and a triangle with a common edge run through it in one
    // direction, so that one of them lies the wrong way round. The first common
    // edge, in the order (0,1), (1,2), (2,0) of this triangle, decides; without a
    // common edge an ASSEX fails.
    bool needFlip(const CTriangle* pOther) const;

    // The patch that it was last put into, null if none; not owned.
    CPatch* getPatch() const { return pPatch; }
    void setPatch(CPatch* pNewPatch) { pPatch = pNewPatch; }

private:
    friend class CMesh;

    bool bAlive = true;
    std::uint32_t number;
    uint64 corner[3];
    CEdge* pCE[3] = {nullptr, nullptr, nullptr};  // the edges (0,1), (1,2), (0,2); the mesh owns them
    CPatch* pPatch = nullptr;
};

inline int CTriangle::getICI(uint64 v) const {
    for (int i = 0; i < 3; ++i)
        if (corner[i] == v) return i;
    ASSEX(false);
    return -1;
}

inline int CTriangle::getICI(uint64 a, uint64 b) const {
    for (int i = 0; i < 3; ++i)
        if (corner[i] != a && corner[i] != b) return i;
    ASSEX(false);
    return -1;
}

inline CEdge* CTriangle::getCEdge(int ici) const {
    if (ici == 0) return pCE[1];
    if (ici == 1) return pCE[2];
    if (ici == 2) return pCE[0];
    ASSEX(false);
    return nullptr;
}

// Millions of them: three quarters of the mesh's memory are these and the edges.
static_assert(sizeof(void*) != 8 || sizeof(CTriangle) == 72);

// Corners, state and edges with their neighbours, for messages; several lines.
std::ostream& operator<<(std::ostream& os, const CTriangle& t);

}  // namespace QUOR_ZEF
