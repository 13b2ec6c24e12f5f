#include <algorithm>
#include <functional>
#include <iterator>
#include <limits>
#include <optional>
#include <span>
#include <utility>

#include "frame/Run.h"
#include "frame/tools.h"
#include "grid/RemoveDecider_RCD.h"
#include "grid/codeSets.h"
#include "parallel/blockSort.h"
#include "parallel/parallelTransform.h"
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
void forEachSample(const Samples& vRCDPoint, std::span<const uint64> vCodes, const Fn& fn) {
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

// In a region of cells that take their turns, one after the other: which of them must
// wait until cells outside have had theirs.
class WaitingCells {
public:
    // Whether this one must, whose turn it is now: it sees cells outside, or one that waits.
    // bForced: it must anyhow.
    bool mustWait(uint64 rcd, bool bForced) {
        const auto [gx, gy, gz] = unpackRCD(rcd);
        const uint64 x = gx % side, y = gy % side, z = gz % side;
        const auto isAtRim = [](uint64 i) { return i == 0 || i == side - 1; };
        const bool bSeen = vRows[x * side + y] >> z & 1;
        if (!bSeen && !bForced && !isAtRim(x) && !isAtRim(y) && !isAtRim(z)) return false;
        // Those around it in this region; others lie at the rim of theirs.
        const uint64 row = z == 0 ? 3 : uint64{7} << (z - 1);
        for (uint64 ax = x - (x > 0); ax <= std::min(x + 1, side - 1); ++ax) {
            for (uint64 ay = y - (y > 0); ay <= std::min(y + 1, side - 1); ++ay) vRows[ax * side + ay] |= row;
        }
        return true;
    }

private:
    static constexpr uint64 side = CellBlocks_RCD::regionSide;
    static_assert(side == 64);  // the bits of a row

    std::vector<uint64> vRows = std::vector<uint64>(side * side);  // the cells that see a waiting one; z along a row
};

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
    // The entries of a region.
    using RegionEntries = std::vector<Entry>;

    bool leavesNewBorder(const std::vector<uint64>& vGroup) const;
    void doom(uint64 rcd) {
        doomUnlisted(rcd);
        vDoomed.push_back(rcd);
    }
    void doomUnlisted(uint64 rcd);
    Entry entryOf(std::uint32_t index, std::uint32_t mask) const {
        return {countCells(mask & blockFaces) + decider.cellSize - vDistance[index], index};
    }
    Entry entryOf(std::uint32_t index) const { return entryOf(index, blocks.mask27(vCandidates[index])); }
    template <class MayGo>
    std::vector<RegionEntries> takeOpen(const MayGo& mayGo);
    template <class MayGo>
    void takeInnerTurns(std::vector<RegionEntries>& vRegions, const MayGo& mayGo);
    static std::size_t countEntries(const std::vector<RegionEntries>& vRegions) {
        std::size_t num = 0;
        for (const RegionEntries& v : vRegions) num += v.size();
        return num;
    }
    static std::vector<Entry> sortTogether(const std::vector<RegionEntries>& vRegions);
    template <class Fn>
    void forEachCandidateAround(uint64 rcd, std::uint32_t among, const Fn& fn) const;

    RemoveDecider_RCD& decider;
    CellBlocks_RCD& blocks;  // the decider's
    const std::vector<uint64>& vCandidates;
    std::optional<CellBlocks_RCD> ownBlocks;  // of the candidates, unless they are all cells of the decider
    CellBlocks_RCD* pCandidates;              // these or the decider's; open candidates are marked
    std::vector<CellBlocks_RCD::BlockNumbers> vBlocksByRegion;  // of the candidates
    std::vector<double> vDistance;                              // of each candidate, in cells
    std::vector<uint64> vDoomed;                                // by this thinning, in order
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
    vBlocksByRegion = pCandidates->blocksByRegion();
    vDistance.resize(vCandidates.size());
    constexpr std::size_t minChunk = 10'000;
    parallelChunks(vCandidates.size(), minChunk, [&](std::size_t begin, std::size_t end) {
        std::size_t i = begin;
        const auto setDistance = [&](const std::pair<uint64, Point3>& sample) {
            pollRun(i);
            vDistance[i++] = decider.distanceInCells(sample.first, sample.second);
        };
        forEachSample(vRCDPoint, std::span(vCandidates).subspan(begin, end - begin), setDistance);
    });
    openAll();
}

void Thinning::doomUnlisted(uint64 rcd) {
    blocks.doom(rcd);
    if (ownBlocks) ownBlocks->doom(rcd);
    pCandidates->markAround(rcd);
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

// The entries of the open candidates that may go as things stand, by region, in no
// order. None is open then.
template <class MayGo>
std::vector<Thinning::RegionEntries> Thinning::takeOpen(const MayGo& mayGo) {
    std::vector<RegionEntries> vRegions(vBlocksByRegion.size());
    shareTasks(vRegions.size(), [&](std::size_t region, int /*worker*/) {
        pCandidates->takeMarked(vBlocksByRegion[region], [&](std::uint32_t index) {
            pollRun(index);
            const std::uint32_t mask = blocks.mask27(vCandidates[index]);
            if (mayGo(mask)) vRegions[region].push_back(entryOf(index, mask));
        });
    });
    return vRegions;
}

// Cells of two regions see each other only at the rims. Turns that are taken in one
// region end as if all were taken in their order, if those wait that see
// the rim or what waits: whatever another one sees has come before it here too. The
// entries that wait are left.
template <class MayGo>
void Thinning::takeInnerTurns(std::vector<RegionEntries>& vRegions, const MayGo& mayGo) {
    std::vector<std::vector<uint64>> vDoomedIn(vRegions.size());
    shareTasks(vRegions.size(), [&](std::size_t region, int /*worker*/) {
        RegionEntries vWaiting;
        WaitingCells waiting;
        blockSort(vRegions[region].begin(), vRegions[region].end(), std::less<>());
        for (const Entry& entry : vRegions[region]) {
            pollRun(entry.second);
            const uint64 rcd = vCandidates[entry.second];
            const bool bOffList = ownBlocks && !blocks.hasBlockOf(rcd);
            if (waiting.mustWait(rcd, bOffList)) {
                vWaiting.push_back(entry);
            } else if (mayGo(blocks.mask27(rcd))) {
                doomUnlisted(rcd);
                vDoomedIn[region].push_back(rcd);
            }
        }
        vRegions[region].swap(vWaiting);
    });
    for (const std::vector<uint64>& v : vDoomedIn) vDoomed.insert(vDoomed.end(), v.begin(), v.end());
}

std::vector<Entry> Thinning::sortTogether(const std::vector<RegionEntries>& vRegions) {
    std::vector<Entry> vEntries;
    vEntries.reserve(countEntries(vRegions));
    for (const RegionEntries& v : vRegions) vEntries.insert(vEntries.end(), v.begin(), v.end());
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
    std::vector<Entry> vEntries = sortTogether(takeOpen(mayGo));
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
    std::vector<RegionEntries> vRegions = takeOpen(mayGo);
    constexpr std::size_t minInner = 5'000;
    if (countEntries(vRegions) >= minInner) takeInnerTurns(vRegions, mayGo);
    std::size_t num = 0;
    for (const Entry& entry : sortTogether(vRegions)) {
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
