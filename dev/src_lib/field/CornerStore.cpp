#include "field/CornerStore.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <memory>
#include <utility>

#include "frame/tools.h"
#include "parallel/joinedChunks.h"
#include "parallel/parallelTransform.h"
#include "parallel/sortMT.h"

namespace QUOR_ZEF {

namespace {

using Mask = CornerStore::Mask;

constexpr std::size_t minNewCorners = 5'000, minNewBricks = 50;
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

void CornerStore::addEmptyBrick() {
    pool.init(4, -1);
    vBricks.push_back(std::construct_at(pool.alloc()));
}

// The number of the brick with this first place, a new one if need be.
std::uint32_t CornerStore::requireBrick(uint64 rccOfBrick) {
    // Most stores stay empty, those of raw Components, and there may be very many.
    if (vBricks.empty()) addEmptyBrick();
    const auto newNumber = static_cast<std::uint32_t>(vBricks.size());
    const std::uint32_t number = numbers.insert(rccOfBrick, newNumber);
    if (number != newNumber) return number;
    ASSEX(vBricks.size() < CodeMap::npos / brickSize);
    vBricks.push_back(std::construct_at(pool.alloc()));
    vBricks.back()->rcc = rccOfBrick;
    linkBrick(number, number);
    return number;
}

// The same for many, which may repeat each other.
void CornerStore::requireBricks(const std::vector<uint64>& vFirstRCC) {
    if (vFirstRCC.empty()) return;
    if (vBricks.empty()) addEmptyBrick();
    const auto firstNew = static_cast<std::uint32_t>(vBricks.size());
    std::vector<uint64> vNew;
    for (const uint64 rcc : vFirstRCC) {
        const auto newNumber = static_cast<std::uint32_t>(vBricks.size());
        if (numbers.insert(rcc, newNumber) != newNumber) continue;
        ASSEX(vBricks.size() < CodeMap::npos / brickSize);
        vBricks.push_back(pool.alloc());
        vNew.push_back(rcc);
    }
    parallelChunks(vNew.size(), minNewBricks, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            const auto number = static_cast<std::uint32_t>(firstNew + i);
            std::construct_at(vBricks[number])->rcc = vNew[i];
            linkBrick(number, firstNew);
        }
    });
}

// With those beside it, of which the new ones do the same.
void CornerStore::linkBrick(std::uint32_t number, std::uint32_t firstNew) {
    Brick& brick = *vBricks[number];
    for (std::size_t dir = 0; dir < 6; ++dir) {
        const std::uint32_t neig = numbers.find(brick.rcc + 4 * steps[dir]);
        if (neig == CodeMap::npos) continue;
        brick.neigs[dir] = neig;
        if (neig < firstNew) vBricks[neig]->neigs[dir ^ 1] = number;
    }
}

Corner* CornerStore::createCorner(uint64 rcc) {
    return createAt(requireBrick(rcc & ~lowBits) * brickSize + placeOf(rcc));
}

// Tells a corner of a brick of one more neighbour.
void CornerStore::link(Brick& brick, unsigned place, unsigned dir) {
    Corner& corner = brick.corners[place];
    const std::uint16_t slotsOfNeig = slotOrders.next[corner.slots][dir];
    const bool bRegistered = slotsOfNeig != 0;
    ASSEX(bRegistered);
    corner.slots = slotsOfNeig;
    if (corner.hasAllNeigs()) brick.open &= ~(Mask{1} << place);
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
        if (!(brick.exists >> neigLocation % brickSize & 1)) continue;
        link(brick, neigLocation % brickSize, dir ^ 1);
        link(own, location % brickSize, dir);
    }
    return pCorner;
}

void CornerStore::createCorners(const std::vector<uint64>& vRCC) {
    std::vector<uint64> vBricksOf;
    for (const uint64 rcc : vRCC) {
        if (vBricksOf.empty() || vBricksOf.back() != (rcc & ~lowBits)) vBricksOf.push_back(rcc & ~lowBits);
    }
    requireBricks(vBricksOf);
    std::vector<std::uint32_t> vLocations(vRCC.size());
    parallelChunks(vRCC.size(), minNewCorners, [&](std::size_t begin, std::size_t end) {
        std::uint32_t number = 0;
        for (std::size_t i = begin; i < end; ++i) {
            if (i == begin || (vRCC[i] ^ vRCC[i - 1]) & ~lowBits) number = numbers.find(vRCC[i] & ~lowBits);
            vLocations[i] = number * brickSize + placeOf(vRCC[i]);
        }
    });
    std::vector<Mask> vNew(vBricks.size());
    for (const std::uint32_t location : vLocations) vNew[location / brickSize] |= Mask{1} << location % brickSize;
    createAll(vNew, vLocations);
}

// New corners: a mask for each brick, and where they lie, by rising code.
void CornerStore::createAll(const std::vector<Mask>& vNew, const std::vector<std::uint32_t>& vLocations) {
    parallelChunks(vNew.size(), minBricks, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) linkNew(vNew, static_cast<std::uint32_t>(i));
    });
    parallelChunks(vNew.size(), minBricks, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            if (vNew[i]) vBricks[i]->exists |= vNew[i];
        }
    });
    const std::size_t numBefore = vCorners.size();
    vCorners.resize(numBefore + vLocations.size());
    parallelChunks(vLocations.size(), minNewCorners, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) vCorners[numBefore + i] = cornerAt(vLocations[i]);
    });
}

// Makes the new corners of a brick, and tells its corners of their new neighbours, in the order in which these
// would come one by one. Which corners exist in all bricks is as before.
void CornerStore::linkNew(const std::vector<Mask>& vNew, std::uint32_t number) {
    Brick& brick = *vBricks[number];
    std::array<Mask, 6> beside, there{};
    Mask changed = 0;
    for (unsigned dir = 0; dir < 6; ++dir) {
        beside[dir] = withNeighbour(vNew, number, dir);
        changed |= beside[dir];
    }
    const Mask own = vNew[number];
    changed = (changed & brick.exists) | own;
    if (!changed) return;
    for (unsigned dir = 0; dir < 6 && own; ++dir)
        there[dir] = moved(brick.exists, vBricks[brick.neigs[dir]]->exists, dir);
    brick.open |= own;
    for (; changed; changed &= changed - 1) {
        const auto place = static_cast<unsigned>(std::countr_zero(changed));
        const std::uint32_t location = number * brickSize + place;
        const uint64 rcc = rccAt(location);
        const auto isNew = [&](unsigned dir, bool bLater) {
            return (beside[dir] >> place & 1) && (rcc + steps[dir] > rcc) == bLater;
        };
        constexpr unsigned rising[6] = {5, 3, 1, 0, 2, 4};  // by code among later ones, and among earlier ones
        if (own >> place & 1) {
            brick.corners[place] = Corner();
            brick.corners[place].location = location;
            for (unsigned dir = 0; dir < 6; ++dir) {
                if ((there[dir] >> place & 1) || isNew(dir, false)) link(brick, place, dir);
            }
        } else {
            for (const unsigned dir : rising) {
                if (isNew(dir, false)) link(brick, place, dir);
            }
        }
        for (const unsigned dir : rising) {
            if (isNew(dir, true)) link(brick, place, dir);
        }
    }
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

CornerStore::Mask CornerStore::moved(Mask own, Mask beside, unsigned dir) {
    const unsigned stride = strides[dir / 2];
    const Mask lower = lowerEnds[dir / 2], upper = lower << 3 * stride;
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
    parallelChunks(vBricks.size(), minBricks, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) vSources[i] = vSigns[i].sources & vBricks[i]->open;
    });
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
    requireBricks(joinedChunks<uint64>(vSources.size(), minBricks, [&](std::size_t begin, std::size_t end) {
        std::vector<uint64> v;
        for (std::size_t i = begin; i < end; ++i) {
            for (std::size_t dir = 0; dir < 6 && vSources[i]; ++dir) {
                const Mask lower = lowerEnds[dir / 2];
                const Mask atEnd = dir % 2 ? lower << 3 * strides[dir / 2] : lower;
                if ((vSources[i] & atEnd) && vBricks[i]->neigs[dir] == 0) v.push_back(vBricks[i]->rcc + 4 * steps[dir]);
            }
        }
        return v;
    }));
    vSources.resize(vBricks.size());
    std::vector<Mask> vFront(vBricks.size());
    using Place = std::pair<uint64, std::uint32_t>;  // code and location
    std::vector<Place> vPlaces =
        joinedChunks<Place>(vBricks.size(), minBricks, [&](std::size_t begin, std::size_t end) {
            std::vector<Place> v;
            for (auto i = static_cast<std::uint32_t>(begin); i < end; ++i) {
                for (unsigned dir = 0; dir < 6; ++dir) vFront[i] |= withNeighbour(vSources, i, dir);
                vFront[i] &= ~vBricks[i]->exists;
                for (Mask front = vFront[i]; front; front &= front - 1) {
                    const std::uint32_t location = i * brickSize + static_cast<std::uint32_t>(std::countr_zero(front));
                    v.emplace_back(rccAt(location), location);
                }
            }
            return v;
        });
    sortStableByFirstMT(vPlaces.begin(), vPlaces.end());
    std::vector<std::uint32_t> vLocations(vPlaces.size());
    std::transform(vPlaces.begin(), vPlaces.end(), vLocations.begin(), [](const Place& p) { return p.second; });
    createAll(vFront, vLocations);
}

}  // namespace QUOR_ZEF
