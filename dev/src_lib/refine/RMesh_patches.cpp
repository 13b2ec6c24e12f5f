#include "frame/Progress.h"
#include "refine/RMesh.h"

namespace QUOR_ZEF {

void RMesh::orientPatches() {
    Progress* pProgress = getProgress()->getChildProgressSetTodo("RM_cpo", triangles.size());
    patches.reset();
    forEachTriangle([](RTriangle* pRT) {
        pRT->pPatch = nullptr;
        pRT->bVisited = false;
    });
    std::deque<RTriangle*> queue;
    forEachTriangle([&](RTriangle* pSeed) {
        if (!pSeed->bVisited) floodPatch(pSeed, patches.make(this), queue, pProgress);
    });
}

// Breadth first. The seed is not marked, so a neighbour may bring it once more;
// it agrees with that neighbour by then.
void RMesh::floodPatch(RTriangle* pSeed, RPatch* pPatch, std::deque<RTriangle*>& queue, Progress* pProgress) {
    queue.push_front(pSeed);
    while (!queue.empty()) {
        RTriangle* pRT = queue.back();
        queue.pop_back();
        pProgress->tick();
        pRT->pPatch = pPatch;
        for (int i = 0; i < 3; ++i) {
            const REdge* pRE = pRT->getRE(i);
            if (pRE->getDegree() != 2) continue;
            RTriangle* pNeig = pRE->getOtherTriangle(pRT);
            if (pNeig->bVisited) continue;
            queue.push_front(pNeig);
            if (pRT->needFlip(pNeig)) pNeig->reverse();
            pNeig->bVisited = true;
        }
    }
}

}  // namespace QUOR_ZEF
