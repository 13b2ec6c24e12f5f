#include "field/CornerSmoother.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <memory>
#include <utility>

#include "frame/tools.h"
#include "parallel/parallelTransform.h"
#include "parallel/sortMT.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t minChunk = 500;  // tiles

// A tile with one more place on each side, x*36 + y*6 + z.
constexpr int haloStrides[3] = {36, 6, 1};
constexpr std::size_t haloSize = 216;
constexpr std::array<std::uint8_t, 16> haloPlaces = [] {
    std::array<std::uint8_t, 16> places{};
    for (unsigned row = 0; row < 16; ++row) {
        places[row] = static_cast<std::uint8_t>((row / 4 + 1) * 36 + (row % 4 + 1) * 6 + 1);
    }
    return places;
}();

// By order, the way to each slot's neighbour in a halo. Free slots lead to missing ones,
// which are 0 and change no sum.
struct HaloSteps {
    std::array<std::array<std::int8_t, 6>, SlotOrders::num> steps{};

    constexpr HaloSteps() {
        for (std::size_t order = 0; order < SlotOrders::num; ++order) {
            for (std::size_t slot = 0; slot < 6; ++slot) {
                const unsigned dir = slotOrders.dirs[order][slot];
                const int step = dir % 2 ? haloStrides[dir / 2] : -haloStrides[dir / 2];
                steps[order][slot] = static_cast<std::int8_t>(step);
            }
        }
    }
};
constexpr HaloSteps haloSteps;

// A row of four places, which the compilers turn into one instruction for each operation.
using Float4 = float __attribute__((vector_size(16)));
using Int4 = std::int32_t __attribute__((vector_size(16)));

const Int4 flagsOfLanes[16] = {{0, 0, 0, 0},   {-1, 0, 0, 0},   {0, -1, 0, 0},   {-1, -1, 0, 0},
                               {0, 0, -1, 0},  {-1, 0, -1, 0},  {0, -1, -1, 0},  {-1, -1, -1, 0},
                               {0, 0, 0, -1},  {-1, 0, 0, -1},  {0, -1, 0, -1},  {-1, -1, 0, -1},
                               {0, 0, -1, -1}, {-1, 0, -1, -1}, {0, -1, -1, -1}, {-1, -1, -1, -1}};

Float4 load(const float* p) {
    Float4 v;
    std::memcpy(&v, p, sizeof(v));
    return v;
}

void store(Float4 v, float* p) {
    std::memcpy(p, &v, sizeof(v));
}

Float4 select(Int4 bFirst, Float4 first, Float4 second) {
    return std::bit_cast<Float4>((bFirst & std::bit_cast<Int4>(first)) | (~bFirst & std::bit_cast<Int4>(second)));
}

bool isAny(Int4 flags) {
    const auto words = std::bit_cast<std::array<uint64, 2>>(flags);
    return (words[0] | words[1]) != 0;
}

Float4 absOf(Float4 v) {
    return std::bit_cast<Float4>(std::bit_cast<Int4>(v) & 0x7fffffff);
}

}  // namespace

// The products and weights around and in a tile.
struct CornerSmoother::Halo {
    std::array<float, haloSize> products, weights;

    Halo(const Tile& tile, std::size_t turn) {
        fill(products, tile, [turn](const Tile& t) -> const Numbers& { return t.products[turn]; });
        fill(weights, tile, [turn](const Tile& t) -> const Numbers& { return t.weights[turn]; });
    }

private:
    template <class NumbersOf>
    static void fill(std::array<float, haloSize>& to, const Tile& tile, const NumbersOf& numbersOf) {
        const auto copyRow = [&](const Numbers& from, std::size_t row, std::size_t place) {
            store(load(&from[4 * row]), &to[place]);
        };
        for (std::size_t row = 0; row < 16; ++row) copyRow(numbersOf(tile), row, haloPlaces[row]);
        for (std::size_t i = 0; i < 4; ++i) {
            copyRow(numbersOf(*tile.neigs[0]), 12 + i, haloPlaces[i] - 36);
            copyRow(numbersOf(*tile.neigs[1]), i, haloPlaces[12 + i] + 36);
            copyRow(numbersOf(*tile.neigs[2]), 4 * i + 3, haloPlaces[4 * i] - 6);
            copyRow(numbersOf(*tile.neigs[3]), 4 * i, haloPlaces[4 * i + 3] + 6);
        }
        const Numbers &below = numbersOf(*tile.neigs[4]), &above = numbersOf(*tile.neigs[5]);
        for (std::size_t row = 0; row < 16; ++row) {
            to[haloPlaces[row] - 1] = below[4 * row + 3];
            to[haloPlaces[row] + 4] = above[4 * row];
        }
    }
};

CornerSmoother::Tile* CornerSmoother::newTile(CornerStore::Brick* pBrick) {
    Tile* const pTile = std::construct_at(pool.alloc());
    pTile->pBrick = pBrick;
    return pTile;
}

void CornerSmoother::requireTile(const CornerStore& store, std::uint32_t number) {
    if (number == 0 || vByNumber[number]) return;
    vByNumber[number] = newTile(&store.brick(number));
    vTiles.push_back(vByNumber[number]);
}

// Makes the tiles for corners that came since the last call. What the sweeps rely on is checked
// here, on the calling thread.
void CornerSmoother::takeNewCorners(const CornerStore& store) {
    vByNumber.resize(store.numBricks(), nullptr);
    for (; numTaken < store.vCorners.size(); ++numTaken) {
        const Corner& corner = *store.vCorners[numTaken];
        const float neigVal = corner.val;
        ASSEX(neigVal!=3.402823466e+38F);
        if (!corner.isActive()) continue;
        const Corner* const pReceivingCorner = &corner;
        const float ownVal = corner.val, ownWeight = corner.weight;
        ASSEX(ownVal!=3.402823466e+38F && ownWeight!=3.402823466e+38F);
        if (corner.state == ST_LOWER_BORDER) {
            ASSEX(pReceivingCorner->val<0 || pReceivingCorner->val==3.402823466e+38F);
        }
        if (corner.state == ST_UPPER_BORDER) ASSEX(pReceivingCorner->val>0);
        const std::uint32_t number = corner.location / CornerStore::brickSize;
        requireTile(store, number);
        vByNumber[number]->active |= Mask{1} << corner.location % CornerStore::brickSize;
        vByNumber[number]->lastNew = numCalls;
        for (const std::uint32_t neig : store.brick(number).neigs) requireTile(store, neig);
    }
}

// Z-order keeps tiles that read each other close in time.
void CornerSmoother::orderTiles() {
    std::vector<std::pair<uint64, Tile*>> vOrder;
    vOrder.reserve(vTiles.size());
    for (Tile* const pTile : vTiles) {
        const GridCoords c = unpackRCD(pTile->pBrick->rcc);
        vOrder.emplace_back(packCCD(c.x, c.y, c.z), pTile);
    }
    sortByFirstMT(vOrder.begin(), vOrder.end());
    for (std::size_t i = 0; i < vOrder.size(); ++i) vTiles[i] = vOrder[i].second;
}

void CornerSmoother::refresh(Tile& tile) const {
    const CornerStore::Brick& brick = *tile.pBrick;
    for (std::size_t dir = 0; dir < 6; ++dir) {
        const Tile* const pNeig = vByNumber[brick.neigs[dir]];
        tile.neigs[dir] = pNeig ? pNeig : pEmpty;
    }
    for (Mask left = brick.exists; left; left &= left - 1) {
        const auto place = static_cast<std::size_t>(std::countr_zero(left));
        const Value value = valueOf(brick.corners[place]);
        tile.products[0][place] = tile.products[1][place] = value.product;
        tile.weights[0][place] = tile.weights[1][place] = value.weight;
    }
    tile.numRuns = 0;
    for (Mask left = tile.active; left;) tile.runs[tile.numRuns++] = takeRun(brick, left);
    tile.bSettled = brick.open == 0;
}

// The first of the places left, and those of its row that go with it.
CornerSmoother::Run CornerSmoother::takeRun(const CornerStore::Brick& brick, Mask& left) const {
    const auto place = static_cast<std::size_t>(std::countr_zero(left));
    const Corner& first = brick.corners[place];
    unsigned lanes = 0, numNeigs = 0;
    for (std::size_t i = place; i < place / 4 * 4 + 4; ++i) {
        const Corner& corner = brick.corners[i];
        if (!(left >> i & 1) || corner.state != first.state) continue;
        if (bInSlotOrder && corner.slots != first.slots) continue;
        lanes |= 1u << i % 4;
        numNeigs |= static_cast<unsigned>(corner.numNeigs()) << 3 * (i % 4);
        left &= ~(Mask{1} << i);
    }
    return {bInSlotOrder ? first.slots : static_cast<std::uint16_t>(numNeigs), static_cast<std::uint8_t>(place / 4),
            static_cast<std::uint8_t>(lanes | unsigned{first.state} << 4)};
}

void CornerSmoother::refresh(const CornerStore& store) {
    if (!pEmpty) {
        pool.init(8, -1);
        pEmpty = newTile(nullptr);
    }
    const std::size_t numBefore = vTiles.size();
    takeNewCorners(store);
    if (vTiles.size() > numBefore) orderTiles();
    parallelChunks(vTiles.size(), minChunk, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            if (!vTiles[i]->bSettled) refresh(*vTiles[i]);
        }
    });
}

// Tiles near which no corner came for a while are left alone from now on, or again.
void CornerSmoother::letRest() {
    const auto spread = [this](int Tile::*from, int Tile::*to) {
        parallelChunks(vTiles.size(), minChunk, [&](std::size_t begin, std::size_t end) {
            for (std::size_t i = begin; i < end; ++i) {
                int latest = vTiles[i]->*from;
                for (const Tile* const pNeig : vTiles[i]->neigs) latest = std::max(latest, pNeig->*from);
                vTiles[i]->*to = latest;
            }
        });
    };
    spread(&Tile::lastNew, &Tile::lastBeside);
    spread(&Tile::lastBeside, &Tile::lastNear);
    for (Tile* const pTile : vTiles) {
        const bool bRest = pTile->lastNear < numCalls - restAfter;
        if (bRest && !pTile->bResting) {
            pTile->products[1 - turn] = pTile->products[turn];
            pTile->weights[1 - turn] = pTile->weights[turn];
        }
        pTile->bResting = bRest;
    }
}

float CornerSmoother::keepBorder(bool bLower, float newVal) const {
    if (bLower) {
        if (newVal < -maxBorderVal) return -maxBorderVal;
        return newVal >= 0.0F ? -smallestVal : newVal;
    }
    if (newVal > maxBorderVal) return maxBorderVal;
    return newVal <= 0.0F ? smallestVal : newVal;
}

// What a row's corners come to by the mean, those of other runs included.
struct CornerSmoother::Means {
    Float4 val, weight;

    template <bool bSlots>
    Means(const Run& run, const Halo& halo, std::bool_constant<bSlots> /*inSlotOrder*/) {
        const float* const pProduct = &halo.products[haloPlaces[run.row]];
        const float* const pWeight = &halo.weights[haloPlaces[run.row]];
        Float4 sum = load(pProduct), sumWeight = load(pWeight), numNeigs;
        const auto add = [&](int step) {
            sum += load(pProduct + step);
            sumWeight += load(pWeight + step);
        };
        if constexpr (bSlots) {
            for (const int step : haloSteps.steps[run.slots]) add(step);
            numNeigs = Float4{} + static_cast<float>(slotOrders.numNeigs[run.slots]);
        } else {
            // Missing neighbours are 0.
            for (const int stride : haloStrides) {
                add(-stride);
                add(stride);
            }
            const Int4 nums = {run.slots & 7, run.slots >> 3 & 7, run.slots >> 6 & 7, run.slots >> 9};
            numNeigs = __builtin_convertvector(nums, Float4);
        }
        val = sum / sumWeight;
        val = select(val == 0.0F, Float4{} + smallestVal, val);
        weight = sumWeight / (numNeigs + 1.0F);
    }

    // Larger than in clouds of small units.
    Int4 isLarge() const {
        constexpr float largeWeight = 2.0F, largeVal = 100.0F;
        return (weight >= largeWeight) | (absOf(val) >= largeVal);
    }
};

template <bool bLast>
void CornerSmoother::keep(const Run& run, Means means, Tile& tile) const {
    if (run.state() != ST_INFLATED) {
        for (int lane = 0; lane < 4; ++lane)
            means.val[lane] = keepBorder(run.state() == ST_LOWER_BORDER, means.val[lane]);
    }
    const Int4 flags = flagsOfLanes[run.lanes()];
    float* const pProduct = &tile.products[1 - turn][4 * run.row];
    float* const pWeight = &tile.weights[1 - turn][4 * run.row];
    store(select(flags, bUseWeights ? means.weight * means.val : means.val, load(pProduct)), pProduct);
    store(select(flags, means.weight, load(pWeight)), pWeight);
    if constexpr (bLast) {
        for (int lane = 0; lane < 4; ++lane) {
            if (!(run.lanes() >> lane & 1)) continue;
            Corner& corner = tile.pBrick->corners[static_cast<std::size_t>(4 * run.row + lane)];
            corner.val = means.val[lane];
            corner.weight = means.weight[lane];
        }
    }
}

template <bool bSlots>
CornerSmoother::Trace CornerSmoother::findLarge(const Tile& tile, const Halo& halo) {
    for (std::size_t i = 0; i < tile.numRuns; ++i) {
        const Means means(tile.runs[i], halo, std::bool_constant<bSlots>());
        const Int4 large = means.isLarge() & flagsOfLanes[tile.runs[i].lanes()];
        for (int lane = 0; lane < 4; ++lane) {
            if (large[lane]) return {true, means.weight[lane], means.val[lane]};
        }
    }
    return {};
}

template <bool bLast, bool bSlots>
CornerSmoother::Trace CornerSmoother::sweepTile(Tile& tile) const {
    const Halo halo(tile, turn);
    Int4 large{};
    for (std::size_t i = 0; i < tile.numRuns; ++i) {
        const Means means(tile.runs[i], halo, std::bool_constant<bSlots>());
        large |= means.isLarge() & flagsOfLanes[tile.runs[i].lanes()];
        keep<bLast>(tile.runs[i], means, tile);
    }
    return isAny(large) ? findLarge<bSlots>(tile, halo) : Trace();
}

template <bool bLast>
CornerSmoother::Trace CornerSmoother::sweep() {
    const auto vTraces = parallelChunkResults<Trace>(vTiles.size(), minChunk, [&](std::size_t begin, std::size_t end) {
        Trace first;
        for (std::size_t i = begin; i < end; ++i) {
            if (vTiles[i]->numRuns == 0 || vTiles[i]->bResting) continue;
            const Trace trace = bInSlotOrder ? sweepTile<bLast, true>(*vTiles[i]) : sweepTile<bLast, false>(*vTiles[i]);
            if (trace.bFound && !first.bFound) first = trace;
        }
        return first;
    });
    turn = 1 - turn;
    const auto it = std::find_if(vTraces.begin(), vTraces.end(), [](const Trace& trace) { return trace.bFound; });
    return it == vTraces.end() ? Trace() : *it;
}

void CornerSmoother::smooth(CornerStore& store, int numPasses) {
    if (numPasses <= 0) return;
    ++numCalls;
    refresh(store);
    if (restAfter != neverResting) letRest();
    Trace first;
    for (int pass = 1; pass <= numPasses; ++pass) {
        const Trace trace = pass == numPasses ? sweep<true>() : sweep<false>();
        if (trace.bFound && !first.bFound) first = trace;
    }
    if (first.bFound) showDetail("newWeight=", first.weight, ", newVal=", first.val);
}

}  // namespace QUOR_ZEF
