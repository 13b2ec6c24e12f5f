#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "frame/types.h"
#include "store/FewList.h"

namespace QUOR_ZEF {

class CMesh;
class CTriangle;

// An edge of a CMesh: two cells and the live triangles that hold both.
// The order of edges is that of (v0, v1), both ascending; see edgeLess().
//
// The triangles are in order of coming, but one that leaves is replaced by the
// last. Owner: its CMesh, until CMesh::clear(); an edge without triangles stays.
// One or two triangles need no memory beside the record.
class CEdge {
public:
    const uint64 v0, v1;  // the end cells, v0 below v1

    // v0_ not below v1_ fails an ASSEX.
    CEdge(uint64 v0_, uint64 v1_, std::uint32_t number_ = 0);
    CEdge(const CEdge&) = delete;
    CEdge& operator=(const CEdge&) = delete;

    // Consecutive in the order of making, from 0 after each clear: an index for
    // flags beside the mesh.
    std::uint32_t getNumber() const { return number; }

    // Live triangles: 1 is a border, 2 is manifold, more is non-manifold.
    int getDegree() const { return static_cast<int>(vT.size()); }
    // The live triangles in order; valid until one comes or leaves.
    std::span<CTriangle* const> triangles() const { return vT.view(); }
    // Appends the live triangles in order.
    void getTriangles(std::vector<CTriangle*>& vOut) const;
    // The end that is not v. A v that is no end fails an ASSEX.
    uint64 getOtherVCD(uint64 v) const;
    // Whether a triangle here has these three corners, in any order.
    bool hasTriangle(uint64 a, uint64 b, uint64 c) const;
    // The first triangle. Fails an ASSEX if there is none and bExists is set, or
    // if there are several and bUnique is set; otherwise null without any.
    CTriangle* getTriangle(bool bExists, bool bUnique) const;
    // The first two, null where missing. True if there are exactly two, or, with
    // bExact false, at least two.
    bool getTwoTriangles(CTriangle*& pT0, CTriangle*& pT1, bool bExact) const;
    // The one triangle beside pT; null if there is none or more than one.
    CTriangle* getOtherTriangle(const CTriangle* pT) const;

    // For CMesh::createT: appends. True when the edge takes memory from now on,
    // so that its destructor must run.
    bool checkIn(CTriangle* pT) { return vT.push(pT); }
    // For CTriangle::kill: takes pT out; the last triangle takes its place. A
    // triangle that is not here fails an ASSEX. Linear in the degree.
    void checkOut(CTriangle* pT);

    // Removes the flat triangle pKillCT by moving its apex, corner ici, into this
    // edge: every other triangle here is split there, the new ones (vcd and config
    // 0, patch of the old one) are appended to vNew, and pKillCT dies. False, and
    // nothing is changed, if a triangle here or one to come has no normal or
    // turns by more than 90 degrees. Without other triangles it is a plain kill.
    bool trySplitNeigsKillT(CMesh* pMesh, CTriangle* pKillCT, int ici, std::vector<CTriangle*>& vNew);

private:
    [[no_unique_address]] FewList<CTriangle> vT;
    std::uint32_t number;
};

static_assert(sizeof(void*) != 8 || sizeof(CEdge) == 40);

inline bool edgeLess(const CEdge* a, const CEdge* b) {
    return a->v0 != b->v0 ? a->v0 < b->v0 : a->v1 < b->v1;
}

// Selects edges by how often they occur among the three edges of each live
// triangle of vT, and appends them in the order of edges. kind above 0: exactly
// kind times; -1: an odd number of times; -2: an even number; -3: 3 or more
// times; -4: an even number above 2. Any other kind fails an ASSEX. One sort.
void getAdjacentEdges(int kind, const std::vector<CTriangle*>& vT, std::vector<CEdge*>& vOut);

}  // namespace QUOR_ZEF
