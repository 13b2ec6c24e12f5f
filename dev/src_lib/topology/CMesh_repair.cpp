#include <algorithm>
#include <sstream>
#include <tuple>

#include "frame/Progress.h"
#include "frame/tools.h"
#include "geometry/freeFunctions.h"
#include "grid/Calc.h"
#include "parallel/parallelGroups.h"
#include "topology/CMesh.h"

namespace QUOR_ZEF {

namespace {

constexpr double maxMove = 0.1;   // cells
constexpr double maxTurn = 90.0;  // degrees

// The angle in degrees by which the normal turns when corner ici moves: 360 if
// there is no normal afterwards, else -1 if there is none now.
double deviationAngle(const CMesh* pMesh, const CTriangle* pT, int ici, const Point3& target) {
    const Point3 *pA = pMesh->getVtx(pT->getCorner(ici)), *pB = pMesh->getVtx(pT->getCorner((ici + 1) % 3)),
                 *pC = pMesh->getVtx(pT->getCorner((ici + 2) % 3));
    bool bOldOK = false, bNewOK = false;
    const Vector3 newNormal = triNormal(&target, pB, pC, bNewOK);
    if (!bNewOK) return 360.0;
    const Vector3 oldNormal = triNormal(pA, pB, pC, bOldOK);
    return bOldOK ? getAngleDeg(oldNormal, newNormal) : -1.0;
}

// A triangle by its two upper corners.
struct Key {
    uint64 c1, c2;
    std::uint32_t number;

    bool operator<(const Key& k) const { return std::tie(c1, c2, number) < std::tie(k.c1, k.c2, k.number); }
};

constexpr std::size_t minChunk = 4096;  // vertices a thread

void showUnsplit(const CTriangle& t) {
    std::ostringstream text;
    text << "\n Not able to split: " << t;
    std::string line = text.str();
    line.pop_back();  // the line end
    showDetail(line);
}

}  // namespace

bool CMesh::canCollapse(uint64 src, uint64 trg) const {
    const auto srcFan = getFan(src), trgFan = getFan(trg);
    if (srcFan.empty() || trgFan.empty()) return false;
    for (const std::uint32_t number : srcFan) {
        const CTriangle* pT = triangles[number];
        if (pT->hasCorner(trg)) continue;  // dies in the collapse
        const int ici = pT->getICI(src);
        const uint64 next = pT->getCorner((ici + 1) % 3), previous = pT->getCorner((ici + 2) % 3);
        for (const std::uint32_t atTrg : trgFan)
            if (triangles[atTrg]->hasCorner(next) && triangles[atTrg]->hasCorner(previous)) return false;
    }
    return true;
}

bool CMesh::collapseEdgeToEndpoint(const CEdge* pCE, uint64 src, uint64 trg) {
    ASSEX((src==pCE->v0 && trg==pCE->v1) || (src==pCE->v1 && trg==pCE->v0));
    if (pCE->getDegree() == 0 || !canCollapse(src, trg)) return false;
    std::vector<CTriangle*> vIncT;
    getIncidentTriangles(src, vIncT);
    ASSEX(!vIncT.empty());
    for (CTriangle* pT : vIncT) {
        pT->kill(this);
        if (pT->hasCorner(trg)) continue;
        const int ici = pT->getICI(src);
        createT(trg, pT->getCorner((ici + 1) % 3), pT->getCorner((ici + 2) % 3), pT->vcd, 0);
    }
    return true;
}

bool CMesh::movesTooFar(uint64 vcd, const Point3& target) const {
    for (const std::uint32_t number : getFan(vcd)) {
        const CTriangle* pT = triangles[number];
        const double angle = deviationAngle(this, pT, pT->getICI(vcd), target);
        if (!(angle > maxTurn)) continue;
        showDetail("devAngle would be ", angle);
        return true;
    }
    return false;
}

bool CMesh::laplacianForOne(uint64 vcd) {
    std::vector<CEdge*> vEdges;
    getIncidentEdges(vcd, vEdges);
    if (vEdges.empty()) return false;
    double x = 0.0, y = 0.0, z = 0.0;
    for (const CEdge* pCE : vEdges) getVtx(pCE->getOtherVCD(vcd))->addOwnCoords(x, y, z);
    const auto num = static_cast<double>(vEdges.size());
    Point3* pVtx = getVtx(vcd);
    Vector3 move = Point3(x / num, y / num, z / num) - *pVtx;
    const double limit = maxMove * pCalc->getCellSize();
    const double length = move.length();
    if (length > limit) move *= limit / length;
    const Point3 target = *pVtx + move;
    if (movesTooFar(vcd, target)) return false;
    pVtx->set(target);
    return true;
}

// The fans of the lowest corners, vertices ascending, are already sorted by the
// first key, so that only a handful of triangles need sorting at a time.
int CMesh::killDuplicateTriangles(Progress* pProgress) {
    if (bUnique && numOrdered == triangles.size()) return 0;
    struct Part {
        std::vector<std::uint32_t> vOrder, vDoomed;
    };
    const std::vector<std::uint32_t> vVertices = getVerticesInOrder();
    const auto orderRange = [&](std::size_t begin, std::size_t end) {
        Part part;
        part.vOrder.reserve(3 * (end - begin));
        std::vector<Key> vKeys;
        for (std::size_t i = begin; i < end; ++i) {
            const uint64 lowest = pCells->getCode(vVertices[i]);
            vKeys.clear();
            for (const std::uint32_t number : adjacency.fan(vVertices[i])) {
                const uint64* pCorner = triangles[number]->corner;
                const uint64 c1 = pCorner[0] == lowest ? pCorner[1] : pCorner[0];
                const uint64 c2 = pCorner[2] == lowest ? pCorner[1] : pCorner[2];
                if (c1 > lowest && c2 > lowest) vKeys.push_back({std::min(c1, c2), std::max(c1, c2), number});
            }
            std::sort(vKeys.begin(), vKeys.end());
            for (std::size_t k = 0; k < vKeys.size(); ++k) {
                const bool bSame = k > 0 && vKeys[k - 1].c1 == vKeys[k].c1 && vKeys[k - 1].c2 == vKeys[k].c2;
                (bSame ? part.vDoomed : part.vOrder).push_back(vKeys[k].number);
            }
        }
        return part;
    };
    const auto vParts =
        parallelGroupResults<Part>(vVertices.size(), minChunk, orderRange, [pProgress](std::size_t num) {
            if (pProgress) pProgress->tick(num);
        });
    int numKilled = 0;
    vOrder.clear();
    vOrder.reserve(triangles.size());
    for (const Part& part : vParts) {
        vOrder.insert(vOrder.end(), part.vOrder.begin(), part.vOrder.end());
        for (const std::uint32_t number : part.vDoomed) triangles[number]->kill(this);
        numKilled += static_cast<int>(part.vDoomed.size());
    }
    numOrdered = triangles.size();
    bUnique = true;
    return numKilled;
}

void CMesh::splitDegenerateTriangles() {
    std::vector<CTriangle*> vWork;
    getAllTriangles(vWork);
    while (!vWork.empty()) {
        CTriangle* pT = vWork.back();
        vWork.pop_back();
        if (!pT->isAlive() || !pT->isDegenerate(this)) continue;
        const int ici = pT->getLargestEdgeICI(this);
        if (pT->getCEdge(ici)->trySplitNeigsKillT(this, pT, ici, vWork)) continue;
        showUnsplit(*pT);
        for (int i = 0; i < 3; ++i)
            if (laplacianForOne(pT->getCorner((ici + i) % 3))) break;
    }
}

}  // namespace QUOR_ZEF
