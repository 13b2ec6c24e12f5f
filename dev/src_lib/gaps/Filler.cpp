#include "gaps/Filler.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <numeric>
#include <queue>
#include <string>

#include "frame/Progress.h"
#include "frame/stageCosts.h"
#include "frame/tools.h"
#include "gaps/BorderSearch.h"
#include "gaps/CellBox.h"
#include "grid/codeSets.h"
#include "parallel/concurrency.h"
#include "parallel/parallelTransform.h"
#include "parallel/sortMT.h"

namespace QUOR_ZEF {

namespace {

constexpr int maxAffiliation = 150;      // cells
constexpr std::size_t maxSmallSize = 4;  // cells of a small Component

// The search widens its radius from 10 by 5 while it is below maxDist.
int lastRadius(int maxDist) {
    return maxDist > 10 ? 10 + (maxDist - 11) / 5 * 5 : 0;
}

std::int64_t dist2Of(const AffiData& a, const AffiData& b) {
    const GridCoords p = unpackRCD(a.rcd), q = unpackRCD(b.rcd);
    const auto square = [](uint64 c0, uint64 c1) {
        const std::int64_t d = static_cast<std::int64_t>(c0) - static_cast<std::int64_t>(c1);
        return d * d;
    };
    return square(p.x, q.x) + square(p.y, q.y) + square(p.z, q.z);
}

float distOf(const AffiData& a, const AffiData& b) {
    return std::sqrt(static_cast<float>(dist2Of(a, b)));
}

// How much a pair of cells speaks for equal sides (above 0) or swapped ones, by
// the directions in which the facets around the cells look.
float evidenceOf(const AffiData& a, const AffiData& b) {
    int aLower0[numDirs], aUpper0[numDirs], aLower1[numDirs], aUpper1[numDirs];
    a.pComponent->getOrientationCount(a.rcd, aLower0, aUpper0);
    b.pComponent->getOrientationCount(b.rcd, aLower1, aUpper1);
    int same = 0, opposite = 0;
    for (int dir = 0; dir < numDirs; ++dir) {
        same += std::min(aLower0[dir], aLower1[dir]) + std::min(aUpper0[dir], aUpper1[dir]);
        opposite += std::min(aLower0[dir], aUpper1[dir]) + std::min(aUpper0[dir], aLower1[dir]);
    }
    const float weight = std::max(100.0F - distOf(a, b), 0.1F);
    return static_cast<float>(same - opposite) * weight;
}

double scoreOf(const Component& component) {
    double score = 0.0;
    for (const ConnectionStruct* pConnection : component.vConnections) score += pConnection->score;
    return score;
}

Component* otherEnd(const ConnectionStruct& connection, const Component* pComponent) {
    return connection.pComponent0 == pComponent ? connection.pComponent1 : connection.pComponent0;
}

// The growth steps that close any hole between the cells: half the diagonal of their box, and one more.
int stepsWithin(const std::vector<Component*>& vGroup) {
    constexpr double spare = 1.0;
    CellBox box(vGroup.front()->vCellRCD.front());
    for (const Component* pComponent : vGroup) {
        for (const uint64 rcd : pComponent->vCellRCD) box.add(rcd);
    }
    return static_cast<int>(box.diagonal().length() / 2.0 + spare);
}

// fn(i, worker) for each of these sizes, side by side, large ones first. What they show comes in their order.
template <class Fn>
void runLargestFirst(const std::vector<std::size_t>& vSizes, const Fn& fn) {
    std::vector<std::size_t> vOrder(vSizes.size());
    std::iota(vOrder.begin(), vOrder.end(), 0);
    std::stable_sort(vOrder.begin(), vOrder.end(), [&](std::size_t i, std::size_t k) { return vSizes[i] > vSizes[k]; });
    std::vector<std::vector<std::string>> vShown(vSizes.size());
    shareTasks(vOrder.size(), [&](std::size_t place, int worker) {
        const std::size_t i = vOrder[place];
        const DetailKeeper keeper(vShown[i]);
        fn(i, worker);
    });
    for (const std::vector<std::string>& vLines : vShown) {
        for (const std::string& line : vLines) showDetail(line);
    }
}

// Components by falling key; equal keys in the order of insertion.
class Queue {
public:
    struct Entry {
        double key;
        std::uint64_t sequence;
        Component* pComponent;
        bool operator<(const Entry& e) const { return key != e.key ? key < e.key : sequence > e.sequence; }
    };

    bool empty() const { return heap.empty(); }
    void push(double key, Component* pComponent) { heap.push({key, numPushed++, pComponent}); }
    Entry pop() {
        const Entry entry = heap.top();
        heap.pop();
        return entry;
    }

private:
    std::priority_queue<Entry> heap;
    std::uint64_t numPushed = 0;
};

}  // namespace

Filler::Filler(int givenGrowSteps, std::vector<uint64>& vBorderRCD, const std::vector<uint64>& vAreaRCD,
               const CodePoints& vRCDPoint, const Calc* pGivenCalc)
    : numGrowSteps(givenGrowSteps),
      pvGlobalBorderRCD(&vBorderRCD),
      vGlobalAreaRCD(vAreaRCD),
      pvGlobalRCDPoint(&vRCDPoint),
      pCalc(pGivenCalc) {
    const std::vector<uint64>& vGlobalBorderRCD = *pvGlobalBorderRCD;
    const CodePoints& vGlobalRCDPoint = *pvGlobalRCDPoint;
    sortUniqueMT(*pvGlobalBorderRCD);
    sortUniqueMT(vGlobalAreaRCD);
    if (vGlobalAreaRCD.size() + vGlobalBorderRCD.size() != vGlobalRCDPoint.size()) {
        showDetail("vGlobalAreaRCD.size()=", vGlobalAreaRCD.size());
        showDetail("vGlobalBorderRCD.size()=", vGlobalBorderRCD.size());
        showDetail("vGlobalRCDPoint.size()=", vGlobalRCDPoint.size());
    }
    ASSEX(vGlobalAreaRCD.size()+vGlobalBorderRCD.size()==vGlobalRCDPoint.size());
}

void Filler::fill(CodePoints& vOut) {
    joinPieces();
    growComponents(vOut);
}

void Filler::joinPieces() {
    createComponents();
    AffiPairs vPairs;
    determineAffiliation(maxAffiliation, vPairs);
    if (bKeepStackedApart) dropStacked(vPairs);
    orient(vPairs);
    mergeComponents();
}

void Filler::growComponents(CodePoints& vOut) {
    uint64 todo = 0;
    for (const auto& pComponent : vComponents) todo += pComponent->numGrowthTicks();
    const double numCells = static_cast<double>(pvGlobalRCDPoint->size());
    const double numBorderCells = static_cast<double>(pvGlobalBorderRCD->size());
    reweighStages({{"CL_fill", costOfFilling(numCells, numBorderCells, numGrowSteps, bUneven, getNumThreads())}});
    const double growth = bUneven ? 0.5 : -0.5;  // gaps of even clouds close on the way
    SharedStage stage("CL_fill", todo, growth);
    std::vector<std::size_t> vSizes;
    vSizes.reserve(vComponents.size());
    for (const auto& pComponent : vComponents) vSizes.push_back(pComponent->vBorderRCD.size());
    std::vector<CodePoints> vFound(vComponents.size());
    runLargestFirst(vSizes, [&](std::size_t i, int worker) {
        vComponents[i]->chooseGrowth = chooseGrowth;
        vComponents[i]->numFreeSteps = numFreeSteps;
        vComponents[i]->run(vFound[i], [&](uint64 num) { stage.tickByTime(worker == callingThread, num); });
        if (adapt) adapt(*vComponents[i], vFound[i]);
        vComponents[i].reset();
    });
    stage.finish();
    for (const CodePoints& vLocal : vFound) appendNew(vLocal, vOut);
    // Of Components that reach the same cell the first one stays.
    sortStableByFirstMT(vOut.begin(), vOut.end());
    const auto bSame = [](const auto& a, const auto& b) { return a.first == b.first; };
    vOut.erase(std::unique(vOut.begin(), vOut.end(), bSame), vOut.end());
}

// The points whose cell isn't in the cloud; both lists ascend.
void Filler::appendNew(const CodePoints& vLocal, CodePoints& vOut) const {
    const auto below = [](const auto& entry, uint64 code) { return entry.first < code; };
    auto it = pvGlobalRCDPoint->begin();
    for (const auto& point : vLocal) {
        it = std::lower_bound(it, pvGlobalRCDPoint->end(), point.first, below);
        if (it == pvGlobalRCDPoint->end() || it->first != point.first) vOut.push_back(point);
    }
}

void Filler::createComponents() {
    std::vector<std::vector<uint64>> vPieces;
    createCC_RCD(unionOf(vGlobalAreaRCD, *pvGlobalBorderRCD), vPieces);
    std::vector<std::size_t> vSizes;
    vSizes.reserve(vPieces.size());
    for (const std::vector<uint64>& vPiece : vPieces) vSizes.push_back(vPiece.size());
    vRawComponents.resize(vPieces.size());
    runLargestFirst(vSizes, [&](std::size_t i, int /*worker*/) {
        std::vector<uint64> vBorder;
        for (const uint64 rcd : vPieces[i]) {
            if (containsCode(*pvGlobalBorderRCD, rcd)) vBorder.push_back(rcd);
        }
        vRawComponents[i] = std::make_unique<Component>(vPieces[i], vBorder, pvGlobalRCDPoint, pCalc, bStopAtRims);
        vRawComponents[i]->id = static_cast<int>(i);
        std::vector<uint64>().swap(vPieces[i]);
    });
    vAffiData.reserve(pvGlobalBorderRCD->size());
    for (const auto& pRaw : vRawComponents) {
        for (const uint64 rcd : pRaw->vBorderRCD) vAffiData.push_back({rcd, pRaw.get(), 3.402823466e+38F});
    }
}

// A pair for each border cell that has a partner; lowers the dist of both.
void Filler::collectNearest(int maxDist, AffiPairs& vPairs) {
    std::vector<BorderSearch::Cell> vCells;
    vCells.reserve(vAffiData.size());
    for (const AffiData& a : vAffiData) {
        const bool bSmall = a.pComponent->vCellRCD.size() <= maxSmallSize;
        vCells.push_back({a.rcd, static_cast<std::uint32_t>(a.pComponent->id), bSmall});
    }
    // A distance in cells against one in world units, and meant so.
    const BorderSearch search(vCells, 5.0 * pCalc->getCellSize());
    const int radius = lastRadius(maxDist);
    std::vector<BorderSearch::Hit> vHits;
    parallelTransform(vCells, vHits,
                      [&](const BorderSearch::Cell& cell) { return search.nearestOfOther(cell, radius); });
    for (std::size_t i = 0; i < vHits.size(); ++i) {
        if (vHits[i].index == BorderSearch::npos) continue;
        AffiData* const pA = &vAffiData[i];
        AffiData* const pB = &vAffiData[vHits[i].index];
        const float dist = distOf(*pA, *pB);
        pA->dist = std::min(pA->dist, dist);
        pB->dist = std::min(pB->dist, dist);
        vPairs.push_back(std::minmax(pA, pB));
    }
}

void Filler::determineAffiliation(int maxDist, AffiPairs& vPairs) {
    constexpr double slack = 3.0;  // cells
    if (vRawComponents.size() < 2) return;
    AffiPairs vAll;
    collectNearest(maxDist, vAll);
    std::sort(vAll.begin(), vAll.end());
    vAll.erase(std::unique(vAll.begin(), vAll.end()), vAll.end());
    for (const auto& pr : vAll) {
        ASSEX(pr.first<pr.second);
        const double excess = static_cast<double>(distOf(*pr.first, *pr.second)) - slack;
        if (excess < pr.first->dist && excess < pr.second->dist) vPairs.push_back(pr);
    }
}

// A ConnectionStruct for each two Components with a pair between them.
void Filler::gatherEvidence(const AffiPairs& vPairs) {
    std::map<std::pair<int, int>, ConnectionStruct*> mConnections;
    for (const auto& [pA, pB] : vPairs) {
        Component* const p0 = pA->pComponent;
        Component* const p1 = pB->pComponent;
        ConnectionStruct*& pConnection = mConnections[{p0->id, p1->id}];
        if (!pConnection) {
            vAllConnections.push_back(std::make_unique<ConnectionStruct>(p0, p1));
            pConnection = vAllConnections.back().get();
            p0->vConnections.push_back(pConnection);
            p1->vConnections.push_back(pConnection);
        }
        pConnection->score += static_cast<double>(evidenceOf(*pA, *pB));
    }
}

void Filler::orient(const AffiPairs& vPairs) {
    gatherEvidence(vPairs);
    Queue queue;
    for (const auto& pRaw : vRawComponents) queue.push(std::abs(scoreOf(*pRaw)), pRaw.get());
    while (!queue.empty()) {
        const Queue::Entry entry = queue.pop();
        Component* const pComp = entry.pComponent;
        if (pComp->isOriented()) continue;
        const double score = scoreOf(*pComp);
        if (std::abs(score) != entry.key) {
            queue.push(std::abs(score), pComp);
            continue;
        }
        pComp->setOriented();
        if (score > 0.0) continue;
        pComp->flipSides();
        for (const ConnectionStruct* pConnection : pComp->vConnections) {
            Component* const pNeighbour = otherEnd(*pConnection, pComp);
            if (!pNeighbour->isOriented()) queue.push(scoreOf(*pNeighbour), pNeighbour);
        }
    }
    for (const auto& pComp : vRawComponents) ASSEX(pComp->isOriented());
}

// All Components that hang together with the first one, which they mark.
std::vector<Component*> Filler::takeGroup(Component* pFirst, std::vector<bool>& vVisited) const {
    std::vector<Component*> vGroup, vWork{pFirst};
    vVisited[static_cast<std::size_t>(pFirst->id)] = true;
    while (!vWork.empty()) {
        Component* const pComponent = vWork.back();
        vWork.pop_back();
        vGroup.push_back(pComponent);
        for (const ConnectionStruct* pConnection : pComponent->vConnections) {
            Component* const pNeighbour = otherEnd(*pConnection, pComponent);
            const std::size_t id = static_cast<std::size_t>(pNeighbour->id);
            if (vVisited[id]) continue;
            vVisited[id] = true;
            vWork.push_back(pNeighbour);
        }
    }
    return vGroup;
}

void Filler::mergeComponents() {
    std::vector<bool> vVisited(vRawComponents.size());
    for (const auto& pRaw : vRawComponents) {
        if (vVisited[static_cast<std::size_t>(pRaw->id)]) continue;
        const std::vector<Component*> vGroup = takeGroup(pRaw.get(), vVisited);
        const int numSteps = bStepsWithinSize ? std::min(numGrowSteps, stepsWithin(vGroup)) : numGrowSteps;
        vComponents.push_back(std::make_unique<Component>(vGroup, numSteps, pvGlobalRCDPoint, pCalc));
        vComponents.back()->maxSourceSteps = maxSourceSteps;
        vComponents.back()->id = static_cast<int>(vComponents.size()) - 1;
    }
}

}  // namespace QUOR_ZEF
