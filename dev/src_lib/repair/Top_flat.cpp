#include <algorithm>
#include <set>
#include <tuple>

#include "frame/Rand15.h"
#include "frame/tools.h"
#include "grid/Calc.h"
#include "repair/Top.h"
#include "topology/CMesh.h"

namespace QUOR_ZEF {

namespace {

// A draw moves by up to 0.00999 cells along each axis.
constexpr int numSteps = 1000;
constexpr double stepsPerCell = 100000.0;
// Coordinates too large for the cells' size never come apart.
constexpr int maxDraws = 100;

struct Position {
    double x, y, z;
    uint64 ccd;
    Point3* pPoint;

    Position(uint64 ccd_, Point3* pPoint_)
        : x(pPoint_->px), y(pPoint_->py), z(pPoint_->pz), ccd(ccd_), pPoint(pPoint_) {}
    bool operator<(const Position& p) const { return std::tie(x, y, z, ccd) < std::tie(p.x, p.y, p.z, p.ccd); }
    bool sameAs(const Position& p) const { return x == p.x && y == p.y && z == p.z; }
};

using Coords = std::tuple<double, double, double>;

void jitter(Point3& p, Rand15& rand, double cellSize) {
    const auto draw = [&] { return (rand.next() % numSteps) / stepsPerCell * cellSize; };
    const double x = p.px + draw();
    const double y = p.py + draw();
    const double z = p.pz + draw();
    p = Point3(x, y, z);
}

}  // namespace

void Top::killDegenerate() {
    std::vector<CTriangle*> vT;
    pMesh->getDegenerateTriangles(vT);
    std::vector<CTriangle*> vNew;
    for (CTriangle* pT : vT) {
        if (!pT->isAlive() || !pT->isDegenerate(pMesh)) continue;
        const int ici = pT->getLargestEdgeICI(pMesh);
        CEdge* pCE = pT->getCEdge(ici);
        if (pCE->getDegree() == 1)
            pT->kill(pMesh);
        else if (!pCE->trySplitNeigsKillT(pMesh, pT, ici, vNew) && !moveACorner(pT, ici))
            showOddity(where(__PRETTY_FUNCTION__, __LINE__),
                       "No success of trySplitNeigsKillT() and laplacianForOne()");
    }
}

bool Top::moveACorner(const CTriangle* pT, int firstICI) {
    for (int i = 0; i < 3; ++i)
        if (pMesh->laplacianForOne(pT->getCorner((firstICI + i) % 3))) return true;
    return false;
}

void Top::separateEqualVertices() {
    std::vector<Position> vPositions;
    vPositions.reserve(pMesh->getCCDBundleMap()->size());
    pMesh->getCCDBundleMap()->forEach(
        [&](uint64 ccd, const Bundle* pBundle) { vPositions.emplace_back(ccd, pBundle->pPoint); });
    std::sort(vPositions.begin(), vPositions.end());
    Rand15 rand;
    for (auto it = vPositions.begin(); it != vPositions.end();) {
        const auto itEnd = std::find_if(it, vPositions.end(), [&](const Position& p) { return !p.sameAs(*it); });
        if (itEnd - it > 1) {
            std::set<Coords> sPoints;
            for (; it != itEnd; ++it) {
                Point3& p = *it->pPoint;
                for (int i = 0; !sPoints.emplace(p.px, p.py, p.pz).second && i < maxDraws; ++i)
                    jitter(p, rand, pCalc->getCellSize());
            }
        }
        it = itEnd;
    }
}

}  // namespace QUOR_ZEF
