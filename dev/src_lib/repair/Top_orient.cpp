#include <memory>

#include "frame/Progress.h"
#include "frame/Run.h"
#include "frame/tools.h"
#include "repair/Top.h"
#include "topology/CMesh.h"
#include "topology/CPatch.h"

namespace QUOR_ZEF {

namespace {

// Orients all that hangs together with pSeed across edges of degree 2, and calls
// onTriangle for it in the order of the flood. Triangles beside other edges come
// after all others that wait, so that the rim takes its direction from a solid region.
class OrientFlood {
public:
    template <class OnTriangle>
    void spreadFrom(CTriangle* pSeed, OnTriangle&& onTriangle) {
        vQueue.assign(1, pSeed);
        pSeed->bVisited = true;
        while (!vQueue.empty()) {
            // NOLINTNEXTLINE(modernize-loop-convert): spread() appends
            for (std::size_t i = 0; i < vQueue.size(); ++i) {
                onTriangle(vQueue[i]);
                spread(vQueue[i]);
            }
            vQueue.swap(vRim);
            vRim.clear();
        }
    }

private:
    void spread(const CTriangle* pT) {
        for (int i = 0; i < 3; ++i) {
            const CEdge* pCE = pT->getCEdge(i);
            if (pCE->getDegree() != 2) continue;
            CTriangle* pNeigT = pCE->getOtherTriangle(pT);
            if (pNeigT->bVisited) continue;
            pNeigT->bVisited = true;
            if (pNeigT->needFlip(pT)) pNeigT->flip();
            (pNeigT->isAllManifold() ? vQueue : vRim).push_back(pNeigT);
        }
    }

    std::vector<CTriangle*> vQueue, vRim;
};

}  // namespace

void Top::createPatchesOrient(std::vector<CTriangle*>& vT, std::vector<CPatch*>& vPatches) {
    ASSEX(vPatches.empty());
    for (CTriangle* pT : vT) pT->bVisited = false;
    OrientFlood flood;
    for (CTriangle* pT : vT) {
        if (!pT->isAlive() || pT->bVisited) continue;
        auto pPatch = std::make_unique<CPatch>(pMesh, pCalc);
        vPatches.push_back(pPatch.get());
        flood.spreadFrom(pT, [pPatch = pPatch.release()](CTriangle* pMember) { pPatch->addTriangle(pMember); });
    }
}

// Like createPatchesOrient(), for the orientation alone.
void Top::orientTriangles(Progress* pProgress) {
    pMesh->forEachTriangle([](CTriangle* pT) { pT->bVisited = false; });
    OrientFlood flood;
    std::size_t num = 0;
    const auto count = [&](const CTriangle*) {
        pollRun(++num);
        pProgress->tick();
    };
    pMesh->forEachTriangle([&](CTriangle* pT) {
        if (!pT->bVisited) flood.spreadFrom(pT, count);
    });
}

}  // namespace QUOR_ZEF
