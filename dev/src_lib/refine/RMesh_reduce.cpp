#include <algorithm>
#include <cmath>
#include <vector>

#include "frame/Progress.h"
#include "frame/tools.h"
#include "geometry/freeFunctions.h"
#include "parallel/parallelGroups.h"
#include "refine/RECandidate.h"
#include "refine/RMesh.h"
#include "refine/colorDistance.h"

namespace QUOR_ZEF {

namespace {

constexpr double radiansPerDegree = 0.01745329251;
constexpr double maxColorStep = 1.0;  // colour distance, just visible
constexpr double minNewArea = 1e-10;  // twice the area, in squared world units
constexpr double costPerRadian = 100.0, costPerColor = 100.0;
constexpr double cheapCost = 2.0;         // goes ahead whatever it was queued for
constexpr double maxRise = 3.0;           // of a cost since it was queued
constexpr double roughCost = 6.0;         // from here on the costs are refreshed soon
constexpr double minBorderAngle = 170.0;  // degrees: the border runs straight
constexpr std::size_t maxChanges = 5000, maxRoughChanges = 50;
constexpr std::size_t minFullChanges = 3, maxFullChanges = 999;
constexpr int maxFullRefreshes = 4;
constexpr std::size_t minBatchChunk = 100;  // edges

double colorTermOf(const REdge* pRE) {
    if (!pRE->p0->hasColor() && !pRE->p1->hasColor()) return 0.0;
    return double{colorDistance(*pRE->p0, *pRE->p1)};
}

// How far a triangle turns, in radians, when its corner at source moves to target.
// refused if it turns too far or loses its area; 0 and false in bCounts if it has
// no area now.
double turnOf(const RTriangle* pRT, int ici, const Point3& target, double maxDevRad, bool& bCounts) {
    const Point3 &source = *pRT->getCorner(ici), &a = *pRT->getCorner((ici + 1) % 3),
                 &b = *pRT->getCorner((ici + 2) % 3);
    const Vector3 side = a - b;
    const Vector3 oldN = cross(side, source - b);
    bCounts = !oldN.isDegenerate();
    if (!bCounts) return 0.0;
    const Vector3 newN = cross(side, target - b);
    if (!(newN.length() >= minNewArea)) return RECandidate::refused;
    const double d = getAngleRad(normalize(oldN), normalize(newN));
    return d <= maxDevRad ? d : RECandidate::refused;
}

bool hasTriangleAt(const REdge* pRE, const Point3* p) {
    return std::any_of(pRE->triangles().begin(), pRE->triangles().end(),
                       [p](const RTriangle* pRT) { return pRT->hasCorner(p); });
}

void sortUnique(std::vector<std::uint32_t>& v) {
    std::sort(v.begin(), v.end());
    v.erase(std::unique(v.begin(), v.end()), v.end());
}

}  // namespace

// All that lives during one reduction.
class RMesh::Reduction {
public:
    Reduction(RMesh& mesh_, double maxSq_, double maxDevRad_) : mesh(mesh_), maxSq(maxSq_), maxDevRad(maxDevRad_) {}

    int run() {
        findBorder();
        fillQueue();
        int numRemoved = 0;
        openProgress();
        while (!queue.empty()) {
            numRemoved += collapseNext();
            if (needsRefresh()) refresh();
        }
        pProgress->finish(true);
        return numRemoved;
    }

private:
    // Vertices of border edges, as of now: none comes later.
    void findBorder() {
        Progress* pBorder = getProgress()->getChildProgressSetTodo("RM_redborder", 2);
        vIsBorder.resize(mesh.getNumVertices());
        pBorder->tick();
        for (std::uint32_t i = 0; i < mesh.getNumEdges(); ++i) {
            const REdge* pRE = mesh.getEdge(i);
            if (pRE->getDegree() != 1) continue;
            for (const Point3* p : {pRE->p0, pRE->p1}) vIsBorder[mesh.getVertexNumber(p)] = 1;
        }
        pBorder->tick();
        pBorder->finish(true);
    }

    void fillQueue() {
        Progress* pQueue = getProgress()->getChildProgressSetTodo("RM_redprioq", expectedTicks(mesh.getNumEdges(), 2));
        queueAllEdges(pQueue);
        pQueue->finish(true);
    }

    void openProgress() {
        pProgress = getProgress()->getChildProgressSetTodo("RM_redprocprioq", queue.size() + queue.size() / 2);
    }

    // pTicks: ticks once an edge; may be null.
    void queueAllEdges(Progress* pTicks) {
        std::vector<std::uint32_t> vAll(mesh.getNumEdges());
        for (std::uint32_t i = 0; i < vAll.size(); ++i) vAll[i] = i;
        queueEdges(vAll, pTicks);
    }

    // Both directions of each edge, scored on all threads. The sequence follows the
    // order of the list, so equal costs come in that order.
    void queueEdges(const std::vector<std::uint32_t>& vEdges, Progress* pTicks) {
        const auto score = [&](std::size_t begin, std::size_t end) {
            std::vector<RECandidate> vScored;
            for (std::size_t i = begin; i < end; ++i) {
                for (const int dir : {0, 1}) {
                    const double cost = getCost(mesh.getEdge(vEdges[i]), dir);
                    if (cost != RECandidate::refused)
                        vScored.push_back({cost, numQueued + 2 * i + unsigned(dir), vEdges[i], dir});
                }
            }
            return vScored;
        };
        using Batch = std::vector<RECandidate>;
        const auto onGroup = [pTicks](std::size_t num) { pTicks->tick(num); };
        const auto vBatches = pTicks ? parallelGroupResults<Batch>(vEdges.size(), minBatchChunk, score, onGroup)
                                     : parallelChunkResults<Batch>(vEdges.size(), minBatchChunk, score);
        numQueued += 2 * vEdges.size();
        std::size_t numNew = 0;
        for (const auto& vBatch : vBatches) numNew += vBatch.size();
        const bool bMany = numNew > queue.size();
        for (const auto& vBatch : vBatches) {
            for (const RECandidate& candidate : vBatch) {
                queue.push_back(candidate);
                if (!bMany) std::push_heap(queue.begin(), queue.end(), comesLater);
            }
        }
        if (bMany) std::make_heap(queue.begin(), queue.end(), comesLater);
    }

    RECandidate popQueue() {
        std::pop_heap(queue.begin(), queue.end(), comesLater);
        const RECandidate candidate = queue.back();
        queue.pop_back();
        return candidate;
    }

    static bool comesLater(const RECandidate& a, const RECandidate& b) { return b < a; }

    double getCost(const REdge* pRE, int dir) const { return mesh.getCollapseCost(pRE, dir, maxSq, maxDevRad); }

    // Takes the first entry and collapses it, if it is still worth it. Returns the
    // triangles that this has removed.
    int collapseNext() {
        RECandidate candidate = popQueue();
        const REdge* pRE = mesh.getEdge(candidate.edge);
        const double fresh = getCost(pRE, candidate.dir);
        if (fresh != RECandidate::refused && fresh > cheapCost && fresh > candidate.cost + maxRise) {
            queue.push_back({fresh, numQueued++, candidate.edge, candidate.dir});
            std::push_heap(queue.begin(), queue.end(), comesLater);
            return 0;
        }
        pProgress->tick();
        if (fresh == RECandidate::refused) return 0;
        Point3* const pSource = pRE->getVertex(candidate.dir);
        Point3* const pTarget = pRE->getVertex(1 - candidate.dir);
        if (vIsBorder[mesh.getVertexNumber(pSource)] && !mayLeaveBorder(pRE, pSource)) return 0;
        const int degree = pRE->getDegree();
        mesh.exchangeCorner(pSource, pTarget);
        vChanged.push_back(mesh.getVertexNumber(pTarget));
        return degree;
    }

    // A vertex of the border slides along a straight run of it only.
    bool mayLeaveBorder(const REdge* pRE, const Point3* pSource) {
        if (pRE->getDegree() != 1) return false;
        vIncRE.clear();
        mesh.getIncidentEdges(pSource, vIncRE);
        std::erase_if(vIncRE, [](const REdge* pInc) { return pInc->getDegree() != 1; });
        if (vIncRE.size() != 2) return false;
        std::vector<Vector3> vVecs;
        for (const REdge* pInc : vIncRE) vVecs.push_back(normalize(*pInc->getOtherPoint(pSource) - *pSource));
        ASSEX(vVecs.size()==2);
        return getAngleDeg(vVecs[0], vVecs[1]) >= minBorderAngle;
    }

    bool needsRefresh() const {
        if (queue.empty() || vChanged.size() > maxChanges) return true;
        return queue.front().cost > roughCost && vChanged.size() > maxRoughChanges;
    }

    // Queues what the latest collapses have made possible. Entries that are outdated
    // stay in the queue: each is scored again when its turn comes.
    void refresh() {
        const bool bFewChanges = vChanged.size() >= minFullChanges && vChanged.size() <= maxFullChanges;
        if (bFewChanges && numFullRefreshes < maxFullRefreshes) {
            ++numFullRefreshes;
            queueAllEdges(nullptr);
        } else {
            queueAroundChanges();
        }
        vChanged.clear();
        openProgress();
    }

    void queueAroundChanges() {
        sortUnique(vChanged);
        vIncRE.clear();
        for (const std::uint32_t vertex : vChanged) mesh.getIncidentEdges(mesh.getVertex(vertex), vIncRE);
        std::vector<std::uint32_t> vEdges;
        vEdges.reserve(vIncRE.size());
        for (const REdge* pRE : vIncRE) vEdges.push_back(pRE->getNumber());
        sortUnique(vEdges);
        queueEdges(vEdges, nullptr);
    }

    RMesh& mesh;
    const double maxSq, maxDevRad;
    Progress* pProgress = nullptr;
    std::vector<char> vIsBorder;     // by vertex number
    std::vector<RECandidate> queue;  // a heap, the first to come on top
    std::uint64_t numQueued = 0;
    std::vector<std::uint32_t> vChanged;  // vertices that others have moved onto since the last refresh
    int numFullRefreshes = 0;
    std::vector<REdge*> vIncRE;  // kept for its memory
};

double RMesh::getCollapseCost(const REdge* pRE, int dir, double maxSq, double maxDevRad) const {
    if (!pRE->isAlive()) return RECandidate::refused;
    const double sqLength = (*pRE->p1 - *pRE->p0).sqLength();
    if (!(sqLength <= maxSq)) return RECandidate::refused;
    const double lenTerm = std::sqrt(std::sqrt(sqLength) / cellSize);
    const double colorTerm = colorTermOf(pRE);
    if (colorTerm > std::min(maxColorStep, 1.0 / lenTerm)) return RECandidate::refused;
    const Point3* const pSource = pRE->getVertex(dir);
    const Point3* const pTarget = pRE->getVertex(1 - dir);
    double sum = 0.0;
    int count = 0;
    for (const std::uint32_t number : getFan(pSource)) {
        const RTriangle* pRT = triangles[number];
        if (pRT->hasCorner(pTarget)) continue;  // goes with the edge
        const int ici = pRT->getICI(pSource);
        bool bCounts = false;
        const double d = turnOf(pRT, ici, *pTarget, maxDevRad, bCounts);
        if (d == RECandidate::refused) return d;
        // Else two triangles would come to lie on the same corners.
        if (hasTriangleAt(pRT->getRE(ici), pTarget)) return RECandidate::refused;
        sum += d;
        count += bCounts;
    }
    return sum * costPerRadian / count + lenTerm + colorTerm * costPerColor;
}

int RMesh::reduce(double maxSqEdgeLength, double maxDeviationDeg) {
    return Reduction(*this, maxSqEdgeLength, maxDeviationDeg * radiansPerDegree).run();
}

}  // namespace QUOR_ZEF
