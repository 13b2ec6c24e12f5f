#include <algorithm>

#include "frame/Progress.h"
#include "repair/Top.h"
#include "topology/CMesh.h"
#include "topology/CPatch.h"

namespace QUOR_ZEF {

namespace {

// A double wall is removed if both sides have fewer triangles, or if they are
// this part of the whole area; a larger one may be what was scanned.
constexpr std::size_t minLargeTwin = 21;
constexpr double maxTwinArea = 0.1;
// Smaller closed bodies that stand alone are noise.
constexpr std::size_t minBody = 7;

bool boundaryLess(const CPatch* p0, const CPatch* p1) {
    return std::lexicographical_compare(p0->vOuterBoundary.begin(), p0->vOuterBoundary.end(),
                                        p1->vOuterBoundary.begin(), p1->vOuterBoundary.end(),
                                        [](const CEdge* a, const CEdge* b) { return a != b && edgeLess(a, b); });
}

// Whether a live member touches an edge with another degree than 2.
bool isAttached(const CPatch& patch) {
    return std::any_of(patch.vT.begin(), patch.vT.end(),
                       [](const CTriangle* pT) { return pT->isAlive() && !pT->isAllManifold(); });
}

}  // namespace

void Top::repeatProcessPatches(bool bCareful, Progress* pProgress) {
    while (processPatches(bCareful))
        if (pProgress) pProgress->tick();
}

bool Top::processPatches(bool bCareful) {
    Progress* pProgress = getProgress()->getChildProgressSetTodo("TP_pps", 100);
    std::vector<CPatch*> vPatches;
    pMesh->createPatches(vPatches);
    pProgress->tick();
    std::vector<std::pair<CPatch*, CPatch*>> vTwins;
    std::vector<CPatch*> vClosed, vOpen;
    classifyPatches(vPatches, vTwins, vClosed, vOpen);
    pProgress->tick();
    bool bChanged = false;
    const double totalArea = vTwins.empty() ? 0.0 : pMesh->getTotalArea();
    for (const auto& [pPatch0, pPatch1] : vTwins)
        if (pPatch0->isAlive() && pPatch1->isAlive() && killTwinPatch(pPatch0, pPatch1, totalArea)) bChanged = true;
    pProgress->tick();
    if (treatClosedPatches(vClosed, bCareful)) bChanged = true;
    pProgress->tick();
    pProgress->finish(true);
    return bChanged;
}

// Merging sorted runs compares a patch no more often, and no further, than it
// has boundary edges, times the number of rounds.
void Top::classifyPatches(const std::vector<CPatch*>& vPatches, std::vector<std::pair<CPatch*, CPatch*>>& vTwins,
                          std::vector<CPatch*>& vClosed, std::vector<CPatch*>& vOpen) {
    std::vector<CPatch*> vSorted;
    for (CPatch* pPatch : vPatches) {
        if (!pPatch->isAlive()) continue;
        pPatch->setOuterBoundary();
        vSorted.push_back(pPatch);
    }
    std::stable_sort(vSorted.begin(), vSorted.end(), boundaryLess);
    for (std::size_t i = 0; i < vSorted.size(); ++i) {
        CPatch* pPatch = vSorted[i];
        if (pPatch->vOuterBoundary.empty())
            vClosed.push_back(pPatch);
        else if (i + 1 < vSorted.size() && vSorted[i + 1]->vOuterBoundary == pPatch->vOuterBoundary)
            vTwins.emplace_back(pPatch, vSorted[i + 1]);
        else
            vOpen.push_back(pPatch);
    }
}

bool Top::killTwinPatch(CPatch* pPatch0, CPatch* pPatch1, double totalArea) {
    if (pPatch0->getSize() >= minLargeTwin || pPatch1->getSize() >= minLargeTwin) {
        const double area = pPatch0->getArea() + pPatch1->getArea();
        if (totalArea > 0.0 && area / totalArea > maxTwinArea) return false;
    }
    (pPatch0->getSize() < pPatch1->getSize() ? pPatch0 : pPatch1)->kill();
    return true;
}

bool Top::treatClosedPatches(std::vector<CPatch*>& vClosed, bool bCareful) {
    std::stable_sort(vClosed.begin(), vClosed.end(),
                     [](const CPatch* p0, const CPatch* p1) { return p0->getSize() < p1->getSize(); });
    bool bKilled = false;
    for (CPatch* pPatch : vClosed) {
        if (!pPatch->isAlive() || !pPatch->isClosed()) continue;
        if (pPatch->getSize() < minBody && !isAttached(*pPatch))
            pPatch->kill();
        else if (pPatch->splitClosedPatchKill(bCareful))
            bKilled = true;
    }
    return bKilled;
}

}  // namespace QUOR_ZEF
