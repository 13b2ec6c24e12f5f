#include "field/CornerStore.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <memory>
#include <utility>

#include "frame/tools.h"
#include "parallel/parallelTransform.h"
#include "parallel/sortMT.h"

namespace QUOR_ZEF {

namespace {

using Mask = CornerStore::Mask;

constexpr std::size_t minBricks = 500;
constexpr uint64 lowBits = 3 * (stepX_RCD + stepY_RCD + stepZ_RCD);
constexpr uint64 steps[6] = {0 - stepX_RCD, stepX_RCD, 0 - stepY_RCD, stepY_RCD, 0 - stepZ_RCD, stepZ_RCD};

// By axis: how far apart neighbours lie in a brick, and the places at its lower end.
constexpr unsigned strides[3] = {16, 4, 1};
constexpr Mask lowerEnds[3] = {0x000000000000ffff, 0x000f000f000f000f, 0x1111111111111111};

constexpr unsigned placeOf(uint64 rcc) {
    return static_cast<unsigned>((rcc >> 42 & 3) << 4 | (rcc >> 21 & 3) << 2 | (rcc & 3));
}

}  // namespace

CornerStore::CornerStore(const Calc* pGrid) : pCalc(pGrid) {}

uint64 CornerStore::rccAt(std::uint32_t location) const {
    const unsigned place = location % brickSize;
    return vBricks[location / brickSize]->rcc + packRCD(place >> 4, place >> 2 & 3, place & 3);
}

// Where the neighbour lies; somewhere in brick 0 if its brick does not exist.
std::uint32_t CornerStore::neighbourOf(std::uint32_t location, unsigned dir) const {
    const unsigned stride = strides[dir / 2], coordinate = location / stride % 4;
    const bool bUp = dir % 2;
    if (bUp ? coordinate < 3 : coordinate > 0) return bUp ? location + stride : location - stride;
    const std::uint32_t place = location % brickSize;
    return vBricks[location / brickSize]->neigs[dir] * brickSize + (bUp ? place - 3 * stride : place + 3 * stride);
}

// The number of the brick with this first place, a new one if need be.
std::uint32_t CornerStore::requireBrick(uint64 rccOfBrick) {
    // Most stores stay empty, those of raw Components, and there may be very many.
    if (vBricks.empty()) {
        pool.init(4, -1);
        vBricks.push_back(std::construct_at(pool.alloc()));
    }
    const auto newNumber = static_cast<std::uint32_t>(vBricks.size());
    const std::uint32_t number = numbers.insert(rccOfBrick, newNumber);
    if (number != newNumber) return number;
    ASSEX(vBricks.size() < CodeMap::npos / brickSize);
    Brick* const pBrick = std::construct_at(pool.alloc());
    vBricks.push_back(pBrick);
    pBrick->rcc = rccOfBrick;
    for (std::size_t dir = 0; dir < 6; ++dir) {
        const std::uint32_t neig = numbers.find(rccOfBrick + 4 * steps[dir]);
        if (neig == CodeMap::npos) continue;
        pBrick->neigs[dir] = neig;
        vBricks[neig]->neigs[dir ^ 1] = number;
    }
    return number;
}

Corner* CornerStore::createCorner(uint64 rcc) {
    return createAt(requireBrick(rcc & ~lowBits) * brickSize + placeOf(rcc));
}

Corner* CornerStore::createAt(std::uint32_t location) {
    Corner* const pCorner = cornerAt(location);
    *pCorner = Corner();
    pCorner->location = location;
    Brick& own = *vBricks[location / brickSize];
    own.exists |= Mask{1} << location % brickSize;
    own.open |= Mask{1} << location % brickSize;
    vCorners.push_back(pCorner);
    for (unsigned dir = 0; dir < 6; ++dir) {
        const std::uint32_t neigLocation = neighbourOf(location, dir);
        Brick& brick = *vBricks[neigLocation / brickSize];
        const Mask bit = Mask{1} << neigLocation % brickSize;
        if (!(brick.exists & bit)) continue;
        Corner& neig = brick.corners[neigLocation % brickSize];
        const std::uint16_t slotsOfNeig = slotOrders.next[neig.slots][dir ^ 1];
        const bool bRegistered = slotsOfNeig != 0;
        ASSEX(bRegistered);
        neig.slots = slotsOfNeig;
        if (neig.hasAllNeigs()) brick.open &= ~bit;
        pCorner->slots = slotOrders.next[pCorner->slots][dir];
    }
    if (pCorner->hasAllNeigs()) own.open &= ~(Mask{1} << location % brickSize);
    return pCorner;
}

Corner* CornerStore::getCorner(uint64 rcc) const {
    const std::uint32_t number = numbers.find(rcc & ~lowBits);
    if (number == CodeMap::npos) return nullptr;
    return vBricks[number]->exists >> placeOf(rcc) & 1 ? cornerAt(number * brickSize + placeOf(rcc)) : nullptr;
}

void CornerStore::getNeigs(const Corner* pCorner, std::vector<Corner*>& vNeigs) const {
    ASSEX(vNeigs.empty());
    forEachNeig(*pCorner, [&](Corner& neig) { vNeigs.push_back(&neig); });
}

CornerStore::Mask CornerStore::withNeighbour(const std::vector<Mask>& vMasks, std::uint32_t number,
                                             unsigned dir) const {
    const unsigned stride = strides[dir / 2];
    const Mask lower = lowerEnds[dir / 2], upper = lower << 3 * stride;
    const Mask own = vMasks[number], beside = vMasks[vBricks[number]->neigs[dir]];
    if (dir % 2) return (own >> stride & ~upper) | (beside << 3 * stride & upper);
    return (own << stride & ~lower) | (beside >> 3 * stride & lower);
}

CornerStore::Signs CornerStore::signsOf(const Brick& brick, float limit) {
    Signs signs;
    for (Mask left = brick.exists; left; left &= left - 1) {
        const Corner& corner = brick.corners[static_cast<std::size_t>(std::countr_zero(left))];
        const Mask bit = left & (~left + 1);
        if (corner.val == 0.0F) {
            signs.zero |= bit;
        } else if (std::abs(corner.val) < limit) {
            signs.sources |= bit;
        }
        if (!corner.isActive()) continue;
        (corner.val < 0.0F ? signs.lower : signs.upper) |= bit;
        if (corner.state != ST_INFLATED) signs.border |= bit;
    }
    signs.seen = brick.exists;
    return signs;
}

// Bricks without active corners are as they were, but for new ones.
void CornerStore::findSigns(float limit) {
    vSigns.resize(vBricks.size());
    parallelChunks(vBricks.size(), minBricks, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            Signs& signs = vSigns[i];
            if ((signs.lower | signs.upper) || signs.seen != vBricks[i]->exists) signs = signsOf(*vBricks[i], limit);
        }
    });
}

// By brick.
std::vector<CornerStore::Mask> CornerStore::findSources(int maxSteps) const {
    std::vector<Mask> vSources(vBricks.size());
    for (std::size_t i = 0; i < vBricks.size(); ++i) vSources[i] = vSigns[i].sources & vBricks[i]->open;
    if (maxSteps != anywhere) keepNearSignChanges(maxSteps, vSources);
    return vSources;
}

// By brick.
std::vector<CornerStore::Mask> CornerStore::findSignChanges() const {
    std::vector<Mask> vLower(vBricks.size()), vUpper(vBricks.size()), vZero(vBricks.size()), vChanges(vBricks.size());
    for (std::size_t i = 0; i < vBricks.size(); ++i) {
        vLower[i] = vSigns[i].lower;
        vUpper[i] = vSigns[i].upper;
        vZero[i] = vSigns[i].zero;
    }
    parallelChunks(vBricks.size(), minBricks, [&](std::size_t begin, std::size_t end) {
        for (auto i = static_cast<std::uint32_t>(std::max<std::size_t>(begin, 1)); i < end; ++i) {
            if (!(vLower[i] | vUpper[i])) continue;
            for (unsigned dir = 0; dir < 6; ++dir) {
                vChanges[i] |= (vLower[i] & withNeighbour(vUpper, i, dir)) |
                               (vUpper[i] & withNeighbour(vLower, i, dir)) |
                               (vSigns[i].border & withNeighbour(vZero, i, dir));
            }
        }
    });
    return vChanges;
}

// By one step over Corners.
void CornerStore::widen(std::vector<Mask>& vMasks) const {
    std::vector<Mask> vWide = vMasks;
    parallelChunks(vBricks.size(), minBricks, [&](std::size_t begin, std::size_t end) {
        for (auto i = static_cast<std::uint32_t>(std::max<std::size_t>(begin, 1)); i < end; ++i) {
            for (unsigned dir = 0; dir < 6; ++dir) vWide[i] |= withNeighbour(vMasks, i, dir);
            vWide[i] &= vBricks[i]->exists;
        }
    });
    vMasks.swap(vWide);
}

void CornerStore::keepNearSignChanges(int maxSteps, std::vector<Mask>& vSources) const {
    std::vector<Mask> vNear = findSignChanges();
    for (int step = 0; step < maxSteps; ++step) widen(vNear);
    for (std::size_t i = 0; i < vSources.size(); ++i) vSources[i] &= vNear[i];
}

// Creates what is missing beside the sources.
void CornerStore::createFront(std::vector<Mask>& vSources) {
    for (std::uint32_t i = 1; i < vSources.size(); ++i) {
        for (std::size_t dir = 0; dir < 6 && vSources[i]; ++dir) {
            const Mask lower = lowerEnds[dir / 2];
            const Mask end = dir % 2 ? lower << 3 * strides[dir / 2] : lower;
            if ((vSources[i] & end) && vBricks[i]->neigs[dir] == 0) requireBrick(vBricks[i]->rcc + 4 * steps[dir]);
        }
    }
    vSources.resize(vBricks.size());
    using Place = std::pair<uint64, std::uint32_t>;  // code and location
    const auto vFound =
        parallelChunkResults<std::vector<Place>>(vBricks.size(), minBricks, [&](std::size_t begin, std::size_t end) {
            std::vector<Place> v;
            for (auto i = static_cast<std::uint32_t>(begin); i < end; ++i) {
                Mask front = 0;
                for (unsigned dir = 0; dir < 6; ++dir) front |= withNeighbour(vSources, i, dir);
                for (front &= ~vBricks[i]->exists; front; front &= front - 1) {
                    const std::uint32_t location = i * brickSize + static_cast<std::uint32_t>(std::countr_zero(front));
                    v.emplace_back(rccAt(location), location);
                }
            }
            return v;
        });
    std::vector<Place> vFront;
    for (const std::vector<Place>& v : vFound) vFront.insert(vFront.end(), v.begin(), v.end());
    sortStableByFirstMT(vFront.begin(), vFront.end());
    for (const Place& place : vFront) createAt(place.second);
}

}  // namespace QUOR_ZEF
