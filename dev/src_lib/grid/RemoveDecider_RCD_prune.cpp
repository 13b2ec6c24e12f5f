#include <algorithm>
#include <functional>
#include <iterator>
#include <limits>
#include <optional>
#include <utility>

#include "frame/Run.h"
#include "frame/tools.h"
#include "grid/RemoveDecider_RCD.h"
#include "grid/codeSets.h"
#include "parallel/sortMT.h"

namespace QUOR_ZEF {

namespace {

using Samples = std::vector<std::pair<uint64, Point3>>;

constexpr std::size_t maxSmallBorder = 40;  // cells

// Weight and index of a candidate. Indices follow the codes, so equal weights go by code.
using Entry = std::pair<double, std::uint32_t>;

// Entries by rising weight: those of the start sorted once, later ones in a heap.
class Queue {
public:
    explicit Queue(std::vector<Entry>&& vSorted) : vEarly(std::move(vSorted)) {}

    bool empty() const { return next == vEarly.size() && vLate.empty(); }

    void push(const Entry& entry) {
        vLate.push_back(entry);
        std::push_heap(vLate.begin(), vLate.end(), std::greater<>());
    }

    Entry pop() {
        if (vLate.empty() || (next < vEarly.size() && vEarly[next] < vLate.front())) return vEarly[next++];
        std::pop_heap(vLate.begin(), vLate.end(), std::greater<>());
        const Entry entry = vLate.back();
        vLate.pop_back();
        return entry;
    }

private:
    std::vector<Entry> vEarly;
    std::size_t next = 0;
    std::vector<Entry> vLate;
};

// fn for the sample of each of the sorted codes.
template <class Fn>
void forEachSample(const Samples& vRCDPoint, const std::vector<uint64>& vCodes, const Fn& fn) {
    const auto below = [](const auto& sample, uint64 code) { return sample.first < code; };
    auto q_it = vRCDPoint.begin();
    for (const uint64 rcd : vCodes) {
        // As a rule it is the next one; few codes among many samples are found by growing steps.
        auto last = q_it;
        for (std::ptrdiff_t step = 1; q_it != vRCDPoint.end() && q_it->first < rcd; step *= 2) {
            last = q_it;
            q_it += std::min(step, vRCDPoint.end() - q_it);
        }
        q_it = std::lower_bound(last, q_it, rcd, below);
        ASSEX(q_it!=vRCDPoint.end());
        ASSEX(q_it->first==rcd);
        fn(*q_it);
    }
}

}  // namespace

// One thinning: the candidates and what is known of each. A candidate is named by
// its index in the list. Only those are asked that are open, and a candidate is
// open when it wasn't asked yet or when its block changed: a refusal holds until then.
class Thinning {
public:
    // Refers to the decider and the candidates.
    Thinning(RemoveDecider_RCD& ofDecider, const Samples& vRCDPoint, const std::vector<uint64>& vRemoveCandidates);

    void dropSmallBorders();
    void openAll() { pCandidates->markAll(); }
    // One pass, as in RemoveDecider_RCD::prune and pruneLayered; true if something
    // was doomed. minRim: see mayGoBlock().
    bool refillingPass(int minRim);
    bool layerPass(int minRim);
    int finish(std::vector<uint64>& vKeptOut, std::vector<uint64>& vDoomedOut);

private:
    bool leavesNewBorder(const std::vector<uint64>& vGroup) const;
    void doom(uint64 rcd);
    Entry entryOf(std::uint32_t index, std::uint32_t mask) const {
        return {countCells(mask & blockFaces) + decider.cellSize - vDistance[index], index};
    }
    Entry entryOf(std::uint32_t index) const { return entryOf(index, blocks.mask27(vCandidates[index])); }
    template <class MayGo>
    std::vector<Entry> takeOpen(const MayGo& mayGo);
    template <class Fn>
    void forEachCandidateAround(uint64 rcd, std::uint32_t among, const Fn& fn) const;

    RemoveDecider_RCD& decider;
    CellBlocks_RCD& blocks;  // the decider's
    const std::vector<uint64>& vCandidates;
    std::optional<CellBlocks_RCD> ownBlocks;  // of the candidates, unless they are all cells of the decider
    CellBlocks_RCD* pCandidates;              // these or the decider's; open candidates are marked
    std::vector<double> vDistance;            // of each candidate, in cells
    std::vector<uint64> vDoomed;              // by this thinning, in order
};

Thinning::Thinning(RemoveDecider_RCD& ofDecider, const Samples& vRCDPoint, const std::vector<uint64>& vRemoveCandidates)
    : decider(ofDecider), blocks(ofDecider.blocks), vCandidates(vRemoveCandidates), pCandidates(&decider.blocks) {
    checkSorted(vRCDPoint, "vRCDPoint");
    checkSorted(vCandidates, "vRemoveCandidates_srt");
    if (vCandidates != *decider.pvRCD) {
        pCandidates = &ownBlocks.emplace(vCandidates);
        for (const uint64 rcd : vCandidates) {
            if (blocks.isDoomed(rcd)) pCandidates->doom(rcd);
        }
    }
    vDistance.reserve(vCandidates.size());
    forEachSample(vRCDPoint, vCandidates, [&](const std::pair<uint64, Point3>& sample) {
        pollRun(vDistance.size());
        vDistance.push_back(decider.distanceInCells(sample.first, sample.second));
    });
    openAll();
}

void Thinning::doom(uint64 rcd) {
    blocks.doom(rcd);
    if (ownBlocks) ownBlocks->doom(rcd);
    pCandidates->markAround(rcd);
    vDoomed.push_back(rcd);
}

// fn for each candidate at these block indices around a cell that isn't doomed.
template <class Fn>
void Thinning::forEachCandidateAround(uint64 rcd, std::uint32_t among, const Fn& fn) const {
    pCandidates->forEachInMask(rcd, pCandidates->mask27(rcd) & among, [&](std::uint32_t index, int) { fn(index); });
}

void Thinning::dropSmallBorders() {
    std::vector<uint64> vArea, vBorder;
    decider.classify(vArea, vBorder);
    std::vector<std::vector<uint64>> vGroups;
    createCC_RCD(vBorder, vGroups);
    for (const std::vector<uint64>& vGroup : vGroups) {
        if (vGroup.size() > maxSmallBorder || leavesNewBorder(vGroup)) continue;
        for (const uint64 rcd : vGroup) {
            if (!decider.isCritical(rcd)) doom(rcd);
        }
    }
}

// True if some cell would become a border cell without one of the group's.
bool Thinning::leavesNewBorder(const std::vector<uint64>& vGroup) const {
    bool bNewBorder = false;
    for (const uint64 rcd : vGroup) {
        blocks.forEachInMask(rcd, blocks.mask27(rcd), [&](std::uint32_t index, int) {
            bNewBorder = bNewBorder || decider.wouldBecomeNewBorder((*decider.pvRCD)[index], rcd);
        });
    }
    return bNewBorder;
}

// The entries of the open candidates that may go as things stand, sorted. None is open then.
template <class MayGo>
std::vector<Entry> Thinning::takeOpen(const MayGo& mayGo) {
    std::vector<Entry> vEntries;
    pCandidates->takeMarked([&](std::uint32_t index) {
        pollRun(index);
        const std::uint32_t mask = blocks.mask27(vCandidates[index]);
        if (mayGo(mask)) vEntries.push_back(entryOf(index, mask));
    });
    sortMT(vEntries.begin(), vEntries.end());
    return vEntries;
}

// By its rule a pass begins with all candidates in the queue. Those that may not go
// as things stand need not be there: their turn would change nothing. Only if
// the block of one changes before its turn, it is entered, with the weight of the start.
bool Thinning::refillingPass(int minRim) {
    const auto mayGo = [minRim](std::uint32_t mask) {
        return (mask & blockCentreBit) && !isCriticalBlock(mask) && !isRimBlock(mask, minRim);
    };
    const std::size_t numBefore = vDoomed.size();
    std::vector<Entry> vEntries = takeOpen(mayGo);
    std::vector<bool> vEntered(vCandidates.size());
    for (const Entry& entry : vEntries) vEntered[entry.second] = true;
    Queue queue(std::move(vEntries));
    Entry latest{-std::numeric_limits<double>::infinity(), 0};  // all turns before this one have passed
    while (!queue.empty()) {
        const Entry entry = queue.pop();
        const uint64 rcd = vCandidates[entry.second];
        latest = std::max(latest, entry);
        if (!mayGo(blocks.mask27(rcd))) continue;

        forEachCandidateAround(rcd, blockAll & ~blockCentreBit, [&](std::uint32_t index) {
            if (vEntered[index]) return;
            vEntered[index] = true;
            if (const Entry first = entryOf(index); latest < first) queue.push(first);
        });
        doom(rcd);
        forEachCandidateAround(rcd, blockFaces, [&](std::uint32_t index) { queue.push(entryOf(index)); });
    }
    return vDoomed.size() > numBefore;
}

bool Thinning::layerPass(int minRim) {
    const auto mayGo = [minRim](std::uint32_t mask) { return mayGoBlock(mask, minRim); };
    const std::size_t numBefore = vDoomed.size();
    std::size_t num = 0;
    for (const Entry& entry : takeOpen(mayGo)) {
        pollRun(++num);
        const uint64 rcd = vCandidates[entry.second];
        if (mayGo(blocks.mask27(rcd))) doom(rcd);
    }
    return vDoomed.size() > numBefore;
}

int Thinning::finish(std::vector<uint64>& vKeptOut, std::vector<uint64>& vDoomedOut) {
    vDoomedOut.insert(vDoomedOut.end(), vDoomed.begin(), vDoomed.end());
    sortMT(vDoomedOut.begin(), vDoomedOut.end());
    vKeptOut = difference(vCandidates, vDoomedOut);
    return static_cast<int>(vDoomed.size());
}

int RemoveDecider_RCD::prune(const Samples& vRCDPoint, const std::vector<uint64>& vRemoveCandidates,
                             std::vector<uint64>& vKeptOut, std::vector<uint64>& vDoomedOut, bool bKeepNoBorder,
                             bool bDropSmallBorders) {
    Thinning thinning(*this, vRCDPoint, vRemoveCandidates);
    if (bDropSmallBorders) thinning.dropSmallBorders();
    const int minRim = bKeepNoBorder ? noRimMissing : borderMissing;
    while (thinning.refillingPass(minRim)) {
    }
    return thinning.finish(vKeptOut, vDoomedOut);
}

int RemoveDecider_RCD::pruneLayered(const Samples& vRCDPoint, const std::vector<uint64>& vRemoveCandidates,
                                    std::vector<uint64>& vKeptOut, std::vector<uint64>& vDoomedOut, bool bKeepNoBorder,
                                    bool bDropSmallBorders, int numLastPasses) {
    Thinning thinning(*this, vRCDPoint, vRemoveCandidates);
    if (bDropSmallBorders) thinning.dropSmallBorders();
    const int minRim = bKeepNoBorder ? noRimMissing : thickRimMissing;
    while (thinning.layerPass(minRim)) {
    }
    if (numLastPasses > 0 && !bKeepNoBorder) {
        thinning.openAll();
        for (int pass = 0; pass < numLastPasses && thinning.layerPass(borderMissing); ++pass) {
        }
    }
    return thinning.finish(vKeptOut, vDoomedOut);
}

}  // namespace QUOR_ZEF
