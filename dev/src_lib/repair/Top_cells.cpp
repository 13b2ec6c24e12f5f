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

// Sorts vCodes and appends those that occur exactly count times.
void appendRepeated(std::vector<uint64>& vCodes, std::ptrdiff_t count, std::vector<uint64>& vOut) {
    std::sort(vCodes.begin(), vCodes.end());
    for (auto it = vCodes.begin(); it != vCodes.end();) {
        const auto itEnd = std::find_if(it, vCodes.end(), [&](uint64 code) { return code != *it; });
        if (itEnd - it == count) vOut.push_back(*it);
        it = itEnd;
    }
}

void appendCornersAtBorder(const Calc& calc, const CEdge* pCE, std::vector<uint64>& vVCD) {
    const auto vT = pCE->triangles();
    ASSEX(vT.size()==1);
    std::vector<uint64> vVCD24;
    vVCD24.reserve(24);
    for (int i = 0; i < 3; ++i) appendCorners(calc, vT[0]->getCorner(i), vVCD24);
    ASSEX(vVCD24.size()==24);
    appendRepeated(vVCD24, 3, vVCD);
}

void appendCornersAtEdge(const Calc& calc, const CEdge* pCE, std::vector<uint64>& vVCD) {
    std::vector<uint64> vVCD16;
    vVCD16.reserve(16);
    appendCorners(calc, pCE->v0, vVCD16);
    appendCorners(calc, pCE->v1, vVCD16);
    appendRepeated(vVCD16, 2, vVCD);
}

}  // namespace

void Top::cbsComplete(Voro* pVoro) {
    Progress* pProgress = getProgress()->getChildProgressSetTodo("TP_cbcpl", 7);
    std::vector<CEdge*> vBorder, vFour;
    getBordersKillDeg1nn(vBorder);
    pProgress->tick();
    std::vector<uint64> vVCD;
    for (const CEdge* pCE : vBorder) appendCornersAtBorder(*pCalc, pCE, vVCD);
    pProgress->tick();
    pMesh->getDegN(4, vFour);
    pProgress->tick();
    for (const CEdge* pCE : vFour) appendCornersAtEdge(*pCalc, pCE, vVCD);
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
