#include <algorithm>
#include <cmath>
#include <sstream>
#include <utility>

#include "frame/Progress.h"
#include "frame/tools.h"
#include "parallel/parallelGroups.h"
#include "parallel/sortMT.h"
#include "refine/REdgeEnergy.h"
#include "refine/RMesh.h"

namespace QUOR_ZEF {

namespace {

constexpr double minImprovement = 0.005;  // below it an outdated flip is not tried again
// How far ahead the records of an edge are fetched, each after those that point at it.
constexpr std::size_t edgesAhead = 20, trianglesAhead = 15, cornersAhead = 10, neighboursAhead = 5;
constexpr std::size_t minEdgeChunk = 100, minNormalChunk = 1'000;

constexpr double roundingOfLog = 1e-9;  // far more than logarithm and exponential may be wrong
constexpr double startTemperature = 0.02, endTemperature = 0.001, cooling = 0.9;

using Candidate = std::pair<double, REdge*>;

// Best first; equal ones by number.
struct BestFirst {
    bool operator()(const Candidate& a, const Candidate& b) const {
        return a.first != b.first ? a.first > b.first : edgeNumberLess(a.second, b.second);
    }
};

// Candidates in the order of BestFirst: those given, which stand in that order
// already, and those that come back, which are few, in a heap.
class FlipQueue {
public:
    explicit FlipQueue(const std::vector<Candidate>& vSorted_) : vSorted(vSorted_) {}

    // How many of those given have been taken.
    std::size_t getNext() const { return next; }
    bool pop(Candidate& candidate) {
        const bool bSorted = next < vSorted.size(), bAgain = !vAgain.empty();
        if (!bSorted && !bAgain) return false;
        if (bSorted && !(bAgain && BestFirst()(vAgain.front(), vSorted[next]))) {
            candidate = vSorted[next++];
        } else {
            candidate = vAgain.front();
            std::pop_heap(vAgain.begin(), vAgain.end(), bestOnTop);
            vAgain.pop_back();
        }
        return true;
    }
    void push(const Candidate& candidate) {
        vAgain.push_back(candidate);
        std::push_heap(vAgain.begin(), vAgain.end(), bestOnTop);
    }

private:
    static bool bestOnTop(const Candidate& a, const Candidate& b) { return BestFirst()(b, a); }

    const std::vector<Candidate>& vSorted;
    std::size_t next = 0;
    std::vector<Candidate> vAgain;
};

// 0 to n - 1, each as likely as the others: draws beyond a multiple of n are
// thrown away.
std::uint64_t drawIndex(Rand15& rand, std::uint64_t n) {
    constexpr std::uint64_t base = Rand15::maxValue + 1;
    for (;;) {
        std::uint64_t draw = 0, range = 1;
        while (range < n) {
            draw = draw * base + static_cast<std::uint64_t>(rand.next());
            range *= base;
        }
        if (draw < range - range % n) return draw % n;
    }
}

void shuffle(std::vector<Candidate>& v, Rand15& rand) {
    for (std::size_t k = 1; k < v.size(); ++k) std::swap(v[k], v[drawIndex(rand, k + 1)]);
}

}  // namespace

namespace {

std::string stageAt(const char* stage, double temperature) {
    std::ostringstream name;
    name << stage;
    if (temperature > 0.0) name << "_" << temperature;
    return name.str();
}

}  // namespace

std::string RMesh::getCandidateStage(double temperature) {
    return stageAt("RM_gEfCandMT", temperature);
}

std::string RMesh::getAnnealingStage(double temperature) {
    return stageAt("RM_efAnneal", temperature);
}

std::vector<double> RMesh::getAnnealingSchedule() {
    std::vector<double> vTemperatures;
    double temperature = startTemperature;
    do {
        temperature *= cooling;
        vTemperatures.push_back(temperature);
    } while (temperature > endTemperature);
    return vTemperatures;
}

std::uint32_t RMesh::drawSeed() {
    const auto high = static_cast<std::uint32_t>(rand.next());
    return high << 15 | static_cast<std::uint32_t>(rand.next());
}

// New records lie in the order of the flips, which is none: without this, every edge waits
// for one record after the other.
void RMesh::fetchTriangles(const REdge* pRE) {
    for (const RTriangle* pRT : pRE->triangles()) {
        __builtin_prefetch(pRT);
        __builtin_prefetch(reinterpret_cast<const char*>(pRT + 1) - 1);
    }
}

void RMesh::fetchCorners(const REdge* pRE) {
    for (const RTriangle* pRT : pRE->triangles()) {
        for (const Point3* p : pRT->corner) __builtin_prefetch(p);
        for (const REdge* pSide : pRT->pRE) __builtin_prefetch(pSide);
    }
}

void RMesh::fetchNeighbours(const REdge* pRE) {
    for (const RTriangle* pRT : pRE->triangles())
        for (const REdge* pSide : pRT->pRE) fetchTriangles(pSide);
}

void RMesh::fetchFlip(const std::vector<std::pair<double, REdge*>>& vImpRE, std::size_t i) const {
    if (i + edgesAhead >= vImpRE.size()) return;
    __builtin_prefetch(vImpRE[i + edgesAhead].second);
    fetchTriangles(vImpRE[i + trianglesAhead].second);
    fetchCorners(vImpRE[i + cornersAhead].second);
    for (const RTriangle* pRT : vImpRE[i + neighboursAhead].second->triangles())
        for (const Point3* p : pRT->corner) __builtin_prefetch(getFan(p).data());
}

// What scoring on several threads would have to change is changed here, in the
// order of the edges. A turned triangle may leave another edge inconsistent, as
// one on a one-sided surface must be; that is scored as it is.
void RMesh::prepareScoring(const std::vector<REdge*>& vInRE) {
    const auto findRepairs = [&](std::size_t begin, std::size_t end) {
        std::vector<REdge*> vFound;
        REdgeEnergy energy(this, nullptr);
        for (std::size_t i = begin; i < end; ++i) {
            if (i + trianglesAhead < end) {
                fetchTriangles(vInRE[i + trianglesAhead]);
                fetchCorners(vInRE[i + neighboursAhead]);
            }
            energy.pRE = vInRE[i];
            if (energy.needsRepair()) vFound.push_back(energy.pRE);
        }
        return vFound;
    };
    REdgeEnergy energy(this, nullptr);
    for (const auto& vFound : parallelChunkResults<std::vector<REdge*>>(vInRE.size(), minEdgeChunk, findRepairs)) {
        for (REdge* pRE : vFound) {
            energy.pRE = pRE;
            energy.repair();
        }
    }
    fillNormals();
}

void RMesh::fillNormals() {
    parallelChunks(triangles.size(), minNormalChunk, [&](std::size_t begin, std::size_t end) {
        bool bOK = false;
        for (std::size_t i = begin; i < end; ++i)
            if (triangles[i]->isAlive()) triangles[i]->getNormal(&bOK);
    });
}

// Each edge counts in the energies of five.
std::vector<double> RMesh::findBendCosts() const {
    std::vector<double> vBendCosts(edges.size());
    parallelChunks(vBendCosts.size(), minNormalChunk, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            if (i + neighboursAhead < end) fetchTriangles(edges[i + neighboursAhead]);
            vBendCosts[i] = REdgeEnergy::bendCost(*edges[i]);
        }
    });
    return vBendCosts;
}

void RMesh::getEdgeFlipCandidates_MT(const std::vector<REdge*>& vInRE, double minEnergy, double temperature,
                                     std::vector<std::pair<double, REdge*>>& vImpRE) {
    ASSEX(vImpRE.empty());
    const std::uint32_t seed = drawSeed();
    Progress* pProgress = getProgress()->getChildProgressSetTodo(getCandidateStage(temperature),
                                                                 expectedTicks(vInRE.size(), uint64{5} * vInRE.size()));
    prepareScoring(vInRE);
    const std::vector<double> vBendCosts = findBendCosts();
    const auto score = [&](std::size_t from, std::size_t to) {
        getEdgeFlipCandidates_MT_priv(vInRE, vBendCosts, minEnergy, temperature, seed, from, to, vImpRE);
    };
    vImpRE.resize(vInRE.size());
    parallelGroups(vInRE.size(), minEdgeChunk, score, [pProgress](std::size_t num) { pProgress->tick(num); });
    std::erase(vImpRE, Candidate(0.0, nullptr));
    if (temperature > 0.0) {
        pProgress->finish(true);
    } else {
        sortMT(vImpRE.begin(), vImpRE.end(), BestFirst());
    }
}

void RMesh::getEdgeFlipCandidates_MT_priv(const std::vector<REdge*>& vInRE, const std::vector<double>& vBendCosts,
                                          double minEnergy, double temperature, std::uint32_t seed, std::size_t from,
                                          std::size_t to, std::vector<std::pair<double, REdge*>>& vImpRE) {
    ASSEX(to<=vImpRE.size());
    ASSEX(to<=vInRE.size());
    REdgeEnergy energy(this, nullptr);
    const double leastGood = std::min(minEnergy, 0.0);
    for (std::size_t i = from; i < to; ++i) {
        if (i + trianglesAhead < to) {
            fetchTriangles(vInRE[i + trianglesAhead]);
            fetchCorners(vInRE[i + cornersAhead]);
            fetchNeighbours(vInRE[i + neighboursAhead]);
        }
        energy.pRE = vInRE[i];
        // The Metropolis rule. The draw is the edge's own, so that no thread changes it.
        const double draw = temperature != 0.0 ? Rand15::at(seed, energy.pRE->getNumber()) / 32767.0 : 1.0;
        const double leastDrawn = temperature * (std::log(draw) - roundingOfLog);
        energy.score(temperature != 0.0 ? std::min(leastGood, leastDrawn) : leastGood, vBendCosts.data());
        if (energy.energy == REdgeEnergy::refused) continue;
        const bool bDrawn = temperature != 0.0 && draw <= std::exp(energy.energy / temperature);
        if (energy.energy >= leastGood || bDrawn) vImpRE[i] = {energy.energy, energy.pRE};
    }
}

std::size_t RMesh::edgeFlips() {
    reseed();
    std::vector<REdge*> vRE;
    getAllEdges(vRE);
    std::vector<Candidate> vImpRE;
    getEdgeFlipCandidates_MT(vRE, minImprovement, 0.0, vImpRE);
    Progress* pProgress =
        getProgress()->getChildProgressSetTodo("efLoop", expectedTicks(vImpRE.size(), uint64{3} * vRE.size()));
    const std::size_t numFlips = flipBestFirst(vImpRE, pProgress);
    killDegenerate();
    pProgress->finish(true);
    return numFlips;
}

// Nothing is scored anew but what is popped, so that one call is one pass.
std::size_t RMesh::flipBestFirst(const std::vector<std::pair<double, REdge*>>& vImpRE, Progress* pProgress) {
    std::size_t numFlips = 0;
    FlipQueue queue(vImpRE);
    REdgeEnergy energy(this, nullptr);
    const std::uint32_t firstNew = triangles.size();
    Candidate candidate;
    while (queue.pop(candidate)) {
        const double savedImprovement = candidate.first;
        REdge* const pRE = candidate.second;
        ASSEX(savedImprovement>-1.7976931348623158e+308);
        ASSEX(pRE!=0);
        fetchFlip(vImpRE, queue.getNext());
        energy.pRE = pRE;
        const double freshImprovement = energy.recompute(savedImprovement, firstNew);
        if (savedImprovement > freshImprovement) {
            if (freshImprovement > minImprovement) queue.push({freshImprovement, pRE});
            continue;
        }
        pProgress->tick();
        ASSEX(freshImprovement>=0);
        ASSEX(pRE->getDegree()==2);
        if (pRE->tryFlipEdge(this, nullptr, nullptr)) ++numFlips;
    }
    return numFlips;
}

void RMesh::edgeFlipsSimA() {
    edgeFlips();
    for (const double temperature : getAnnealingSchedule()) anneal(temperature);
    edgeFlips();
}

// What the Metropolis rule has taken flips even if that makes things worse: this
// is the way out of local minima.
void RMesh::anneal(double temperature) {
    std::vector<REdge*> vRE;
    getAllEdges(vRE);
    std::vector<Candidate> vImpRE;
    getEdgeFlipCandidates_MT(vRE, 0.0, temperature, vImpRE);
    Rand15 shuffleRand(drawSeed());
    shuffle(vImpRE, shuffleRand);
    REdgeEnergy energy(this, nullptr);
    const std::uint32_t firstNew = triangles.size();
    OptionalStage stage(getAnnealingStage(temperature), vImpRE.size());
    for (std::size_t i = 0; i < vImpRE.size(); ++i) {
        fetchFlip(vImpRE, i);
        energy.pRE = vImpRE[i].second;
        if (energy.recomputeMayFlip(firstNew)) energy.pRE->tryFlipEdge(this, nullptr, nullptr);
        stage.tick();
    }
    stage.finish();
    if (triangles.size() > 2 * numLiveTriangles) dropDeadRecords();
}

}  // namespace QUOR_ZEF
