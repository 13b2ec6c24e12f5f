#include "frame/tools.h"
#include "topology/CMesh.h"
#include "topology/CPatch.h"

namespace QUOR_ZEF {

template <class IsBarrier, class NoteFan>
void CMesh::dividePatches(std::vector<CPatch*>& vNewPatches, IsBarrier&& isBarrier, NoteFan&& noteFan) {
    endPatches();
    forEachTriangle([](CTriangle* pT) {
        pT->setPatch(nullptr);
        pT->bVisited = false;
    });
    forEachTriangle([&](CTriangle* pT) {
        if (pT->bVisited) return;
        vPatches.push_back(std::make_unique<CPatch>(this, pCalc));
        vNewPatches.push_back(vPatches.back().get());
        floodPatch(vPatches.back().get(), pT, isBarrier, noteFan);
    });
}

template <class IsBarrier, class NoteFan>
void CMesh::floodPatch(CPatch* pPatch, CTriangle* pSeed, IsBarrier&& isBarrier, NoteFan&& noteFan) {
    pSeed->bVisited = true;
    vStack.assign(1, pSeed);
    while (!vStack.empty()) {
        CTriangle* pT = vStack.back();
        vStack.pop_back();
        pPatch->addTriangle(pT);
        for (int i = 0; i < 3; ++i) {
            CEdge* pCE = pT->getCEdge(i);
            ASSEX(pCE!=0);
            if (pCE->getDegree() > 2) {
                noteFan(pPatch, pT, i, pCE);
                continue;
            }
            if (isBarrier(pCE)) continue;
            for (CTriangle* pNeigT : pCE->triangles()) {
                if (pNeigT->bVisited) continue;
                pNeigT->bVisited = true;
                vStack.push_back(pNeigT);
            }
        }
    }
}

void CMesh::createPatches(std::set<CEdge*>* pBarrier, std::vector<CPatch*>& vNewPatches,
                          std::map<uint64, CPatch*>& mThird, std::vector<CEdge*>& vFanEdges) {
    dividePatches(
        vNewPatches, [&](CEdge* pCE) { return pBarrier && pBarrier->count(pCE) != 0; },
        [&](CPatch* pPatch, const CTriangle* pT, int ici, CEdge* pCE) {
            vFanEdges.push_back(pCE);
            mThird[pT->getCorner(ici)] = pPatch;
        });
}

void CMesh::createPatches(std::vector<CPatch*>& vNewPatches) {
    dividePatches(
        vNewPatches, [](CEdge*) { return false; }, [](CPatch*, const CTriangle*, int, CEdge*) {});
}

void CMesh::endPatches() {
    while (!vPatches.empty()) vPatches.pop_back();
}

std::vector<std::uint8_t>& CMesh::getScratchFlags() {
    if (vScratchFlags.size() < triangles.size()) vScratchFlags.resize(triangles.size(), 0);
    return vScratchFlags;
}

}  // namespace QUOR_ZEF
