#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "store/FewList.h"
#include "zef/Point3.h"

namespace QUOR_ZEF {

class RMesh;
class RTriangle;

// An edge of an RMesh: two vertices and the live triangles at both. It is alive
// while it has a triangle; one without stays in the mesh and can come back.
//
// The triangles are in order of coming, but one that leaves is replaced by the
// last. Owner: its RMesh, for the life of that. Made by RMesh::createT only.
class REdge {
public:
    // The ends, borrowed from the mesh. p0 has the lower number, which is the
    // lower address.
    Point3* p0;
    Point3* p1;

    // p0_ not below p1_ fails an ASSEX.
    REdge(Point3* p0_, Point3* p1_, std::uint32_t number_);
    REdge(const REdge&) = delete;
    REdge& operator=(const REdge&) = delete;

    // Consecutive in the order of making, from 0, dead ones included: the order of
    // edges wherever the mesh sorts them, and an index for arrays beside the mesh.
    std::uint32_t getNumber() const { return number; }

    // 0 or 1; anything else fails an ASSEX.
    Point3* getVertex(int i) const;
    // A point that is no end fails an ASSEX.
    Point3* getOtherPoint(const Point3* p) const;
    bool has(const Point3* p) const { return p == p0 || p == p1; }

    bool isAlive() const { return vTriangles.size() > 0; }
    // Live triangles: 1 is a border, 2 is manifold, more is non-manifold.
    int getDegree() const { return static_cast<int>(vTriangles.size()); }
    // The live triangles in order; valid until one comes or leaves.
    std::span<RTriangle* const> triangles() const { return vTriangles.view(); }
    // Appends them.
    void getLiveTriangles(std::vector<RTriangle*>& vT) const;
    // The first two, null where missing. True if there are exactly two, or, with
    // bExact false, at least two.
    bool getTwoTriangles(RTriangle*& pRT0, RTriangle*& pRT1, bool bExact) const;
    // The one triangle beside pRT; null if there is none or more than one.
    RTriangle* getOtherTriangle(const RTriangle* pRT) const;

    // Replaces the edge of two triangles by the other diagonal of their quad: both
    // die, and two new ones come, oriented like the first. Returns the new edge;
    // null, with nothing changed, if there are not exactly two triangles, if the
    // other diagonal is an edge already, or if a new triangle would be degenerate at
    // the first of its opposite corners. Null for both triangles: the edge's own; a
    // second one given fails an ASSEX, as do two triangles on the same corners.
    REdge* tryFlipEdge(RMesh* pRMesh, RTriangle* pRT0, RTriangle* pRT1);

    // For the mesh: appends. True when the edge takes memory from now on, so that
    // its destructor must run.
    bool checkIn(RTriangle* pRT) { return vTriangles.push(pRT); }
    // For RTriangle::kill: takes pRT out; the last triangle takes its place. A
    // triangle that is not here fails an ASSEX. Linear in the degree.
    void checkOut(RTriangle* pRT);
    // For a merge of two edges, after which this one is dead.
    void clearTriangles() { vTriangles.clear(); }

private:
    [[no_unique_address]] FewList<RTriangle> vTriangles;
    std::uint32_t number;
};

// One and a half of them a triangle.
static_assert(sizeof(void*) != 8 || sizeof(REdge) == 40);

// The order of creation.
inline bool edgeNumberLess(const REdge* a, const REdge* b) {
    return a->getNumber() < b->getNumber();
}

}  // namespace QUOR_ZEF
