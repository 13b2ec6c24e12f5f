#pragma once

#include <cstdint>

#include "zef/Vector3.h"

namespace QUOR_ZEF {

class Point3;
class REdge;
class RMesh;
class RTriangle;

// What a flip of an edge would bring: how much less the surface would bend at
// the edge and at the four edges around it, less a penalty for large angles, plus
// a bonus for an edge that comes to lie along a step of colour.
//
// To be used again: set pRE and call one of the functions below.
class REdgeEnergy {
public:
    // The energy of an edge that must not be flipped.
    static constexpr double refused = -1.7976931348623157e308;

    RMesh* pRMesh;  // not owned, never null
    REdge* pRE;     // the mesh's
    double energy = refused;

    // Computes the energy unless pRE_ is null.
    REdgeEnergy(RMesh* pRMesh_, REdge* pRE_);

    // Repairs what score() cannot work on, then scores. The edge's second triangle
    // is turned if it lies the other way round than the first; two opposite corners
    // at one position are moved apart. Both stay changed. One thread only.
    void compute();
    // Like compute(), but tells only whether the energy would not be `refused`.
    bool computeMayFlip();

    // The same for an edge that score() has not refused, if only flips and this object's repairs
    // have changed the mesh since, and triangles from firstNew on are new: an edge that has
    // none of these around is as it was. scored: the energy of then. Returns the energy;
    // whether a flip may succeed.
    double recompute(double scored, std::uint32_t firstNew);
    bool recomputeMayFlip(std::uint32_t firstNew);

    // For many threads at once: reads the mesh, its triangles' normals included, as
    // it is. A triangle without a kept normal counts as one that has none; one that
    // lies the other way round is scored as if it were turned.
    // least: what is certain to be below it may count as refused, which is faster.
    // pBendCosts: that of each edge by its number, from bendCost(); null to find them.
    void score(double least = refused, const double* pBendCosts = nullptr);
    // What an edge adds to the energies of the edges around it, as it is now; noCost unless
    // it has exactly two triangles with normals. For many threads, like score().
    static double bendCost(const REdge& edge);
    static constexpr double noCost = -1.0;
    // Whether repair() would change anything, as of now.
    bool needsRepair() const;
    // The first half of compute().
    void repair();

private:
    bool bRepaired = false;  // something has been, ever

    // Two triangles with a common edge, and the two that a flip would make of them.
    struct Flip {
        RTriangle *pRT0, *pRT1;
        int ici0, ici1;                     // of the corners opposite the edge
        Point3 *pOppCorner0, *pOppCorner1;  // these corners
        Point3 *pNext, *pPrev;              // the edge's ends: after and before pOppCorner0 in pRT0
        bool bTurned;                       // pRT1 lies the other way round
        double penalty = 0.0;               // for large angles
        double colorBonus;
        double curBend, altBend;               // 1 - cosine across the edge, now and after the flip
        double curLen, altLen;                 // of the edge
        Vector3 vec0, vec1, altVec0, altVec1;  // normals: of pRT0, pRT1, then the two new ones, at pNext and at pPrev
    };
    // One of the four edges around, with the triangle beyond it.
    struct Side {
        const REdge* pEdge;
        double length;
        Vector3 normal;              // of that triangle, turned to this side
        const Vector3 *pCur, *pAlt;  // normals of the Flip, on this side
    };
    struct Sums {
        double cur, alt;
    };

    bool findFlip(Flip& f) const;
    bool isAsScored(std::uint32_t firstNew) const;
    bool areSidesAsScored(std::uint32_t firstNew) const;
    bool assess(Flip& f) const;
    bool takeNormals(Flip& f) const;
    bool rateAngles(Flip& f) const;
    bool rateBends(Flip& f) const;
    double rate(const Flip& f, const Sums& sums) const;
    int findSides(const Flip& f, Side* pSides) const;
    bool sumBends(const Flip& f, double least, const double* pBendCosts, Sums& sums) const;
    void separate(const Flip& f);
    void fillNormals(const Flip& f);
};

}  // namespace QUOR_ZEF
