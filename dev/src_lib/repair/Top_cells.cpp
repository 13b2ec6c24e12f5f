#include <algorithm>

#include "frame/Progress.h"
#include "frame/tools.h"
#include "grid/Calc.h"
#include "polygon/Voro.h"
#include "repair/Top.h"
#include "topology/CMesh.h"

namespace QUOR_ZEF {

namespace {

void appendCorners(const Calc& calc, uint64 ccd, std::vector<uint64>& vVCD) {
    uint64 codes[8] = {ccd};
    calc.getVCDsOfCCD(codes);
    vVCD.insert(vVCD.end(), std::begin(codes), std::end(codes));
}

// vCodes: the corners of numCells cells, eight of each. Appends those that all share.
void appendShared(const std::vector<uint64>& vCodes, std::ptrdiff_t numCells, std::vector<uint64>& vOut) {
    for (std::size_t i = 0; i < 8; ++i)
        if (std::count(vCodes.begin(), vCodes.end(), vCodes[i]) == numCells) vOut.push_back(vCodes[i]);
}

}  // namespace

void Top::cbsComplete(Voro* pVoro) {
    Progress* pProgress = getProgress()->getChildProgressSetTodo("TP_cbcpl", 7);
    std::vector<CEdge*> vBorder, vFour;
    getBordersKillDeg1nn(vBorder);
    pProgress->tick();
    std::vector<uint64> vVCD;
    std::vector<uint64> vVCD24;
    for (const CEdge* pCE : vBorder) {
        const auto vT = pCE->triangles();
        ASSEX(vT.size()==1);
        vVCD24.clear();
        for (int i = 0; i < 3; ++i) appendCorners(*pCalc, vT[0]->getCorner(i), vVCD24);
        ASSEX(vVCD24.size()==24);
        appendShared(vVCD24, 3, vVCD);
    }
    pProgress->tick();
    pMesh->getDegN(4, vFour);
    pProgress->tick();
    std::vector<uint64> vVCD16;
    for (const CEdge* pCE : vFour) {
        vVCD16.clear();
        appendCorners(*pCalc, pCE->v0, vVCD16);
        appendCorners(*pCalc, pCE->v1, vVCD16);
        appendShared(vVCD16, 2, vVCD);
    }
    std::sort(vVCD.begin(), vVCD.end());
    vVCD.erase(std::unique(vVCD.begin(), vVCD.end()), vVCD.end());
    pMesh = pVoro->borderFix(vVCD);
    pProgress->tick();
    pMesh->averageAllBundles();
    pProgress->tick();
    unifyDiagonals();
    pProgress->tick();
    pProgress->finish(true);
}

}  // namespace QUOR_ZEF
