#include "field/CornerSmoother.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <iterator>
#include <memory>
#include <utility>

#include "frame/tools.h"
#include "geometry/Float4.h"
#include "parallel/parallelTransform.h"
#include "parallel/sortMT.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t minTiles = 500, minSweptTiles = 250, minMadeTiles = 50;
constexpr int sweepsTogether = 4;       // a corner's width of a tile: what is beyond the next one is too far
constexpr std::size_t patchSize = 256;  // tiles; with those around them they fit into 1 MB

const Int4 flagsOfLanes[16] = {{0, 0, 0, 0},   {-1, 0, 0, 0},   {0, -1, 0, 0},   {-1, -1, 0, 0},
                               {0, 0, -1, 0},  {-1, 0, -1, 0},  {0, -1, -1, 0},  {-1, -1, -1, 0},
                               {0, 0, 0, -1},  {-1, 0, 0, -1},  {0, -1, 0, -1},  {-1, -1, 0, -1},
                               {0, 0, -1, -1}, {-1, 0, -1, -1}, {0, -1, -1, -1}, {-1, -1, -1, -1}};

bool isAny(Int4 flags) {
    const auto words = std::bit_cast<std::array<uint64, 2>>(flags);
    return (words[0] | words[1]) != 0;
}

Float4 absOf(Float4 v) {
    return std::bit_cast<Float4>(std::bit_cast<Int4>(v) & 0x7fffffff);
}

// The values of border corners, which keep their sign and stay within most.
Float4 keepBorder(bool bLower, float most, Float4 newVals) {
    const Float4 vals = bLower ? newVals : -newVals, farthest = Float4{} - most;
    const Float4 kept = select(vals >= 0.0F, Float4{} - smallestVal, select(vals < farthest, farthest, vals));
    return bLower ? kept : -kept;
}

// Which row of which tile lies beside a row, by row and dir: 0 is the tile itself, 1 + dir the one beside it.
struct RowBeside {
    std::uint8_t tile = 0, row = 0;
};
constexpr auto rowsBeside = [] {
    std::array<std::array<RowBeside, 4>, 16> rows{};
    for (std::uint8_t row = 0; row < 16; ++row) {
        const int x = row / 4, y = row % 4;
        const auto at = [](bool bInside, int dir, int inside, int beyond) {
            return RowBeside{static_cast<std::uint8_t>(bInside ? 0 : 1 + dir),
                             static_cast<std::uint8_t>(bInside ? inside : beyond)};
        };
        rows[row] = {at(x > 0, 0, row - 4, row + 12), at(x < 3, 1, row + 4, row - 12), at(y > 0, 2, row - 1, row + 3),
                     at(y < 3, 3, row + 1, row - 3)};
    }
    return rows;
}();

}  // namespace

// A tile, and those beside it behind it, by dir.
struct CornerSmoother::Tiles {
    std::array<const Tile*, 7> tiles;

    explicit Tiles(const Tile& tile) {
        tiles[0] = &tile;
        std::copy(tile.neigs.begin(), tile.neigs.end(), tiles.begin() + 1);
    }
};

// What a row holds, and the rows beside it by dir. Those along z are the row itself, moved by one place.
// Looked up without jumps: they would be guessed wrong too often.
struct CornerSmoother::Rows {
    struct Row {
        Float4 products, weights;
    };
    Row own;
    std::array<Row, 6> beside;

    Rows(const Tiles& around, std::size_t row, std::size_t turn) {
        const auto rowOf = [&](std::size_t tile, std::size_t i) -> Row {
            const Tile& t = *around.tiles[tile];
            return {load(&t.products[turn][4 * i]), load(&t.weights[turn][4 * i])};
        };
        own = rowOf(0, row);
        for (std::size_t dir = 0; dir < 4; ++dir)
            beside[dir] = rowOf(rowsBeside[row][dir].tile, rowsBeside[row][dir].row);
        const Row below = rowOf(5, row), above = rowOf(6, row);
        beside[4] = {__builtin_shufflevector(below.products, own.products, 3, 4, 5, 6),
                     __builtin_shufflevector(below.weights, own.weights, 3, 4, 5, 6)};
        beside[5] = {__builtin_shufflevector(own.products, above.products, 1, 2, 3, 4),
                     __builtin_shufflevector(own.weights, above.weights, 1, 2, 3, 4)};
    }
};

// The active ones of a brick's corners that came since it was looked at. What the sweeps rely on is checked here.
CornerSmoother::Mask CornerSmoother::takeNew(const CornerStore::Brick& brick, Mask& taken) const {
    Mask active = 0;
    for (Mask left = brick.exists & ~taken; left; left &= left - 1) {
        const Corner& corner = brick.corners[static_cast<std::size_t>(std::countr_zero(left))];
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
        active |= left & (~left + 1);
    }
    taken = brick.exists;
    return active;
}

// Makes the tiles for corners that came since the last call. By brick: where corners or tiles came, there or beside it.
std::vector<std::uint8_t> CornerSmoother::takeNewCorners(const CornerStore& store) {
    vTaken.resize(store.numBricks());
    vByNumber.resize(store.numBricks(), nullptr);
    using Brick = std::pair<std::uint32_t, Mask>;  // its number and new active corners
    const auto vFound =
        parallelChunkResults<std::vector<Brick>>(store.numBricks(), minTiles, [&](std::size_t begin, std::size_t end) {
            std::vector<Brick> v;
            for (std::size_t i = begin; i < end; ++i) {
                const CornerStore::Brick& brick = store.brick(i);
                if (brick.exists != vTaken[i]) v.emplace_back(i, takeNew(brick, vTaken[i]));
            }
            return v;
        });
    std::vector<std::uint8_t> vStale(store.numBricks());
    const auto markStale = [&](std::uint32_t number) {
        vStale[number] = 1;
        for (const std::uint32_t neig : store.brick(number).neigs) vStale[neig] = 1;
    };
    std::vector<std::uint32_t> vNeeded;
    const auto require = [&](std::uint32_t number) {
        if (number == 0 || vByNumber[number]) return;
        vByNumber[number] = pool.alloc();
        vNeeded.push_back(number);
    };
    for (const std::vector<Brick>& v : vFound) {
        for (const auto& [number, active] : v) {
            markStale(number);
            if (!active) continue;
            require(number);
            for (const std::uint32_t neig : store.brick(number).neigs) require(neig);
        }
    }
    makeTiles(store, vNeeded);
    for (const std::uint32_t number : vNeeded) markStale(number);
    for (const std::vector<Brick>& v : vFound) {
        for (const auto& [number, active] : v) {
            if (!active) continue;
            vByNumber[number]->active |= active;
            vByNumber[number]->lastNew = numCalls;
        }
    }
    return vStale;
}

// In the places that they have. Z-order keeps tiles that read each other close in time.
void CornerSmoother::makeTiles(const CornerStore& store, const std::vector<std::uint32_t>& vBricks) {
    if (vBricks.empty()) return;
    const auto numBefore = static_cast<std::ptrdiff_t>(vTiles.size());
    vTiles.resize(vTiles.size() + vBricks.size());
    const auto firstNew = vTiles.begin() + numBefore;
    parallelChunks(vBricks.size(), minMadeTiles, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            Tile* const pTile = std::construct_at(vByNumber[vBricks[i]], &store.brick(vBricks[i]));
            const GridCoords c = unpackRCD(pTile->pBrick->rcc);
            firstNew[static_cast<std::ptrdiff_t>(i)] = {packCCD(c.x, c.y, c.z), pTile};
        }
    });
    sortByFirstMT(firstNew, vTiles.end());
    std::inplace_merge(vTiles.begin(), firstNew, vTiles.end(),
                       [](const auto& a, const auto& b) { return a.first < b.first; });
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
        pEmpty = std::construct_at(pool.alloc(), nullptr);
    }
    const std::vector<std::uint8_t> vStale = takeNewCorners(store);
    parallelChunks(vByNumber.size(), minTiles, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            if (vStale[i] && vByNumber[i] && !vByNumber[i]->bSettled) refresh(*vByNumber[i]);
        }
    });
}

// Tiles near which no corner came for a while are left alone from now on, or again.
void CornerSmoother::letRest() {
    const auto spread = [this](int Tile::*from, int Tile::*to) {
        parallelChunks(vTiles.size(), minTiles, [&](std::size_t begin, std::size_t end) {
            for (std::size_t i = begin; i < end; ++i) {
                Tile& tile = *vTiles[i].second;
                int latest = tile.*from;
                for (const Tile* const pNeig : tile.neigs) latest = std::max(latest, pNeig->*from);
                tile.*to = latest;
            }
        });
    };
    spread(&Tile::lastNew, &Tile::lastBeside);
    spread(&Tile::lastBeside, &Tile::lastNear);
    parallelChunks(vTiles.size(), minTiles, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            Tile& tile = *vTiles[i].second;
            const bool bRest = tile.lastNear < std::max(numCalls - restAfter, firstCounting);
            if (bRest && !tile.bResting) {
                tile.products[1 - turn] = tile.products[turn];
                tile.weights[1 - turn] = tile.weights[turn];
            }
            tile.bResting = bRest;
        }
    });
}

// What a row's corners come to by the mean, those of other runs included.
struct CornerSmoother::Means {
    Float4 val, weight;

    template <bool bSlots>
    Means(const Tiles& around, const Run& run, std::size_t turn, std::bool_constant<bSlots> /*inSlotOrder*/) {
        const Rows rows(around, run.row, turn);
        Float4 sum = rows.own.products, sumWeight = rows.own.weights, numNeigs;
        // Missing neighbours, to which free slots lead too, are 0 and change no sum.
        for (std::size_t i = 0; i < rows.beside.size(); ++i) {
            const std::size_t dir = bSlots ? slotOrders.dirs[run.slots][i] : i;
            sum += rows.beside[dir].products;
            sumWeight += rows.beside[dir].weights;
        }
        if constexpr (bSlots) {
            numNeigs = Float4{} + static_cast<float>(slotOrders.numNeigs[run.slots]);
        } else {
            // Each lane takes its bits where they stand, which makes it a power of two too large.
            const Int4 nums = (Int4{} + run.slots) & Int4{7, 7 << 3, 7 << 6, 7 << 9};
            numNeigs = __builtin_convertvector(nums, Float4) * Float4{0x1p0F, 0x1p-3F, 0x1p-6F, 0x1p-9F};
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
void CornerSmoother::keep(const Run& run, Means means, Tile& tile, std::size_t from) const {
    if (run.state() != ST_INFLATED) means.val = keepBorder(run.state() == ST_LOWER_BORDER, maxBorderVal, means.val);
    const Int4 flags = flagsOfLanes[run.lanes()];
    float* const pProduct = &tile.products[1 - from][4 * run.row];
    float* const pWeight = &tile.weights[1 - from][4 * run.row];
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
CornerSmoother::Trace CornerSmoother::findLarge(const Tile& tile, std::size_t from) {
    const Tiles around(tile);
    for (std::size_t i = 0; i < tile.numRuns; ++i) {
        const Means means(around, tile.runs[i], from, std::bool_constant<bSlots>());
        const Int4 large = means.isLarge() & flagsOfLanes[tile.runs[i].lanes()];
        for (int lane = 0; lane < 4; ++lane) {
            if (large[lane]) return {0, means.weight[lane], means.val[lane]};
        }
    }
    return {};
}

template <bool bLast, bool bSlots>
CornerSmoother::Trace CornerSmoother::sweepRuns(Tile& tile, std::size_t from) const {
    const Tiles around(tile);
    Int4 large{};
    for (std::size_t i = 0; i < tile.numRuns; ++i) {
        const Means means(around, tile.runs[i], from, std::bool_constant<bSlots>());
        large |= means.isLarge() & flagsOfLanes[tile.runs[i].lanes()];
        keep<bLast>(tile.runs[i], means, tile, from);
    }
    return isAny(large) ? findLarge<bSlots>(tile, from) : Trace();
}

#if defined(__x86_64__)
bool CornerSmoother::hasAVX2() {
    return __builtin_cpu_supports("avx2") != 0;
}

// The same operations in the same order, with instructions that choose at once and overwrite nothing that they read.
template <bool bLast, bool bSlots>
__attribute__((target("avx2"), flatten)) CornerSmoother::Trace CornerSmoother::sweepRunsByAVX2(Tile& tile,
                                                                                               std::size_t from) const {
    return sweepRuns<bLast, bSlots>(tile, from);
}
#else
bool CornerSmoother::hasAVX2() {
    return false;
}

template <bool bLast, bool bSlots>
CornerSmoother::Trace CornerSmoother::sweepRunsByAVX2(Tile& tile, std::size_t from) const {
    return sweepRuns<bLast, bSlots>(tile, from);
}
#endif

template <bool bLast>
CornerSmoother::Trace CornerSmoother::sweepTile(Tile& tile, std::size_t from) const {
    if (bAVX2)
        return bInSlotOrder ? sweepRunsByAVX2<bLast, true>(tile, from) : sweepRunsByAVX2<bLast, false>(tile, from);
    return bInSlotOrder ? sweepRuns<bLast, true>(tile, from) : sweepRuns<bLast, false>(tile, from);
}

// The tiles that this call sweeps.
void CornerSmoother::findWork() {
    vAtWork.clear();
    for (const auto& [code, pTile] : vTiles) {
        const bool bAtWork = pTile->numRuns > 0 && !pTile->bResting;
        pTile->place = bAtWork ? static_cast<std::uint32_t>(vAtWork.size()) : noPlace;
        if (bAtWork) vAtWork.push_back(pTile);
    }
    vPatches.clear();
    if (vAtWork.size() <= 2 * patchSize) return;
    vPatches.resize((vAtWork.size() + patchSize - 1) / patchSize);
    parallelChunks(vPatches.size(), 1, [&](std::size_t begin, std::size_t end) {
        std::vector<bool> vSeen(vAtWork.size());
        for (std::size_t i = begin; i < end; ++i) {
            vPatches[i] = {i * patchSize, std::min((i + 1) * patchSize, vAtWork.size()), {}};
            findAround(vPatches[i], vSeen);
        }
    });
}

// vSeen: of the tiles at work; none, before and after.
void CornerSmoother::findAround(Patch& patch, std::vector<bool>& vSeen) const {
    const auto see = [&](const Tile* pTile) {
        if (pTile->place == noPlace || vSeen[pTile->place]) return;
        vSeen[pTile->place] = true;
        patch.vAround.push_back(pTile->place);
    };
    for (std::size_t i = patch.first; i < patch.end; ++i) vSeen[i] = true;
    for (std::size_t i = patch.first; i < patch.end; ++i) {
        for (std::size_t dir = 0; dir < 6; ++dir) {
            const Tile* const pBeside = vAtWork[i]->neigs[dir];
            see(pBeside);
            if (pBeside == pEmpty) continue;
            for (std::size_t second = 0; second < 6; ++second) {
                if (second / 2 == dir / 2 || pBeside->neigs[second] == pEmpty) continue;
                const Tile* const pDiagonal = pBeside->neigs[second];
                see(pDiagonal);
                const std::size_t third = 2 * (3 - dir / 2 - second / 2);
                for (const std::size_t end : {third, third + 1}) see(pDiagonal->neigs[end]);
            }
        }
    }
    for (std::size_t i = patch.first; i < patch.end; ++i) vSeen[i] = false;
    for (const std::uint32_t place : patch.vAround) vSeen[place] = false;
}

template <bool bLast>
CornerSmoother::Trace CornerSmoother::sweep() {
    const auto vTraces =
        parallelChunkResults<Trace>(vAtWork.size(), minSweptTiles, [&](std::size_t begin, std::size_t end) {
            Trace first;
            for (std::size_t i = begin; i < end; ++i) first.add(sweepTile<bLast>(*vAtWork[i], turn), 0);
            return first;
        });
    turn = 1 - turn;
    return Trace::firstOf(vTraces);
}

// Copies of the tiles of a patch and of those around it.
struct CornerSmoother::PatchCopy {
    std::vector<Tile> vTiles;
    std::vector<std::uint32_t> vNumberOf;  // by place

    explicit PatchCopy(std::size_t numAtWork) : vNumberOf(numAtWork, noPlace) {}

    void take(const CornerSmoother& smoother, const Patch& patch) {
        for (const Tile& tile : vTiles) vNumberOf[tile.place] = noPlace;
        vTiles.clear();
        vTiles.reserve(patch.end - patch.first + patch.vAround.size());
        const std::size_t numOwn = patch.end - patch.first, num = numOwn + patch.vAround.size();
        const auto at = [&](std::size_t i) -> const Tile& {
            return *smoother.vAtWork[i < numOwn ? patch.first + i : patch.vAround[i - numOwn]];
        };
        for (std::size_t i = 0; i < num; ++i) {
            if (i + 2 < num) fetch(at(i + 2), smoother.turn);
            add(at(i), smoother.turn);
        }
        for (Tile& tile : vTiles) {
            for (const Tile*& pNeig : tile.neigs) {
                if (pNeig->place == noPlace) continue;
                const std::uint32_t number = vNumberOf[pNeig->place];
                pNeig = number == noPlace ? smoother.pEmpty : &vTiles[number];
            }
        }
    }

private:
    // They lie anywhere in memory.
    static void fetch(const Tile& tile, std::size_t from) {
        constexpr std::size_t lineSize = 64;
        const auto fetchBytes = [](const void* pFirst, std::size_t num) {
            for (std::size_t i = 0; i < num; i += lineSize) __builtin_prefetch(static_cast<const char*>(pFirst) + i);
        };
        fetchBytes(&tile, sizeof(void*) * 12);
        fetchBytes(&tile.products[from], sizeof(Numbers));
        fetchBytes(&tile.weights[from], sizeof(Numbers));
        fetchBytes(&tile.runs, sizeof(tile.runs) / 2);
    }
    // Others may write what is not read in this turn.
    void add(const Tile& tile, std::size_t from) {
        vNumberOf[tile.place] = static_cast<std::uint32_t>(vTiles.size());
        vTiles.emplace_back(tile, from);
    }
};

// In each sweep what is known of the tiles around shrinks by a corner from outside, and they are as wide
// as there are sweeps.
template <bool bLast>
CornerSmoother::Trace CornerSmoother::sweepPatch(const Patch& patch, int numSweeps, PatchCopy& copy) const {
    Trace first;
    copy.take(*this, patch);
    const std::size_t numOwn = patch.end - patch.first;
    for (int i = 0; i < numSweeps; ++i) {
        const bool bEnd = i + 1 == numSweeps;
        const auto from = static_cast<std::size_t>(i % 2);
        for (std::size_t k = 0; k < numOwn; ++k) {
            Tile& tile = copy.vTiles[k];
            first.add(bLast && bEnd ? sweepTile<true>(tile, from) : sweepTile<false>(tile, from), i);
        }
        for (std::size_t k = numOwn; k < copy.vTiles.size() && !bEnd; ++k) sweepTile<false>(copy.vTiles[k], from);
    }
    const auto last = static_cast<std::size_t>(numSweeps % 2);
    for (std::size_t k = 0; k < numOwn; ++k) {
        Tile& tile = *vAtWork[patch.first + k];
        tile.products[1 - turn] = copy.vTiles[k].products[last];
        tile.weights[1 - turn] = copy.vTiles[k].weights[last];
    }
    return first;
}

template <bool bLast>
CornerSmoother::Trace CornerSmoother::sweepPatches(int numSweeps) {
    const auto vTraces = parallelChunkResults<Trace>(vPatches.size(), 1, [&](std::size_t begin, std::size_t end) {
        Trace first;
        PatchCopy copy(vAtWork.size());
        for (std::size_t i = begin; i < end; ++i) first.add(sweepPatch<bLast>(vPatches[i], numSweeps, copy));
        return first;
    });
    turn = 1 - turn;
    return Trace::firstOf(vTraces);
}

void CornerSmoother::smooth(CornerStore& store, int numPasses) {
    if (numPasses <= 0) return;
    ++numCalls;
    refresh(store);
    if (restAfter != neverResting) letRest();
    findWork();
    Trace first;
    for (int done = 0; done < numPasses;) {
        const int num = vPatches.empty() ? 1 : std::min(sweepsTogether, numPasses - done);
        done += num;
        const bool bLast = done == numPasses;
        if (vPatches.empty()) {
            first.add(bLast ? sweep<true>() : sweep<false>(), done);
        } else {
            first.add(bLast ? sweepPatches<true>(num) : sweepPatches<false>(num), done);
        }
    }
    if (first.isFound()) showDetail("newWeight=", first.weight, ", newVal=", first.val);
}

}  // namespace QUOR_ZEF
