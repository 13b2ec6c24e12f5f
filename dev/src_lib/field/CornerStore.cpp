#include "field/CornerStore.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <memory>

#include "frame/tools.h"
#include "parallel/parallelTransform.h"

namespace QUOR_ZEF {

namespace {

bool registerNeig(Corner& corner, std::int32_t index) {
    std::int32_t* const pSlot = std::find(std::begin(corner.neigs), std::end(corner.neigs), -1);
    if (pSlot == std::end(corner.neigs)) return false;
    *pSlot = index;
    return true;
}

}  // namespace

CornerStore::CornerStore(const Calc* pGrid) : pCalc(pGrid) {}

Corner* CornerStore::createCorner(uint64 rcc) {
    // Most stores stay empty, those of raw Components, and there may be very many.
    if (!pool.bInitialized) pool.init(100, -1);
    Corner* const pCorner = std::construct_at(pool.alloc());
    const std::size_t index = vCorners.size();
    indices.insert(rcc, static_cast<std::uint32_t>(index));
    vCorners.push_back(pCorner);
    pCorner->rcc = rcc;
    std::int32_t* pFreeSlot = pCorner->neigs;
    for (const uint64 neig :
         {rcc - stepX_RCD, rcc + stepX_RCD, rcc - stepY_RCD, rcc + stepY_RCD, rcc - stepZ_RCD, rcc + stepZ_RCD}) {
        const std::uint32_t neigIndex = indices.find(neig);
        if (neigIndex == CodeMap::npos) continue;
        *pFreeSlot++ = static_cast<std::int32_t>(neigIndex);
        const bool bRegistered = registerNeig(*vCorners[neigIndex], static_cast<std::int32_t>(index));
        ASSEX(bRegistered);
    }
    return pCorner;
}

Corner* CornerStore::getCorner(uint64 rcc) const {
    const std::uint32_t index = indices.find(rcc);
    return index == CodeMap::npos ? nullptr : vCorners[index];
}

void CornerStore::getNeigs(const Corner* pCorner, std::vector<Corner*>& vNeigs) const {
    ASSEX(vNeigs.empty());
    for (const std::int32_t neig : pCorner->neigs) {
        if (neig < 0) return;
        vNeigs.push_back(vCorners[static_cast<std::size_t>(neig)]);
    }
}

void CornerStore::getGrowRCC(double limit, std::vector<uint64>& vOut) const {
    // Small stores, of which there may be very many, stay on the calling thread.
    constexpr std::size_t minChunk = 5'000;
    const auto vFound =
        parallelChunkResults<std::vector<uint64>>(vCorners.size(), minChunk, [&](std::size_t begin, std::size_t end) {
            std::vector<uint64> v;
            for (std::size_t i = begin; i < end; ++i) {
                const Corner& corner = *vCorners[i];
                if (!corner.hasAllNeigs() && std::abs(corner.val) < limit && corner.val != 0.0F)
                    v.push_back(corner.rcc);
            }
            return v;
        });
    for (const std::vector<uint64>& v : vFound) vOut.insert(vOut.end(), v.begin(), v.end());
}

}  // namespace QUOR_ZEF
