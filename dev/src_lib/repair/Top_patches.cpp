#include <algorithm>
#include <iterator>
#include <memory>

#include "frame/Progress.h"
#include "frame/Run.h"
#include "repair/Top.h"
#include "topology/CMesh.h"
#include "topology/CPatch.h"
#include "topology/CPatchBook.h"

namespace QUOR_ZEF {

namespace {

// A double wall is removed if both sides have fewer triangles, or if they are
// this part of the whole area; a larger one may be what was scanned.
constexpr std::size_t minLargeTwin = 21;
constexpr double maxTwinArea = 0.1;
// Smaller closed bodies that stand alone are noise.
constexpr std::size_t minBody = 7;

bool boundaryLess(const std::vector<CEdge*>& v0, const std::vector<CEdge*>& v1) {
    return std::lexicographical_compare(v0.begin(), v0.end(), v1.begin(), v1.end(),
                                        [](const CEdge* a, const CEdge* b) { return a != b && edgeLess(a, b); });
}

// Of two patches with the same boundary. The areas are asked for large ones only.
template <class GetArea, class GetTotalArea>
bool isDoubleWall(std::size_t size0, std::size_t size1, GetArea&& getArea, GetTotalArea&& getTotalArea) {
    if (size0 < minLargeTwin && size1 < minLargeTwin) return true;
    const double totalArea = getTotalArea();
    return !(totalArea > 0.0 && getArea() / totalArea > maxTwinArea);
}

// Whether a live member touches an edge with another degree than 2.
bool isAttached(const CPatch& patch) {
    return std::any_of(patch.vT.begin(), patch.vT.end(),
                       [](const CTriangle* pT) { return pT->isAlive() && !pT->isAllManifold(); });
}

// See Top::classifyPatches; all have their boundaries. Merging sorted runs
// compares a patch no more often, and no further, than it has boundary edges,
// times the number of rounds.
void sortOutPatches(std::vector<CPatch*> vSorted, std::vector<std::pair<CPatch*, CPatch*>>& vTwins,
                    std::vector<CPatch*>& vClosed, std::vector<CPatch*>& vOpen) {
    std::stable_sort(vSorted.begin(), vSorted.end(), [](const CPatch* p0, const CPatch* p1) {
        return boundaryLess(p0->vOuterBoundary, p1->vOuterBoundary);
    });
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

// Passes as Top::processPatches() makes them, but over one division that is kept
// up: the first looks at all patches, a later one at those that the last kills
// have touched. The others are as they were when they were left alone.
class PatchPasses {
public:
    explicit PatchPasses(Top* pTop_) : pTop(pTop_), pMesh(pTop->pMesh), book(pMesh), vNew(book.getPatches()) {}

    // True if there is to be another pass. What dies is listed, and the members of
    // closed patches are put in order, before the first kill changes the degrees.
    bool run(bool bCareful) {
        Progress* pProgress = getProgress()->getChildProgressSetTodo("TP_pps", 100);
        std::vector<Wall> vWalls;
        for (const Patch patch : vNew) findWalls(patch, vWalls);
        std::sort(vWalls.begin(), vWalls.end(), [](const Wall& a, const Wall& b) {
            return a.vBoundary != b.vBoundary ? boundaryLess(a.vBoundary, b.vBoundary) : a.rank < b.rank;
        });
        const std::vector<std::unique_ptr<CPatch>> vOwned = makeClosedPatches();
        std::vector<CTriangle*> vKilled;
        for (const auto& pPatch : vOwned) vKilled.insert(vKilled.end(), pPatch->vT.begin(), pPatch->vT.end());
        pProgress->tick();
        for (const Wall& wall : vWalls) {
            for (CTriangle* pT : wall.vT) pT->kill(pMesh);
            vKilled.insert(vKilled.end(), wall.vT.begin(), wall.vT.end());
        }
        pProgress->tick();
        std::vector<CPatch*> vClosed(vOwned.size());
        std::transform(vOwned.begin(), vOwned.end(), vClosed.begin(), [](const auto& pPatch) { return pPatch.get(); });
        const bool bChanged = pTop->treatClosedPatches(vClosed, bCareful) || !vWalls.empty();
        pProgress->tick();
        std::erase_if(vKilled, [](const CTriangle* pT) { return pT->isAlive(); });
        if (bChanged) book.renew(vKilled, vNew);
        pProgress->tick();
        pProgress->finish(true);
        return bChanged;
    }

private:
    using Patch = CPatchBook::Patch;

    // One side of a double wall, which is to go.
    struct Wall {
        std::vector<CTriangle*> vT;
        std::vector<CEdge*> vBoundary;
        std::size_t rank;  // among those with one boundary
    };

    // The walls among all patches with this one's boundary, if it is the first new one of them.
    void findWalls(Patch patch, std::vector<Wall>& vWalls) {
        book.getSameBoundary(patch, vSame);
        const auto isNew = [&](Patch p) { return std::binary_search(vNew.begin(), vNew.end(), p); };
        if (vSame.size() < 2 || *std::find_if(vSame.begin(), vSame.end(), isNew) != patch) return;
        Patch wall = none;
        for (std::size_t i = 1; i < vSame.size(); ++i) {
            const Patch p0 = vSame[i - 1], p1 = vSame[i];
            if (p0 == wall) continue;
            wall = none;
            if (!isDouble(p0, p1)) continue;
            const bool bFirst = book.getSize(p0) < book.getSize(p1);
            Wall found{{}, {}, i};
            book.getBoundary(bFirst ? p0 : p1, found.vBoundary);
            if (!book.isBoundary(bFirst ? p1 : p0, found.vBoundary)) continue;
            wall = bFirst ? p0 : p1;
            book.getTriangles(wall, found.vT);
            vWalls.push_back(std::move(found));
        }
    }

    bool isDouble(Patch p0, Patch p1) {
        return isDoubleWall(
            book.getSize(p0), book.getSize(p1), [&] { return book.getArea(p0) + book.getArea(p1); },
            [&] { return book.getTotalArea(); });
    }

    // Of the new patches those without a boundary, in order.
    std::vector<std::unique_ptr<CPatch>> makeClosedPatches() {
        std::vector<Patch> vClosed;
        std::copy_if(vNew.begin(), vNew.end(), std::back_inserter(vClosed),
                     [&](Patch patch) { return !book.hasBoundary(patch); });
        std::sort(vClosed.begin(), vClosed.end(), [&](Patch a, Patch b) { return book.isBefore(a, b); });
        std::vector<std::unique_ptr<CPatch>> vPatches;
        std::vector<CTriangle*> vT;
        for (const Patch patch : vClosed) {
            vT.clear();
            book.getTriangles(patch, vT);
            vPatches.push_back(std::make_unique<CPatch>(pMesh, pMesh->getCalc()));
            for (std::size_t i = 0; i < vT.size(); ++i) {
                pollRun(i + 1);
                vPatches.back()->addTriangle(vT[i]);
            }
        }
        return vPatches;
    }

    static constexpr Patch none = ~Patch{0};
    Top* pTop;
    CMesh* pMesh;
    CPatchBook book;
    std::vector<Patch> vNew;  // ascending; to be looked at in the next pass
    std::vector<Patch> vSame;
};

}  // namespace

void Top::repeatProcessPatches(bool bCareful, Progress* pProgress) {
    PatchPasses passes(this);
    while (passes.run(bCareful))
        if (pProgress) pProgress->tick();
}

bool Top::processPatches(bool bCareful) {
    Progress* pProgress = getProgress()->getChildProgressSetTodo("TP_pps", 100);
    std::vector<CPatch*> vPatches, vClosed, vOpen;
    pMesh->createPatches(vPatches);
    pProgress->tick();
    std::vector<std::pair<CPatch*, CPatch*>> vTwins;
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
    if (!isDoubleWall(
            pPatch0->getSize(), pPatch1->getSize(), [&] { return pPatch0->getArea() + pPatch1->getArea(); },
            [&] { return totalArea; }))
        return false;
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
