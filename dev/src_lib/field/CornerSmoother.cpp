#include "field/CornerSmoother.h"

#include <algorithm>
#include <cmath>
#include <iostream>

#include "frame/tools.h"
#include "parallel/parallelTransform.h"

namespace QUOR_ZEF {

namespace {

constexpr std::size_t minChunk = 2'000;

}  // namespace

// What the sweeps rely on is checked here, on the calling thread.
void CornerSmoother::addCorner(const Corner& corner) {
    const float neigVal = corner.val;
    ASSEX(neigVal!=3.402823466e+38F);
    const std::uint32_t self = static_cast<std::uint32_t>(vFrom.size());
    vFrom.push_back(valueOf(corner));
    vTo.push_back(vFrom.back());
    if (!corner.isActive()) return;
    const Corner* const pReceivingCorner = &corner;
    const float ownVal = corner.val, ownWeight = corner.weight;
    ASSEX(ownVal!=3.402823466e+38F && ownWeight!=3.402823466e+38F);
    if (corner.state == ST_LOWER_BORDER) {
        ASSEX(pReceivingCorner->val<0 || pReceivingCorner->val==3.402823466e+38F);
    }
    if (corner.state == ST_UPPER_BORDER) ASSEX(pReceivingCorner->val>0);
    vActive.push_back({{}, self, corner.state, 0});
}

// Takes the vals and neighbours of active corners as they are now.
void CornerSmoother::refresh(const CornerStore& store) {
    const std::vector<Corner*>& vCorners = store.vCorners;
    const auto firstNew = vCorners.begin() + static_cast<std::ptrdiff_t>(vFrom.size() - 1);
    const auto isActive = [](const Corner* pCorner) { return pCorner->isActive(); };
    vActive.reserve(vActive.size() + static_cast<std::size_t>(std::count_if(firstNew, vCorners.end(), isActive)));
    vFrom.reserve(vCorners.size() + 1);
    vTo.reserve(vCorners.size() + 1);
    for (std::size_t i = vFrom.size() - 1; i < vCorners.size(); ++i) addCorner(*vCorners[i]);
    parallelChunks(vActive.size(), minChunk, [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            Active& active = vActive[i];
            const Corner& corner = *vCorners[active.self - 1];
            vFrom[active.self] = valueOf(corner);
            active.numNeigs = 0;
            for (const std::int32_t neig : corner.neigs) {
                if (neig < 0) break;
                active.neigs[active.numNeigs++] = static_cast<std::uint32_t>(neig + 1);
            }
        }
    });
}

float CornerSmoother::keepBorder(CornerState state, float newVal) const {
    if (state == ST_LOWER_BORDER) {
        if (newVal < -maxBorderVal) return -maxBorderVal;
        return newVal >= 0.0F ? -smallestVal : newVal;
    }
    if (newVal > maxBorderVal) return maxBorderVal;
    return newVal <= 0.0F ? smallestVal : newVal;
}

// A missing neighbour adds 0, which changes no sum.
template <bool bLast>
CornerSmoother::Trace CornerSmoother::sweepRange(CornerStore& store, std::size_t begin, std::size_t end) {
    constexpr float largeWeight = 2.0F, largeVal = 100.0F;
    Trace trace;
    for (std::size_t i = begin; i < end; ++i) {
        const Active& active = vActive[i];
        Value sum = vFrom[active.self];
        for (const std::uint32_t neig : active.neigs) {
            sum.product += vFrom[neig].product;
            sum.weight += vFrom[neig].weight;
        }
        float newVal = sum.product / sum.weight;
        const float newWeight = sum.weight / static_cast<float>(active.numNeigs + 1);
        if (newVal == 0.0F) newVal = smallestVal;
        if (newWeight >= largeWeight || std::abs(newVal) >= largeVal) {
            if (!trace.bFound) trace = {true, newWeight, newVal};
        }
        if (active.state != ST_INFLATED) newVal = keepBorder(active.state, newVal);
        if constexpr (bLast) {
            Corner& corner = *store.vCorners[active.self - 1];
            corner.val = newVal;
            corner.weight = newWeight;
        } else {
            vTo[active.self] = {bUseWeights ? newWeight * newVal : newVal, newWeight};
        }
    }
    return trace;
}

template <bool bLast>
CornerSmoother::Trace CornerSmoother::sweep(CornerStore& store) {
    for (const Trace& trace : parallelChunkResults<Trace>(
             vActive.size(), minChunk,
             [&](std::size_t begin, std::size_t end) { return sweepRange<bLast>(store, begin, end); })) {
        if (trace.bFound) return trace;
    }
    return {};
}

void CornerSmoother::smooth(CornerStore& store, int numPasses) {
    if (numPasses <= 0) return;
    refresh(store);
    Trace first;
    for (int pass = 1; pass <= numPasses; ++pass) {
        const Trace trace = pass == numPasses ? sweep<true>(store) : sweep<false>(store);
        if (trace.bFound && !first.bFound) first = trace;
        vFrom.swap(vTo);
    }
    if (first.bFound) std::cout << "newWeight=" << first.weight << ", newVal=" << first.val << std::endl;
}

}  // namespace QUOR_ZEF
