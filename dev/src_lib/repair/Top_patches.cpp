#include <algorithm>
#include <iterator>

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

// vNew, which have their boundaries and come in order of making, and the earlier
// patches with equal boundaries, which have a triangle at the first edge of theirs.
std::vector<CPatch*> withOlderTwins(const std::vector<CPatch*>& vNew) {
    std::vector<CPatch*> vAll;
    for (const CPatch* pPatch : vNew) {
        if (pPatch->vOuterBoundary.empty()) continue;
        for (const CTriangle* pT : pPatch->vOuterBoundary[0]->triangles()) {
            CPatch* pOther = pT->getPatch();
            if (pOther->id >= vNew[0]->id || pOther->vOuterBoundary != pPatch->vOuterBoundary) continue;
            vAll.push_back(pOther);
        }
    }
    const auto byId = [](const CPatch* a, const CPatch* b) { return a->id < b->id; };
    std::sort(vAll.begin(), vAll.end(), byId);
    vAll.erase(std::unique(vAll.begin(), vAll.end()), vAll.end());
    vAll.insert(vAll.end(), vNew.begin(), vNew.end());
    return vAll;
}

// See Top::classifyPatches; all have their boundaries. Merging sorted runs
// compares a patch no more often, and no further, than it has boundary edges,
// times the number of rounds.
void sortOutPatches(std::vector<CPatch*> vSorted, std::vector<std::pair<CPatch*, CPatch*>>& vTwins,
                    std::vector<CPatch*>& vClosed, std::vector<CPatch*>& vOpen) {
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

}  // namespace

// The first pass looks at all patches. A later one can change only what the kills
// of the one before have made new, and patches with the same boundary as these:
// the others, the areas aside, are as they were when they were found in order.
void Top::repeatProcessPatches(bool bCareful, Progress* pProgress) {
    std::vector<CPatch*> vNew;
    std::optional<double> totalArea;
    pMesh->createPatches(vNew);
    while (passOverPatches(vNew, bCareful, totalArea)) {
        if (pProgress) pProgress->tick();
        vNew.clear();
        pMesh->renewPatches(vPassKilled, vNew);
    }
}

bool Top::processPatches(bool bCareful) {
    std::vector<CPatch*> vPatches;
    std::optional<double> totalArea;
    pMesh->createPatches(vPatches);
    return passOverPatches(vPatches, bCareful, totalArea);
}

bool Top::passOverPatches(const std::vector<CPatch*>& vNew, bool bCareful, std::optional<double>& totalArea) {
    Progress* pProgress = getProgress()->getChildProgressSetTodo("TP_pps", 100);
    vPassKilled.clear();
    pProgress->tick();
    std::vector<std::pair<CPatch*, CPatch*>> vTwins;
    std::vector<CPatch*> vClosed, vOpen;
    for (CPatch* pPatch : vNew) pPatch->setOuterBoundary();
    sortOutPatches(withOlderTwins(vNew), vTwins, vClosed, vOpen);
    pProgress->tick();
    bool bChanged = false;
    if (!vTwins.empty() && !totalArea) totalArea = pMesh->getTotalArea();
    for (const auto& [pPatch0, pPatch1] : vTwins)
        if (pPatch0->isAlive() && pPatch1->isAlive() && killTwinPatch(pPatch0, pPatch1, *totalArea)) bChanged = true;
    pProgress->tick();
    if (treatClosedPatches(vClosed, bCareful)) bChanged = true;
    if (totalArea)
        for (const CTriangle* pT : vPassKilled) *totalArea -= pT->getArea(pMesh);
    pProgress->tick();
    pProgress->finish(true);
    return bChanged;
}

void Top::classifyPatches(const std::vector<CPatch*>& vPatches, std::vector<std::pair<CPatch*, CPatch*>>& vTwins,
                          std::vector<CPatch*>& vClosed, std::vector<CPatch*>& vOpen) {
    std::vector<CPatch*> vAlive;
    for (CPatch* pPatch : vPatches) {
        if (!pPatch->isAlive()) continue;
        pPatch->setOuterBoundary();
        vAlive.push_back(pPatch);
    }
    sortOutPatches(std::move(vAlive), vTwins, vClosed, vOpen);
}

bool Top::killTwinPatch(CPatch* pPatch0, CPatch* pPatch1, double totalArea) {
    if (pPatch0->getSize() >= minLargeTwin || pPatch1->getSize() >= minLargeTwin) {
        const double area = pPatch0->getArea() + pPatch1->getArea();
        if (totalArea > 0.0 && area / totalArea > maxTwinArea) return false;
    }
    killPatch(pPatch0->getSize() < pPatch1->getSize() ? pPatch0 : pPatch1);
    return true;
}

bool Top::treatClosedPatches(std::vector<CPatch*>& vClosed, bool bCareful) {
    std::stable_sort(vClosed.begin(), vClosed.end(),
                     [](const CPatch* p0, const CPatch* p1) { return p0->getSize() < p1->getSize(); });
    bool bKilled = false;
    for (CPatch* pPatch : vClosed) {
        if (!pPatch->isAlive() || !pPatch->isClosed()) continue;
        if (pPatch->getSize() < minBody && !isAttached(*pPatch))
            killPatch(pPatch);
        else if (pPatch->splitClosedPatchKill(bCareful)) {
            bKilled = true;
            std::copy_if(pPatch->vT.begin(), pPatch->vT.end(), std::back_inserter(vPassKilled),
                         [](const CTriangle* pT) { return !pT->isAlive(); });
        }
    }
    return bKilled;
}

void Top::killPatch(CPatch* pPatch) {
    vPassKilled.insert(vPassKilled.end(), pPatch->vT.begin(), pPatch->vT.end());
    pPatch->kill();
}

}  // namespace QUOR_ZEF
