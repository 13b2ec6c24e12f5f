#include "refine/REdgeEnergy.h"

#include <algorithm>
#include <cmath>

#include "frame/tools.h"
#include "geometry/freeFunctions.h"
#include "refine/RMesh.h"
#include "refine/colorDistance.h"
#include "refine/triangleAngles.h"

namespace QUOR_ZEF {

namespace {

const double cosLargeAngle = std::cos(130.0 * 3.14159 / 180.0);
const double cosHugeAngle = std::cos(160.0 * 3.14159 / 180.0);
constexpr double largeAnglePenalty = 0.1, hugeAnglePenalty = 1.0;
constexpr double lowEnergy = 0.1, lowEnergyPenalties = 10.0;  // below it the penalty counts this often again
constexpr double foldBend = 1.984807753;                      // 1 - cosine of a fold of 170 degrees

// Below one: many small bends cost more than one sharp bend of the same sum, so
// that bends gather on true creases.
constexpr double bendExponent = 0.335;

constexpr double minColorGain = 4.6, maxColorGain = 10.0;  // colour distances
constexpr double energyPerColorGain = 2.0;

constexpr double separation = 0.1;  // cells

double bendBetween(const Vector3& u, const Vector3& v) {
    return 1.0 - std::clamp(u * v, -1.0, 1.0);
}

double costOf(double length, double bend) {
    return std::pow(length * bend, bendExponent);
}

double colorBonus(const Point3& a, const Point3& b, const Point3& o0, const Point3& o1) {
    if (!o0.hasColor() || !o1.hasColor() || !a.hasColor() || !b.hasColor()) return 0.0;
    const double gain = double{colorDistance(a, b)} - double{colorDistance(o0, o1)} - minColorGain;
    if (!(gain > 0.0)) return 0.0;
    return energyPerColorGain * (gain < maxColorGain ? gain : maxColorGain);
}

}  // namespace

REdgeEnergy::REdgeEnergy(RMesh* pRMesh_, REdge* pRE_) : pRMesh(pRMesh_), pRE(pRE_) {
    ASSEX(pRMesh!=0);
    if (pRE) compute();
}

// False unless the edge has exactly two triangles.
bool REdgeEnergy::findFlip(Flip& f) const {
    if (!pRE->getTwoTriangles(f.pRT0, f.pRT1, true)) return false;
    f.ici0 = f.pRT0->getICI(pRE->p0, pRE->p1);
    f.ici1 = f.pRT1->getICI(pRE->p0, pRE->p1);
    f.pOppCorner0 = f.pRT0->getCorner(f.ici0);
    f.pOppCorner1 = f.pRT1->getCorner(f.ici1);
    f.pNext = f.pRT0->getCorner((f.ici0 + 1) % 3);
    f.pPrev = f.pRT0->getCorner((f.ici0 + 2) % 3);
    f.bTurned = f.pRT1->getCorner((f.ici1 + 1) % 3) == f.pNext;
    return true;
}

bool REdgeEnergy::needsRepair() const {
    Flip f;
    return findFlip(f) && f.pOppCorner0 != f.pOppCorner1 && (f.bTurned || *f.pOppCorner0 == *f.pOppCorner1);
}

void REdgeEnergy::repair() {
    Flip f;
    if (!findFlip(f)) return;
    if (f.bTurned) f.pRT1->reverse();
    bRepaired |= f.bTurned;
    const Point3 *pOppCorner0 = f.pOppCorner0, *pOppCorner1 = f.pOppCorner1;
    ASSEX(pOppCorner0!=pOppCorner1);
    if (*pOppCorner0 == *pOppCorner1 && !pRMesh->hasLiveEdge(pOppCorner0, pOppCorner1)) separate(f);
}

// The last resort writes the position directly: no place that is free has been
// found, so the mesh's look-up of positions stays as it was.
void REdgeEnergy::separate(const Flip& f) {
    bRepaired = true;
    const Point3 &p0 = *f.pOppCorner0, &px = *f.pOppCorner1;
    pRMesh->relaxVertex(f.pOppCorner0);
    pRMesh->relaxVertex(f.pOppCorner1);
    if (p0 != px) return;
    bool bOK = false;
    const Vector3 normal = f.pRT0->getNormal(&bOK);
    f.pOppCorner0->set(p0 + (bOK ? normal : Vector3(1.0, 0.0, 0.0)) * (pRMesh->cellSize * separation));
    for (const std::uint32_t number : pRMesh->getFan(&p0)) pRMesh->getTriangle(number)->resetNormal();
    ASSEX(p0!=px);
}

void REdgeEnergy::fillNormals(const Flip& f) {
    bool bOK = false;
    for (RTriangle* pRT : {f.pRT0, f.pRT1}) {
        pRT->getNormal(&bOK);
        for (int i = 0; i < 3; ++i)
            for (RTriangle* pNeig : pRT->getRE(i)->triangles()) pNeig->getNormal(&bOK);
    }
}

void REdgeEnergy::compute() {
    energy = refused;
    repair();
    Flip f;
    if (!findFlip(f)) return;
    fillNormals(f);
    if (!assess(f)) return;
    Sums sums{};
    sumBends(f, refused, nullptr, sums);
    energy = rate(f, sums);
}

bool REdgeEnergy::computeMayFlip() {
    repair();
    Flip f;
    if (!findFlip(f)) return false;
    bool bOK = false;
    f.pRT0->getNormal(&bOK);
    f.pRT1->getNormal(&bOK);
    return assess(f);
}

// The two triangles, with nothing to repair.
bool REdgeEnergy::isAsScored(std::uint32_t firstNew) const {
    const auto isOld = [firstNew](const RTriangle* pRT) { return pRT->getNumber() < firstNew; };
    return !bRepaired && pRE->getDegree() == 2 && std::ranges::all_of(pRE->triangles(), isOld) && !needsRepair();
}

bool REdgeEnergy::areSidesAsScored(std::uint32_t firstNew) const {
    const auto isOld = [firstNew](const RTriangle* pRT) { return pRT->getNumber() < firstNew; };
    for (const RTriangle* pRT : pRE->triangles())
        for (int i = 0; i < 3; ++i)
            if (!std::ranges::all_of(pRT->getRE(i)->triangles(), isOld)) return false;
    return true;
}

double REdgeEnergy::recompute(double scored, std::uint32_t firstNew) {
    Flip f;
    if (isAsScored(firstNew) && areSidesAsScored(firstNew) && findFlip(f) &&
        !pRMesh->hasLiveEdge(f.pOppCorner0, f.pOppCorner1)) {
        energy = scored;
    } else {
        compute();
    }
    return energy;
}

// Whether the other diagonal has come meanwhile, the flip itself finds out.
bool REdgeEnergy::recomputeMayFlip(std::uint32_t firstNew) {
    return isAsScored(firstNew) || computeMayFlip();
}

// Most edges are refused by their bends, so that the rest comes last. Penalties and further
// bends only lower the energy, rounding included, and no test changes another's result.
void REdgeEnergy::score(double least, const double* pBendCosts) {
    energy = refused;
    Flip f;
    Sums sums{};
    if (!findFlip(f) || f.pOppCorner0 == f.pOppCorner1 || !takeNormals(f) || !rateBends(f)) return;
    if (!sumBends(f, least, pBendCosts, sums)) return;
    if (rateAngles(f) && !pRMesh->hasLiveEdge(f.pOppCorner0, f.pOppCorner1)) energy = rate(f, sums);
}

double REdgeEnergy::bendCost(const REdge& edge) {
    RTriangle *pRT0 = nullptr, *pRT1 = nullptr;
    if (!edge.getTwoTriangles(pRT0, pRT1, true) || !pRT0->normal.isNV() || !pRT1->normal.isNV()) return noCost;
    const Vector3 normal = pRT1->normal * (pRT0->needFlip(pRT1) ? -1.0 : 1.0);
    return costOf((*edge.p1 - *edge.p0).length(), bendBetween(pRT0->normal, normal));
}

// False if the edge must not be flipped. Nothing here fails on any input, since
// workers come to these tests: where two triangles lie on the same corners, the
// opposite corners are one vertex, and that is refused as well.
bool REdgeEnergy::assess(Flip& f) const {
    if (f.pOppCorner0 == f.pOppCorner1 || pRMesh->hasLiveEdge(f.pOppCorner0, f.pOppCorner1)) return false;
    return takeNormals(f) && rateAngles(f) && rateBends(f);
}

// A null vector is no normal, nor is what overflow has left.
bool REdgeEnergy::takeNormals(Flip& f) const {
    f.vec0 = f.pRT0->normal;
    f.vec1 = f.pRT1->normal * (f.bTurned ? -1.0 : 1.0);
    if (!f.vec0.isNV() || !f.vec1.isNV()) return false;
    f.curLen = (*f.pNext - *f.pPrev).length();
    f.altLen = (*f.pOppCorner0 - *f.pOppCorner1).length();
    f.colorBonus = colorBonus(*f.pNext, *f.pPrev, *f.pOppCorner0, *f.pOppCorner1);
    return std::isfinite(f.curLen);
}

bool REdgeEnergy::rateAngles(Flip& f) const {
    const Point3 &o0 = *f.pOppCorner0, &o1 = *f.pOppCorner1, &a = *f.pNext, &b = *f.pPrev;
    f.penalty = 0.0;
    const double newInteriorCosPhi = std::min(cosWorstAngle(o0, o1, b), cosWorstAngle(o0, a, o1));
    if (newInteriorCosPhi == noCosine) return false;
    if (newInteriorCosPhi >= cosLargeAngle) return true;
    const double curInteriorCosPhi = std::min(cosWorstAngle(b, a, o1), cosWorstAngle(o0, a, b));
    if (curInteriorCosPhi == noCosine) return false;  // sides on the verge of what has a length
    ASSEX(curInteriorCosPhi>-1.7976931348623158e+308);
    if (curInteriorCosPhi > newInteriorCosPhi)
        f.penalty = newInteriorCosPhi < cosHugeAngle ? hugeAnglePenalty : largeAnglePenalty;
    return true;
}

bool REdgeEnergy::rateBends(Flip& f) const {
    const Vector3 &vec0 = f.vec0, &vec1 = f.vec1;
    bool bOK0 = false, bOK1 = false;
    const Vector3 altVec0 = triNormal(f.pOppCorner0, f.pNext, f.pOppCorner1, bOK0);
    const Vector3 altVec1 = triNormal(f.pOppCorner0, f.pOppCorner1, f.pPrev, bOK1);
    if (!altVec0.isNV() || !altVec1.isNV()) return false;
    ASSEX(altVec0.isNV() && altVec1.isNV());
    ASSEX(vec0.isNV() && vec1.isNV());
    f.altVec0 = altVec0;
    f.altVec1 = altVec1;
    f.altBend = bendBetween(altVec0, altVec1);
    f.curBend = bendBetween(vec0, vec1);
    return !(f.altBend > foldBend && f.altBend > f.curBend);
}

// Of the four edges around, those with exactly one triangle on the other side that has a
// normal; the others add nothing. Returns their number.
int REdgeEnergy::findSides(const Flip& f, Side* pSides) const {
    int num = 0;
    const auto add = [&](RTriangle* pRT, int ici, bool bTurned, const Vector3& cur, const Vector3& alt) {
        const REdge* pEdge = pRT->getRE(ici);
        const RTriangle* pNeig = pEdge->getOtherTriangle(pRT);
        if (!pNeig || !pNeig->normal.isNV()) return;
        const Vector3 normal = pNeig->normal * (pRT->needFlip(pNeig) != bTurned ? -1.0 : 1.0);
        pSides[num++] = {pEdge, (*pEdge->p1 - *pEdge->p0).length(), normal, &cur, &alt};
    };
    const int iciNext1 = (f.ici1 + (f.bTurned ? 1 : 2)) % 3;  // of pNext in pRT1
    const int iciPrev1 = (f.ici1 + (f.bTurned ? 2 : 1)) % 3;
    add(f.pRT0, (f.ici0 + 1) % 3, false, f.vec0, f.altVec1);
    add(f.pRT0, (f.ici0 + 2) % 3, false, f.vec0, f.altVec0);
    add(f.pRT1, iciPrev1, f.bTurned, f.vec1, f.altVec0);
    add(f.pRT1, iciNext1, f.bTurned, f.vec1, f.altVec1);
    return num;
}

// The edge and the four around it, before and after. False as soon as the energy is
// below the least. Kept costs have the bits of those found here: what they come from
// is the same from both sides of an edge but for signs, which cancel.
bool REdgeEnergy::sumBends(const Flip& f, double least, const double* pBendCosts, Sums& sums) const {
    Side sides[4];
    const int num = findSides(f, sides);
    sums.cur = pBendCosts ? pBendCosts[pRE->getNumber()] : costOf(f.curLen, f.curBend);
    for (int i = 0; i < num; ++i) {
        const Side& side = sides[i];
        sums.cur += pBendCosts ? pBendCosts[side.pEdge->getNumber()]
                               : costOf(side.length, bendBetween(side.normal, *side.pCur));
    }
    sums.alt = costOf(f.altLen, f.altBend);
    for (int i = 0; i < num; ++i) {
        if (rate(f, sums) < least) return false;
        sums.alt += costOf(sides[i].length, bendBetween(sides[i].normal, *sides[i].pAlt));
    }
    return true;
}

double REdgeEnergy::rate(const Flip& f, const Sums& sums) const {
    const double value = sums.cur - sums.alt - f.penalty + f.colorBonus;
    return value < lowEnergy ? value - lowEnergyPenalties * f.penalty : value;
}

}  // namespace QUOR_ZEF
