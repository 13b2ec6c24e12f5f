#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "field/Corner.h"
#include "field/CornerStore.h"
#include "store/SimplePool.h"

namespace QUOR_ZEF {

// Replaces a val of 0, which would have no side: the smallest normal float.
constexpr float smallestVal = 1.17549435e-38F;

// Smooths the active corners of a store in Jacobi sweeps: a corner's new val is the
// mean of its own and its neighbours' vals by their weights, its new weight the mean
// of theirs; a border corner keeps its sign and stays within maxBorderVal.
//
// Works on copies of those bricks of the store that hold active corners or lie beside
// them. Sums run over the corner itself, then its slots in order, in 32 bits; where corners may
// rest, its neighbours by dir, so that more corners of a row are alike: some 1.5 times as fast.
//
// Memory: 1.4 kB a brick. Threads: one at a time; sweeps are parallel.
// Cost: 3 to 7 ns for an active corner in a sweep.
class CornerSmoother {
public:
    static constexpr int neverResting = 0x7fffffff;

    // bUseWeights false: all corners count the same. maxBorderVal: world units.
    // restAfter: calls of smooth() after which corners keep their values where none came
    // within two bricks; they are nearly at rest by then.
    CornerSmoother(bool bUseWeightsOfCorners, float maxBorderValOfCorners, int restAfterCalls = neverResting)
        : bUseWeights(bUseWeightsOfCorners), maxBorderVal(maxBorderValOfCorners), restAfter(restAfterCalls) {}

    const bool bUseWeights;
    const float maxBorderVal;
    const int restAfter;
    const bool bInSlotOrder = restAfter == neverResting;  // of the sums
    bool bAVX2 = hasAVX2();  // 1.4 times as fast, with the same results; not to be set where the processor lacks it

    static bool hasAVX2();

    // Sweeps over the store, which must be the same at each call: between calls active corners
    // may be created, but nobody else may change one.
    // Fails an ASSEX if a corner has no val or weight yet, or a border corner the wrong sign.
    // Prints at most one line, when a weight or val is larger than clouds of small units give.
    void smooth(CornerStore& store, int numPasses);
    // Where corners may rest, they do from now on if none comes near in later calls.
    void restWhereNothingComes() { firstCounting = numCalls + 1; }

private:
    using Mask = CornerStore::Mask;
    static constexpr std::uint32_t noPlace = ~std::uint32_t{0};
    // By place.
    using Numbers = std::array<float, CornerStore::brickSize>;
    struct Value {
        float product;  // weight * val
        float weight;
    };
    struct Trace {
        static constexpr int never = 0x7fffffff;
        int sweep = never;  // in which it was found
        float weight = 0.0F, val = 0.0F;

        bool isFound() const { return sweep != never; }
        // Another one, which counts if its sweep was earlier. later: sweeps before it began to count.
        void add(const Trace& trace, int later = 0) {
            if (trace.isFound() && trace.sweep + later < sweep) *this = {trace.sweep + later, trace.weight, trace.val};
        }
        static Trace firstOf(const std::vector<Trace>& vTraces) {
            Trace first;
            for (const Trace& trace : vTraces) first.add(trace);
            return first;
        }
    };
    // Active corners of one state in one row of places, 4 along z. In slot order, their
    // neighbours come in the same order; otherwise slots has the number of neighbours of each
    // place, 3 bits each from the lowest on.
    struct Run {
        std::uint16_t slots;
        std::uint8_t row;
        std::uint8_t lanesAndState;  // a bit for each place of the row, and 16 times the CornerState

        unsigned lanes() const { return lanesAndState & 15; }
        int state() const { return lanesAndState >> 4; }
    };
    // A copy of a brick. What a sweep reads and writes takes turns; both are equal where
    // nothing is active, and 0 where no corner exists.
    struct Tile {
        explicit Tile(CornerStore::Brick* pOfStore) : pBrick(pOfStore) {}
        // For sweeps that begin with these values of the other; they are all that is read of it.
        Tile(const Tile& other, std::size_t from)
            : pBrick(other.pBrick),
              numRuns(other.numRuns),
              place(other.place),
              neigs(other.neigs),
              products{other.products[from], other.products[from]},
              weights{other.weights[from], other.weights[from]} {
            std::copy_n(other.runs.begin(), numRuns, runs.begin());
        }

        CornerStore::Brick* pBrick;  // the store's; null in the empty tile
        bool bSettled = false;       // its corners and their neighbours all exist
        bool bResting = false;
        // The calls that brought the latest corners: here, within one brick and within two.
        int lastNew = 0, lastBeside = 0, lastNear = 0;
        Mask active = 0;
        std::uint32_t numRuns = 0;
        std::uint32_t place = noPlace;       // in vAtWork
        std::array<const Tile*, 6> neigs{};  // by dir
        std::array<Numbers, 2> products{}, weights{};
        std::array<Run, CornerStore::brickSize> runs;
    };
    // Tiles that follow each other in Z-order, to be swept several times while they are in the caches, on
    // copies; with the tiles at work from which anything comes to them meanwhile.
    struct Patch {
        std::size_t first = 0, end = 0;      // in vAtWork
        std::vector<std::uint32_t> vAround;  // places
    };
    struct PatchCopy;
    struct Tiles;
    struct Rows;
    struct Means;

    Value valueOf(const Corner& corner) const {
        return bUseWeights ? Value{corner.weight * corner.val, corner.weight} : Value{corner.val, 1.0F};
    }
    Mask takeNew(const CornerStore::Brick& brick, Mask& taken) const;
    std::vector<std::uint8_t> takeNewCorners(const CornerStore& store);
    void makeTiles(const CornerStore& store, const std::vector<std::uint32_t>& vBricks);
    void refresh(const CornerStore& store);
    void letRest();
    void refresh(Tile& tile) const;
    Run takeRun(const CornerStore::Brick& brick, Mask& left) const;
    void fetch(std::size_t next, std::size_t end) const;
    void findWork();
    void findAround(Patch& patch, std::vector<bool>& vSeen) const;
    template <bool bLast>
    Trace sweep();
    template <bool bLast>
    Trace sweepPatches(int numSweeps);
    template <bool bLast>
    Trace sweepPatch(const Patch& patch, int numSweeps, PatchCopy& copy) const;
    template <bool bLast>
    Trace sweepTile(Tile& tile, std::size_t from) const;
    template <bool bLast, bool bSlots>
    Trace sweepRuns(Tile& tile, std::size_t from) const;
    template <bool bLast, bool bSlots>
    Trace sweepRunsByAVX2(Tile& tile, std::size_t from) const;
    template <bool bLast>
    void keep(const Run& run, Means means, Tile& tile, std::size_t from) const;
    template <bool bSlots>
    static Trace findLarge(const Tile& tile, std::size_t from);

    SimplePool<Tile> pool;
    int numCalls = 0;
    int firstCounting = 0;                         // corners that came in earlier calls keep nothing from resting
    std::vector<Mask> vTaken;                      // by brick of the store: corners that have been looked at
    std::vector<Tile*> vByNumber;                  // by brick of the store; null if none is needed
    std::vector<std::pair<uint64, Tile*>> vTiles;  // with their codes, in Z-order
    std::vector<Tile*> vAtWork;                    // those of them that this call sweeps
    std::vector<Patch> vPatches;                   // of them; none if they are few
    Tile* pEmpty = nullptr;                        // stands for bricks that have no tile
    std::size_t turn = 0;                          // which values a sweep reads
};

}  // namespace QUOR_ZEF
