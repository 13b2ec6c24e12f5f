#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "field/Corner.h"
#include "frame/types.h"
#include "grid/Calc.h"
#include "parallel/parallelTransform.h"
#include "store/CodeMap.h"
#include "store/SimplePool.h"

namespace QUOR_ZEF {

// The Corners of one Component with their adjacency, which is complete at all times.
// Corners lie in bricks of 4x4x4 places that know the bricks beside them, so that a
// neighbour is found without a search. They never move and never leave the store.
// Fewer than 2^32 places. Memory: 17 bytes a place and 8 a Corner.
//
// Threads: one at a time; parallel loops may read Corners while none is created,
// and write val, weight and state of those that no other chunk reads or writes.
class CornerStore {
public:
    // Place x*16 + y*4 + z of the coordinates modulo 4: ascending like the codes.
    static constexpr unsigned brickSize = 64;
    // For createGrowthFront(): at any distance from where the sign changes.
    static constexpr int anywhere = 0x7fffffff;
    // A bit for each place of a brick.
    using Mask = uint64;

    struct Brick {
        uint64 rcc = 0;  // of its first place
        Mask exists = 0;
        Mask open = 0;                          // Corners with a free slot
        std::array<std::uint32_t, 6> neigs{};   // the bricks beside it by dir; 0 if there is none
        std::array<Corner, brickSize> corners;  // where they exist
    };

    const Calc* pCalc;              // not owned
    std::vector<Corner*> vCorners;  // in order of creation

    explicit CornerStore(const Calc* pGrid);

    // A new Corner, unassigned, linked with those of its six grid neighbours that
    // exist. rcc must not be in the store yet. About 50 ns.
    Corner* createCorner(uint64 rcc);
    // The same for many, ascending, as if one by one. Parallel.
    void createCorners(const std::vector<uint64>& vRCC);
    // Null if there is none.
    Corner* getCorner(uint64 rcc) const;
    uint64 rccOf(const Corner& corner) const { return rccAt(corner.location); }

    // Appends the neighbours in the order of the slots. A vNeigs that isn't empty fails an ASSEX.
    void getNeigs(const Corner* pCorner, std::vector<Corner*>& vNeigs) const;
    // fn(neighbour) in the order of the slots.
    template <class Fn>
    void forEachNeig(const Corner& corner, const Fn& fn) const {
        const auto& dirs = slotOrders.dirs[corner.slots];
        const int numNeigs = corner.numNeigs();
        for (int i = 0; i < numNeigs; ++i)
            fn(*cornerAt(neighbourOf(corner.location, dirs[static_cast<std::size_t>(i)])));
    }
    std::vector<Corner*>& getAllCorners() { return vCorners; }

    // Creates the missing neighbours of the Corners from which the field can still grow:
    // those with a free slot, |val| below limit and val not 0, for which isInBox(rcc) holds,
    // at most maxSteps steps over Corners from where the sign changes, unless that is anywhere:
    // at active ones beside an active one of the other sign, at border ones beside a val of 0.
    // By rising code; the new ones are the last of vCorners. Parallel, isInBox too.
    // Between calls, with the same limit, only active corners may change.
    template <class IsInBox>
    void createGrowthFront(float limit, int maxSteps, const IsInBox& isInBox);

    // ---- by brick, from 1 on; brick 0 is empty

    std::size_t numBricks() const { return vBricks.size(); }
    Brick& brick(std::size_t number) const { return *vBricks[number]; }
    // Which places of a brick have a neighbour in this dir that is in the set; vMasks: the set, by brick.
    Mask withNeighbour(const std::vector<Mask>& vMasks, std::uint32_t number, unsigned dir) const {
        return moved(vMasks[number], vMasks[vBricks[number]->neigs[dir]], dir);
    }

private:
    // A place is a brick's number times 64 plus the place in it.
    Corner* cornerAt(std::uint32_t location) const {
        return &vBricks[location / brickSize]->corners[location % brickSize];
    }
    uint64 rccAt(std::uint32_t location) const;
    std::uint32_t neighbourOf(std::uint32_t location, unsigned dir) const;
    // The places of a brick whose neighbour in this dir is in the set, by those of it in the brick and in the
    // one beside it.
    static Mask moved(Mask own, Mask beside, unsigned dir);
    std::uint32_t requireBrick(uint64 rccOfBrick);
    void requireBricks(const std::vector<uint64>& vFirstRCC);
    void addEmptyBrick();
    void linkBrick(std::uint32_t number, std::uint32_t firstNew);
    static void link(Brick& brick, unsigned place, unsigned dir);
    Corner* createAt(std::uint32_t location);
    void createAll(const std::vector<Mask>& vNew, const std::vector<std::uint32_t>& vLocations);
    void linkNew(const std::vector<Mask>& vNew, std::uint32_t number);
    // What growth asks about the corners of a brick.
    struct Signs {
        Mask sources = 0;           // |val| is below the limit and not 0, whatever their slots
        Mask lower = 0, upper = 0;  // active ones
        Mask border = 0;            // active ones that growth has not made
        Mask zero = 0;              // val is 0
        Mask seen = 0;              // all that have been looked at
    };
    static Signs signsOf(const Brick& brick, float limit);
    void findSigns(float limit);
    std::vector<Mask> findSignChanges() const;
    void widen(std::vector<Mask>& vMasks) const;
    void keepNearSignChanges(int maxSteps, std::vector<Mask>& vSources) const;
    std::vector<Mask> findSources(int maxSteps) const;
    void createFront(std::vector<Mask>& vSources);
    static constexpr std::size_t minBricks = 500;  // in a chunk

    SimplePool<Brick> pool;
    std::vector<Brick*> vBricks;
    std::vector<Signs> vSigns;  // by brick, as of the last growth
    CodeMap numbers;            // RCC of a brick's first place to its number
};

template <class IsInBox>
void CornerStore::createGrowthFront(float limit, int maxSteps, const IsInBox& isInBox) {
    findSigns(limit);
    std::vector<Mask> vSources = findSources(maxSteps);
    parallelChunks(vSources.size(), minBricks, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            for (Mask left = vSources[i]; left; left &= left - 1) {
                const auto location =
                    static_cast<std::uint32_t>(i * brickSize) + static_cast<std::uint32_t>(std::countr_zero(left));
                if (!isInBox(rccAt(location))) vSources[i] &= ~(left & (~left + 1));
            }
        }
    });
    createFront(vSources);
}

}  // namespace QUOR_ZEF
