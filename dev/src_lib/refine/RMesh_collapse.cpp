#include <algorithm>
#include <array>
#include <utility>

#include "frame/Progress.h"
#include "frame/Run.h"
#include "frame/tools.h"
#include "parallel/parallelTransform.h"
#include "refine/RMesh.h"
#include "refine/triangleAngles.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t crowd = 256;  // triangles at a vertex

bool isSound(const RTriangle* pRT) {
    return hasSoundCorner(*pRT->getCorner(0), *pRT->getCorner(1), *pRT->getCorner(2));
}

// The numbers below num for which test(number), ascending; on all threads.
template <class Test>
std::vector<std::uint32_t> numbersOf(std::uint32_t num, const Test& test) {
    constexpr std::size_t minChunk = 10'000;
    const auto vChunks =
        parallelChunkResults<std::vector<std::uint32_t>>(num, minChunk, [&](std::size_t begin, std::size_t end) {
            std::vector<std::uint32_t> vHere;
            for (auto i = static_cast<std::uint32_t>(begin); i < end; ++i)
                if (test(i)) vHere.push_back(i);
            return vHere;
        });
    std::vector<std::uint32_t> vFound;
    for (const std::vector<std::uint32_t>& vHere : vChunks) vFound.insert(vFound.end(), vHere.begin(), vHere.end());
    return vFound;
}

// The triangles still to be tested, by number; the last one comes first. One that
// is pushed again leaves its place below: whatever changes a triangle pushes it,
// so it would be met there as it was last tested. This keeps a wide fan, which is
// pushed as a whole at each of its collapses, from filling the memory.
class WorkStack {
public:
    explicit WorkStack(std::uint32_t numTriangles) : vPlace(numTriangles, none) { vEntries.reserve(numTriangles); }

    void push(std::uint32_t number) {
        if (vEntries.size() >= 2 * vPlace.size()) compact();
        vPlace[number] = vEntries.size();
        vEntries.push_back(number);
    }
    // False if none is left.
    bool pop(std::uint32_t& number) {
        while (!vEntries.empty()) {
            number = vEntries.back();
            vEntries.pop_back();
            if (vPlace[number] != vEntries.size()) continue;
            vPlace[number] = none;
            return true;
        }
        return false;
    }

private:
    static constexpr std::size_t none = ~std::size_t{0};

    void compact() {
        std::size_t numKept = 0;
        for (std::size_t i = 0; i < vEntries.size(); ++i) {
            const std::uint32_t number = vEntries[i];
            if (vPlace[number] != i) continue;
            vPlace[number] = numKept;
            vEntries[numKept++] = number;
        }
        vEntries.resize(numKept);
    }

    std::vector<std::uint32_t> vEntries;
    std::vector<std::size_t> vPlace;  // of each triangle's valid entry
};

// How far the worst of the triangles at p would turn if p moved to q; stops
// looking at what is above the limit, or at it where that is no better.
double worstTurn(const std::vector<RTriangle*>& vIncT, const Point3* p, const Point3* q, double limit, bool bAtLimit) {
    double worst = 0.0;
    for (const RTriangle* pRT : vIncT) {
        worst = std::max(worst, pRT->getCornerMoveAngle(pRT->getICI(p), q, true));
        if (worst > limit || (worst == limit && !bAtLimit)) break;
    }
    return worst;
}

// The corners of few triangles tell soon what the others cannot reach.
std::array<int, 3> cornersByFan(const RMesh& mesh, const RTriangle* pRT) {
    std::array<int, 3> corners = {0, 1, 2};
    std::ranges::stable_sort(corners, {}, [&](int i) { return mesh.getFan(pRT->getCorner(i)).size(); });
    return corners;
}

// Appends the triangles at the edge whose third corner an earlier one there has too.
void appendRepeats(const REdge* pRE, std::vector<std::pair<const Point3*, std::size_t>>& vThird,
                   std::vector<RTriangle*>& vRepeats) {
    const auto view = pRE->triangles();
    vThird.clear();
    for (std::size_t i = 0; i < view.size(); ++i) vThird.emplace_back(view[i]->getThirdPoint(pRE->p0, pRE->p1), i);
    std::sort(vThird.begin(), vThird.end());
    std::vector<std::size_t> vIndices;
    for (std::size_t i = 1; i < vThird.size(); ++i)
        if (vThird[i].first == vThird[i - 1].first) vIndices.push_back(vThird[i].second);
    std::sort(vIndices.begin(), vIndices.end());
    for (const std::size_t i : vIndices) vRepeats.push_back(view[i]);
}

bool mayHaveRepeats(const REdge* pRE) {
    const auto view = pRE->triangles();
    if (view.size() != 2) return view.size() > 2;
    return view[0]->getThirdPoint(pRE->p0, pRE->p1) == view[1]->getThirdPoint(pRE->p0, pRE->p1);
}

}  // namespace

void RMesh::exchangeCorner(Point3* pSrc, Point3* pTrg) {
    killBetween(pSrc, pTrg);
    vMoved.clear();
    getIncidentTriangles(pSrc, vMoved);
    collectEdgesToMove(pSrc, pTrg);
    for (REdge* pRE : vMovedEdges) moveEdge(pRE, pSrc, pTrg);
    adjacency.clearFan(getVertexNumber(pSrc));
    for (RTriangle* pRT : vMoved) {
        ASSEX(pRT->isAlive());
        pRT->setCorner(pRT->getICI(pSrc), pTrg);
        adjacency.addToFan(getVertexNumber(pTrg), pRT->getNumber());
    }
}

void RMesh::killBetween(const Point3* pSrc, const Point3* pTrg) {
    const REdge* pKillEdge = findEdge(pSrc, pTrg);
    ASSEX(pKillEdge==0 || pKillEdge->isAlive());
    if (!pKillEdge) return;
    vMoved.clear();
    pKillEdge->getLiveTriangles(vMoved);
    for (RTriangle* pRT : vMoved) pRT->kill(this);
}

void RMesh::collectEdgesToMove(const Point3* pSrc, const Point3* pTrg) {
    vMovedEdges.clear();
    getIncidentEdges(pSrc, vMovedEdges);
    for (const REdge* pRE : vMovedEdges) {
        ASSEX(pRE->has(pSrc));
        ASSEX(pRE->isAlive());
        ASSEX(!pRE->has(pTrg));
    }
}

void RMesh::moveEdge(REdge* pRE, const Point3* pSrc, Point3* pTrg) {
    adjacency.removeEdge(getVertexNumber(pRE->p0), getVertexNumber(pRE->p1));
    Point3* pRingVtx = pRE->getOtherPoint(pSrc);
    ASSEX(pRingVtx!=pTrg);
    const std::pair<Point3*, Point3*> key = std::minmax(pRingVtx, pTrg);
    ASSEX(key.first<key.second);
    if (REdge* pExistingRE = findEdge(key.first, key.second)) {
        mergeEdge(pRE, pExistingRE);
        return;
    }
    adjacency.addEdge(getVertexNumber(key.first), getVertexNumber(key.second), pRE->getNumber());
    pRE->p0 = key.first;
    pRE->p1 = key.second;
}

void RMesh::mergeEdge(REdge* pRE, REdge* pExistingRE) {
    for (RTriangle* pRT : pRE->triangles()) {
        checkIn(pExistingRE, pRT);
        REdge** const ppSlot = std::find(pRT->pRE, pRT->pRE + 3, pRE);
        if (ppSlot == pRT->pRE + 3) ASSEX(false);
        *ppSlot = pExistingRE;
    }
    pRE->clearTriangles();
    ASSEX(!pRE->isAlive());
    ASSEX(pExistingRE->isAlive());
}

// The first of the edges around pRT, corner by corner, whose collapse away from
// that corner turns the triangles there least.
REdge* RMesh::findBestCollapse(const RTriangle* pRT, Point3*& pBestSrc) const {
    REdge* pBestRE = nullptr;
    double best = 361.0;
    int bestCorner = 3;
    std::vector<RTriangle*> vIncT;
    std::vector<REdge*> vIncRE;
    for (const int i : cornersByFan(*this, pRT)) {
        Point3* p = pRT->getCorner(i);
        // With a crowd around it nearly every move turns something far.
        if (pBestRE && getRun() && getFan(p).size() > crowd) continue;
        vIncT.clear();
        vIncRE.clear();
        getIncidentTriangles(p, vIncT);
        ASSEX(!vIncT.empty());
        getIncidentEdges(p, vIncRE);
        ASSEX(!vIncRE.empty());
        for (REdge* pRE : vIncRE) {
            const double worst = worstTurn(vIncT, p, pRE->getOtherPoint(p), best, i < bestCorner);
            if (!(worst < best || (worst == best && i < bestCorner))) continue;
            best = worst;
            bestCorner = i;
            pBestRE = pRE;
            pBestSrc = p;
        }
    }
    return pBestRE;
}

Point3* RMesh::collapseDegenerate(const RTriangle* pRT) {
    Point3* pBestSrc = nullptr;
    const REdge* pBestRE = findBestCollapse(pRT, pBestSrc);
    ASSEX(pBestRE!=0);
    ASSEX(pBestSrc!=0);
    Point3* pTrg = pBestRE->getOtherPoint(pBestSrc);
    exchangeCorner(pBestSrc, pTrg);
    return pTrg;
}

void RMesh::killDegenerate() {
    Progress* pProgress = getProgress()->getChildProgressSetTodo(
        "RM_kdeg", expectedTicks(triangles.size(), uint64{3} * triangles.size()));
    WorkStack stack(triangles.size());
    // One that is sound now needs no look before a collapse changes it, and brings it.
    const auto isUnsound = [&](std::uint32_t number) {
        return triangles[number]->isAlive() && !isSound(triangles[number]);
    };
    for (const std::uint32_t number : numbersOf(triangles.size(), isUnsound)) stack.push(number);
    pProgress->tick(triangles.size());
    std::uint32_t top = 0;
    while (stack.pop(top)) {
        pProgress->tick();
        const RTriangle* pRT = triangles[top];
        if (!pRT->isAlive() || isSound(pRT)) continue;
        const Point3* pTrg = collapseDegenerate(pRT);
        for (const std::uint32_t number : getFan(pTrg)) stack.push(number);  // the collapse may have spoilt them
    }
    killDuplicateTriangles();
}

// Which triangle dies follows from the order within each edge; the order of edges
// decides what kill() leaves behind in their lists. So the few edges with repeats
// are sorted, not all.
void RMesh::killDuplicateTriangles() {
    std::vector<const REdge*> vRE;
    for (const std::uint32_t i : numbersOf(edges.size(), [&](std::uint32_t n) { return mayHaveRepeats(edges[n]); }))
        vRE.push_back(edges[i]);
    std::sort(vRE.begin(), vRE.end(),
              [](const REdge* a, const REdge* b) { return std::pair(a->p0, a->p1) < std::pair(b->p0, b->p1); });
    std::vector<std::pair<const Point3*, std::size_t>> vThird;
    std::vector<RTriangle*> vRepeats;
    for (const REdge* pRE : vRE) appendRepeats(pRE, vThird, vRepeats);
    for (RTriangle* pRT : vRepeats)
        if (pRT->isAlive()) pRT->kill(this);
}

void RMesh::finishMesh() {
    killDuplicateTriangles();
    orientPatches();
    killDegenerate();
}

}  // namespace QUOR_ZEF
