#include "repair/Top.h"

#include "frame/Progress.h"
#include "polygon/Voro.h"
#include "topology/CMesh.h"

namespace QUOR_ZEF {

namespace {

constexpr int meltFringe = 8;  // the largest that are removed, in triangles

constexpr uint64 numShownPasses = 5;

}  // namespace

Top::Top(CMesh* pMesh_, const Calc* pCalc_) : pMesh(pMesh_), pCalc(pCalc_) {}

const Rotx& Top::getRotx() {
    if (!rotx) rotx.emplace(pMesh, true);
    return *rotx;
}

void Top::run(Voro* pVoro, const Fringes& fringes) {
    removeCrossingsAndFlats();
    repeatProcessPatches(true, nullptr);
    cbsComplete(pVoro);
    killDegenerate();
    removeFringes(fringes.early);
    Progress* pProgress = getProgress()->getChildProgressSetTodo("TP_pps", numShownPasses);
    repeatProcessPatches(false, pProgress);
    pProgress->finish(true);
    orientAndFinish(fringes.final);
}

void Top::runMelt(Voro* pVoro) {
    unifyDiagonals();
    cbsComplete(pVoro);
    // Both rounds together leave twice as many non-manifold edges with these cells.
    pVoro->dropCellsWithoutBundle();
    cbsComplete(pVoro);
    std::vector<CEdge*> vBorder;
    getBordersKillDeg1nn(vBorder);
    for (CEdge* pCE : vBorder) integrateCCD(pCE);
    killTinyBorderPatches(meltFringe);
    repeatProcessPatches(true, nullptr);
    killTinyBorderPatches(meltFringe);
    pMesh->averageAllBundles();
    pMesh->splitDegenerateTriangles();
    separateEqualVertices();
}

void Top::removeCrossingsAndFlats() {
    Progress* pProgress = getProgress()->getChildProgressSetTodo("TP_unif", 2);
    unifyDiagonals();
    pProgress->tick();
    killDegenerate();
    pProgress->tick();
    pProgress->finish(true);
}

void Top::removeFringes(int largest) {
    Progress* pProgress = getProgress()->getChildProgressSetTodo("TP_itr", 3);
    std::vector<CEdge*> vBorder;
    getBordersKillDeg1nn(vBorder);
    pProgress->tick();
    for (CEdge* pCE : vBorder) integrateCCD(pCE);
    pProgress->tick();
    killTinyBorderPatches(largest);
    pProgress->tick();
    pProgress->finish(true);
}

void Top::orientAndFinish(int largestFringe) {
    // The triangles are oriented one by one; the two steps beside that take about as long as it.
    const uint64 numTriangles = pMesh->getNumTriangles();
    Progress* pProgress = getProgress()->getChildProgressSetTodo("TP_fin", expectedTicks(3 * numTriangles, 1));
    killTinyBorderPatches(largestFringe);
    pProgress->tick(numTriangles);
    orientTriangles(pProgress);
    removeEvilDeg3();
    pProgress->finish(true);
}

}  // namespace QUOR_ZEF
